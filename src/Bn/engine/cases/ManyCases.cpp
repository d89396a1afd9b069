#include "Bn/engine/cases/ManyCases.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "Bn/engine/cases/ProgramMaker.h"
#include "Bn/engine/infer/Inference.h"
#include "Win_Face/Threads.h"

namespace bravic::engine {

namespace {

constexpr double LOG_2 = 0.69314718055994530942;
constexpr double MINUS_INFINITY = -std::numeric_limits<double>::infinity();
constexpr std::ptrdiff_t CASES_OF_TASK = 512;  // what a thread takes at a time

double Share(std::ptrdiff_t done, const CaseBatch& batch) {
  return static_cast<double>(done) / static_cast<double>(batch.numCases);
}

}  // namespace

// What one thread computes in.
template <class Number>
struct ManyCases::Workspace {
  Block<Number> block;
  Number* slots = nullptr;  // in the block, aligned
  Block<int> states;        // [observed x lanes]
};

template <class Number>
bool ManyCases::MakeRoom(int lanes, Workspace<Number>* space) const {
  constexpr int PADDING = LANE_ALIGNMENT / sizeof(Number);
  const std::size_t numNumbers = static_cast<std::size_t>(program_.numSlots) * lanes + PADDING;
  space->block = TryMakeBlock<Number>(numNumbers);
  space->states = TryMakeBlock<int>(static_cast<std::size_t>(lanes) * std::max(1, question_.observed.size()));
  if (!space->block || !space->states) return false;
  const auto address = reinterpret_cast<std::uintptr_t>(space->block.get());
  const std::uintptr_t aligned = (address + LANE_ALIGNMENT - 1) / LANE_ALIGNMENT * LANE_ALIGNMENT;
  space->slots = space->block.get() + (aligned - address) / sizeof(Number);
  return true;
}

ManyCases::ManyCases(CaseQuestion question, const LaneRunner<float>& runner)
    : question_(std::move(question)),
      model_(question_),
      runner_(runner),
      program_(MakeCaseProgram(model_, question_, runner.lanes * static_cast<int>(sizeof(float)))) {}

void ManyCases::AnswerImpossible(const CaseBatch& batch, std::ptrdiff_t number) const {
  if (batch.beliefs) std::fill_n(batch.beliefs + number * program_.numBeliefs, program_.numBeliefs, 0.0f);
  if (batch.logProbs) batch.logProbs[number] = MINUS_INFINITY;
}

// At most as many cases as there are lanes. Lanes that are left over repeat the last case.
template <class Number>
void ManyCases::RunCases(const LaneRunner<Number>& runner, const CaseProgram& program, const CaseBatch& batch,
                         std::span<const std::ptrdiff_t> cases, Workspace<Number>* space, Fate* fates) const {
  const int lanes = runner.lanes, width = program.numBeliefs, numObserved = question_.observed.size();
  for (int lane = 0; lane < lanes; ++lane) {
    const int* row = batch.states + cases[std::min<std::size_t>(lane, cases.size() - 1)] * numObserved;
    int* to = space->states.get() + lane;
    for (int k = 0; k < numObserved; ++k) to[k * lanes] = row[k];
  }
  runner.run(program, space->states.get(), space->slots);
  if (batch.beliefs) {
    float* rows[MOST_LANES];
    for (int lane = 0; lane < Count(cases); ++lane) rows[lane] = batch.beliefs + cases[lane] * width;
    runner.write(program, space->slots, Count(cases), rows);
  }
  for (int lane = 0; lane < Count(cases); ++lane) {
    const std::ptrdiff_t number = cases[lane];
    const auto at = [&](int slot) { return space->slots[slot * lanes + lane]; };
    Fate& fate = fates[number];
    fate = Fate::POSSIBLE;
    // As bits; all of them where the case is in doubt.
    if (const Number doubt = at(CaseProgram::DOUBT); doubt != 0 || doubt != doubt) {
      fate = Fate::DOUBTFUL;
    } else if (!(at(CaseProgram::TOTAL) > 0)) {
      fate = Fate::IMPOSSIBLE;
      AnswerImpossible(batch, number);
    } else if (batch.logProbs) {
      const double exponent = static_cast<double>(at(CaseProgram::EXPONENT)) + static_cast<double>(program.exponent);
      batch.logProbs[number] = std::log(static_cast<double>(at(CaseProgram::TOTAL))) + exponent * LOG_2;
    }
  }
}

// What the threads of one call share.
struct ManyCases::Team {
  const ManyCases& all;
  const CaseBatch& batch;
  const ProgressFunction& progress;
  Fate* fates;
  Vector<Workspace<float>> spaces;  // [worker]
  std::atomic<std::ptrdiff_t> next = 0;
  std::atomic<bool> isHalted = false;

  // Takes task after task until none is left. The calling thread looks in between whether to go on.
  void Work(int worker) {
    const LaneRunner<float>& runner = all.runner_;
    for (std::ptrdiff_t begin; !isHalted && (begin = next.fetch_add(CASES_OF_TASK)) < batch.numCases;) {
      const std::ptrdiff_t end = std::min(begin + CASES_OF_TASK, batch.numCases);
      for (std::ptrdiff_t first = begin; first < end; first += runner.lanes) {
        std::ptrdiff_t cases[MOST_LANES];
        const int count = static_cast<int>(std::min<std::ptrdiff_t>(runner.lanes, end - first));
        for (int k = 0; k < count; ++k) cases[k] = first + k;
        all.RunCases(runner, all.program_, batch, {cases, static_cast<std::size_t>(count)}, &spaces[worker], fates);
      }
      if (worker == 0 && progress && progress(Share(end, batch))) isHalted = true;
    }
  }
};

// In unlimited range, by an inference of its own, so that nothing of other cases is left in it.
Status ManyCases::AnswerWidely(const CaseBatch& batch, std::ptrdiff_t number, Fate* fate) const {
  Owned<Inference> inference = Inference::Make(model_.tree, model_.numstates, model_.parents);
  if (const Status status = inference->AllocatePotentials(nullptr); status != Status::Done) return status;
  inference->SetTables(model_.table);
  inference->SetWay(Way::TREE);
  for (int k = 0; k < question_.observed.size(); ++k) {
    const int state = batch.states[number * question_.observed.size() + k];
    if (state >= 0) inference->SetState(model_.numberOf[question_.observed[k]], state);
  }
  Status status = inference->Propagate();
  float* to = batch.beliefs ? batch.beliefs + number * program_.numBeliefs : nullptr;
  for (int k = 0; to && k < question_.targets.size() && status == Status::Done; ++k) {
    const int numstates = question_.numstates[question_.targets[k]];
    status = inference->Belief(model_.numberOf[question_.targets[k]], std::span<float>(to, numstates));
    to += numstates;
  }
  *fate = status == Status::Done ? Fate::POSSIBLE : Fate::IMPOSSIBLE;
  if (status == Status::Inconsistent || status == Status::Vanished) {
    AnswerImpossible(batch, number);
    return Status::Done;
  }
  if (status == Status::Done && batch.logProbs) batch.logProbs[number] = inference->LogProbability();
  return status;
}

// Again in doubles, and in unlimited range.
Status ManyCases::AnswerDoubtful(const CaseBatch& batch, const ProgressFunction& progress, Fate* fates) const {
  const LaneRunner<double>& runner = DoubleLaneRunner();
  Workspace<double> space;
  CaseProgram program;
  Fate* const end = fates + batch.numCases;
  for (Fate* next = fates;;) {
    std::ptrdiff_t cases[MOST_LANES];
    int count = 0;
    for (; count < runner.lanes && (next = std::find(next, end, Fate::DOUBTFUL)) != end; ++next)
      cases[count++] = next - fates;
    if (count == 0) return Status::Done;
    if (!space.slots) {
      if (!MakeRoom(runner.lanes, &space)) return Status::NoMemory;
      program = MakeCaseProgram(model_, question_, runner.lanes * static_cast<int>(sizeof(double)));
    }
    RunCases(runner, program, batch, {cases, static_cast<std::size_t>(count)}, &space, fates);
    for (int k = 0; k < count; ++k) {
      if (fates[cases[k]] != Fate::DOUBTFUL) continue;
      if (const Status status = AnswerWidely(batch, cases[k], &fates[cases[k]]); status != Status::Done) return status;
    }
    if (progress && progress(Share(next - fates, batch))) return Status::Halted;
  }
}

Status ManyCases::Answer(const CaseBatch& batch, int numThreads, const ProgressFunction& progress,
                         std::ptrdiff_t* numImpossible) const {
  *numImpossible = 0;
  if (model_.tree.cliques.empty()) {
    if (batch.logProbs) std::fill_n(batch.logProbs, batch.numCases, 0.0);
    return Status::Done;
  }
  const std::ptrdiff_t numTasks = (batch.numCases + CASES_OF_TASK - 1) / CASES_OF_TASK;
  numThreads = static_cast<int>(std::clamp<std::ptrdiff_t>(numThreads, 1, std::max<std::ptrdiff_t>(numTasks, 1)));
  const Block<Fate> fates = TryMakeBlock<Fate>(batch.numCases);
  if (!fates) return Status::NoMemory;
  Team team{*this, batch, progress, fates.get(), {}};
  team.spaces.resize(numThreads);
  for (Workspace<float>& space : team.spaces)
    if (!MakeRoom(runner_.lanes, &space)) return Status::NoMemory;
  RunOnThreads(
      numThreads, [](void* context, int worker) { static_cast<Team*>(context)->Work(worker); }, &team);
  if (team.isHalted) return Status::Halted;
  const Status status = AnswerDoubtful(batch, progress, fates.get());
  *numImpossible = std::count(fates.get(), fates.get() + batch.numCases, Fate::IMPOSSIBLE);
  return status;
}

}  // namespace bravic::engine
