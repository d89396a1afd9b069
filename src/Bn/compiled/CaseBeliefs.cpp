#include "Bn/compiled/CaseBeliefs.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "Basic/NumberText.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/engine/cases/ManyCases.h"
#include "Bn/model/Lists.h"
#include "Win_Face/Threads.h"

namespace bravic {
namespace {

// The only net of all the nodes; NULL for nodes of several, with an error posted, and for none.
bool FindNet(const nodelist_rec& observed, const nodelist_rec& targets, net_bn* net) {
  *net = nullptr;
  for (const nodelist_rec* list : {&observed, &targets}) {
    for (node_bn node : Entries(*list)) {
      if (!*net) *net = node->innet;
      if (node->innet == *net) continue;
      Report(CASES_OF_TWO_NETS, node->name);
      return false;
    }
  }
  return true;
}

bool CheckNodes(const nodelist_rec& observed, const nodelist_rec& targets) {
  for (node_bn node : Entries(observed)) {
    if (CompiledIndex(*node) >= 0 && (node->kind == NATURE_NODE || node->kind == DECISION_NODE)) continue;
    Report(OBSERVED_WITHOUT_STATES, node->name);
    return false;
  }
  for (node_bn node : Entries(targets)) {
    if (CompiledIndex(*node) >= 0 && node->kind == NATURE_NODE) continue;
    Report(TARGET_WITHOUT_BELIEFS, node->name);
    return false;
  }
  return true;
}

engine::CaseQuestion MakeQuestion(const CompiledNet& compiled, const nodelist_rec& observed,
                                  const nodelist_rec& targets) {
  engine::CaseQuestion question{compiled.numstates, compiled.parents, TablesOf(compiled), {}, {}};
  for (node_bn node : Entries(observed)) question.observed.push_back(node->compiledIndex);
  for (node_bn node : Entries(targets)) question.targets.push_back(node->compiledIndex);
  return question;
}

// The question made ready, unless it is the same as the one before.
engine::ManyCases& Prepare(CompiledNet& compiled, engine::CaseQuestion question) {
  const bool isSame = compiled.cases && compiled.cases->Question().observed == question.observed &&
                      compiled.cases->Question().targets == question.targets;
  if (!isSame) compiled.cases = MakeOwned<engine::ManyCases>(std::move(question));
  return *compiled.cases;
}

}  // namespace

// Several rows at a time are looked at as if they were one.
bool CheckStatesOfCases(std::span<const node_bn> columns, const statetype* states, long numCases) {
  constexpr int CELLS_AT_ONCE = 1024;
  const int n = Count(columns), rowsAtOnce = std::max(1, CELLS_AT_ONCE / std::max(n, 1));
  Vector<unsigned> allowed;  // [rows at once x columns] numbers of states
  for (int row = 0; row < rowsAtOnce; ++row)
    for (node_bn node : columns) allowed.push_back(static_cast<unsigned>(node->numstates));
  const unsigned* const sizes = allowed.data();
  const auto isBad = [](statetype state, unsigned numStates) {
    return static_cast<int>(static_cast<unsigned>(state) >= numStates) & static_cast<int>(state != UNDEF_STATE);
  };
  for (long first = 0; first < numCases; first += rowsAtOnce) {
    const int numCells = static_cast<int>(std::min<long>(rowsAtOnce, numCases - first)) * n;
    int isAnyBad = 0;
    for (int cell = 0; cell < numCells; ++cell) isAnyBad |= isBad(states[cell], sizes[cell]);
    for (int cell = 0; isAnyBad && cell < numCells; ++cell) {
      if (!isBad(states[cell], sizes[cell])) continue;
      Report(STATE_OF_CASE_OUT_OF_RANGE, states[cell], first + cell / n, columns[cell % n]->name,
             columns[cell % n]->numstates - 1);
      return false;
    }
    states += numCells;
  }
  return true;
}

bool FitArrays(long numCases, double numbersOfCase) {
  constexpr auto MOST_BYTES = static_cast<double>(PTRDIFF_MAX);
  if ((numbersOfCase + 1) * sizeof(double) * static_cast<double>(numCases) < MOST_BYTES) return true;
  Report(TOO_MANY_CASES, numCases);
  return false;
}

long BeliefsOfCases(const nodelist_rec& observed, const nodelist_rec& targets, const CaseArrays& cases,
                    int numThreads) {
  net_bn net;
  if (!FindNet(observed, targets, &net)) return -1;
  if (!net) {
    if (cases.logProbs) std::fill_n(cases.logProbs, cases.numCases, 0.0);
    return 0;
  }
  if (!net->potentialsMade) {
    Report(NET_NOT_COMPILED, net->name);
    return -1;
  }
  double width = observed.num;
  for (node_bn node : Entries(targets)) width += node->numstates;
  if (!CheckNodes(observed, targets) || !FitArrays(cases.numCases, width) ||
      !CheckStatesOfCases(Entries(observed), cases.states, cases.numCases))
    return -1;
  LongWork wait("Updating beliefs", 0, Showing::WithEstimate);
  wait.Begin();
  CompiledNet& compiled = *net->compiled;
  engine::ManyCases& many = Prepare(compiled, MakeQuestion(compiled, observed, targets));
  const auto progress = [&wait](double fraction) {
    wait.SetShare(fraction);
    return wait.Halts(LongWork::BETWEEN_LOOKS);
  };
  std::ptrdiff_t numImpossible = 0;
  const engine::Status status = many.Answer({cases.states, cases.numCases, cases.beliefs, cases.logProbs},
                                            numThreads > 0 ? numThreads : NumProcessors(), progress, &numImpossible);
  if (!many.IsSmall()) compiled.cases.reset();
  if (status != engine::Status::Done) {
    Post(FailAnswer(status));
    return -1;
  }
  // Hosts have an infinity of their own.
  if (cases.logProbs && numImpossible > 0)
    std::replace_if(
        cases.logProbs, cases.logProbs + cases.numCases, [](double x) { return std::isinf(x); }, -INF_DBL);
  return static_cast<long>(numImpossible);
}

}  // namespace bravic
