// Structural EM (Friedman 1998), by draws in place of expected counts, since families that are only being considered
// have their expected counts in no clique (stochastic EM, Celeux & Diebolt 1985; data augmentation, Tanner & Wong
// 1987): missing cells are drawn under the present links and tables, tables are made of the completed cases, some
// times; then links are searched for in the completed cases, from the present ones where the method starts from any;
// and so on until the links stay as they are.
#include <chrono>

#include "Bn/engine/learn/CaseDraws.h"

namespace bravic::engine {
namespace {

constexpr int MOST_ROUNDS = 10, FIRST_DRAWS = 10, DRAWS = 4, SWEEPS = 2;

}  // namespace

FoundLinks SearchMissing(const LinkSearch& search, SearchMethod method, const ScoreChoice& choice,
                         Owned<CaseColumns>* completed) {
  using Clock = std::chrono::steady_clock;
  const auto began = Clock::now();
  FoundLinks found = method(search);
  if (found.status != Status::Done) return found;
  Interrupt ownInterrupt;
  Interrupt& interrupt = search.interrupt ? *search.interrupt : ownInterrupt;
  CaseDraws draws(search.scores->Cases(), search.seed, interrupt);
  bool isAtRest = false;
  for (int round = 0; round < MOST_ROUNDS && !isAtRest && found.status == Status::Done; ++round) {
    for (int k = 0; k < (round == 0 ? FIRST_DRAWS : DRAWS) && draws.IsReady() && !interrupt.halted; ++k) {
      *completed = draws.Completed();
      if (*completed) draws.Draw(found.parents, **completed, SWEEPS);
    }
    if (draws.IsReady() && !interrupt.halted) *completed = draws.Completed();
    if (!draws.IsReady() || interrupt.halted) break;
    LinkSearch next = search;
    if (search.maxSeconds > 0) {
      next.maxSeconds = search.maxSeconds - std::chrono::duration<double>(Clock::now() - began).count();
      if (next.maxSeconds <= 0) break;
    }
    FamilyScores scores(**completed, choice.kind, choice.prior, choice.numThreads, &interrupt);
    next.scores = &scores;
    next.start = found.parents;
    next.restarts = 0;
    FoundLinks better = method(next);
    better.steps += found.steps;
    isAtRest = better.parents == found.parents;
    found = std::move(better);
  }
  if (interrupt.halted) found.status = Status::Halted;
  if (!draws.IsReady()) found.status = Status::NoMemory;
  if (found.status == Status::Done) found.score = search.scores->Score(found.parents);
  return found;
}

}  // namespace bravic::engine
