#include "Bn/engine/cases/ManyCases.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/cases/ProgramMaker.h"
#include "Bn/engine/infer/Inference.h"
#include "Win_Face/Threads.h"

namespace bravic::engine {

namespace {

constexpr double MINUS_INFINITY = -std::numeric_limits<double>::infinity();

}  // namespace

// What one thread computes lanes in.
template <class Number>
struct ManyCases::Workspace {
  Block<Number> block;
  Number* slots = nullptr;  // in the block, aligned
  Block<int> states;        // [observed x lanes]
};

// What one thread computes single cases in.
struct ManyCases::SingleRoom {
  Owned<SingleCase::Room> ofTree;
  Owned<CaseElimination::Room> ofElimination;
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

ManyCases::ManyCases(CaseQuestion question, CaseWay way, const LaneRunner<float>& runner)
    : question_(std::move(question)), model_(question_), runner_(runner) {
  for (int target : question_.targets) numBeliefs_ += question_.numstates[target];
  for (int family : question_.families) numBeliefs_ += question_.FamilySize(family);
  if (model_.tree.cliques.empty()) return;
  tree_ = MakeOwned<CaseTree>(model_, question_);
  const bool isLarge = model_.tree.totalSize > cost::MOST_CASE_ENTRIES;
  if (way == CaseWay::LANES || (way == CaseWay::CHEAPEST && !isLarge)) {
    isReady_ = MakeCaseProgram(*tree_, runner.lanes * static_cast<int>(sizeof(float)), &program_);
    return;
  }
  single_ = MakeOwned<SingleCase>(*tree_);
  // Families are read from cliques.
  if (way != CaseWay::OVER_TREE && question_.families.empty())
    elimination_ = MakeOwned<CaseElimination>(*tree_, way == CaseWay::WITHOUT_TREE);
}

void ManyCases::TablesChanged() {
  if (!tree_) return;
  tree_->TablesChanged();
  if (single_)
    single_->TablesChanged();
  else
    isReady_ = MakeCaseProgram(*tree_, runner_.lanes * static_cast<int>(sizeof(float)), &program_);
}

void ManyCases::AnswerImpossible(const CaseBatch& batch, std::ptrdiff_t number) const {
  if (batch.beliefs) std::fill_n(batch.beliefs + number * numBeliefs_, numBeliefs_, 0.0f);
  if (batch.logProbs) batch.logProbs[number] = MINUS_INFINITY;
}

// At most as many cases as there are lanes. Lanes that are left over repeat the last case.
template <class Number>
void ManyCases::RunLanes(const LaneRunner<Number>& runner, const CaseProgram& program, const CaseBatch& batch,
                         Cases cases, Workspace<Number>* space, CaseFate* fates) const {
  const int lanes = runner.lanes, numObserved = question_.observed.size();
  for (int lane = 0; lane < lanes; ++lane) {
    const int* row = batch.states + cases[std::min<std::size_t>(lane, cases.size() - 1)] * numObserved;
    int* to = space->states.get() + lane;
    for (int k = 0; k < numObserved; ++k) to[k * lanes] = row[k];
  }
  runner.run(program, space->states.get(), space->slots);
  if (batch.beliefs) {
    float* rows[MOST_LANES];
    for (int lane = 0; lane < Count(cases); ++lane) rows[lane] = batch.beliefs + cases[lane] * numBeliefs_;
    runner.write(program, space->slots, Count(cases), rows);
  }
  for (int lane = 0; lane < Count(cases); ++lane) {
    const std::ptrdiff_t number = cases[lane];
    const auto at = [&](int slot) { return space->slots[slot * lanes + lane]; };
    CaseFate& fate = fates[number];
    fate = CaseFate::POSSIBLE;
    // As bits; all of them where the case is in doubt.
    if (const Number doubt = at(CaseProgram::DOUBT); doubt != 0 || doubt != doubt) {
      fate = CaseFate::DOUBTFUL;
    } else if (!(at(CaseProgram::TOTAL) > 0)) {
      fate = CaseFate::IMPOSSIBLE;
      AnswerImpossible(batch, number);
    } else if (batch.logProbs) {
      batch.logProbs[number] = LogOfCase(static_cast<double>(at(CaseProgram::TOTAL)),
                                         static_cast<long long>(at(CaseProgram::EXPONENT)) + program.exponent);
    }
  }
}

void ManyCases::RunSingly(const CaseBatch& batch, Cases cases, SingleRoom* room, CaseFate* fates) const {
  for (const std::ptrdiff_t number : cases) {
    double logProb = 0;
    const int* const states = batch.states + number * question_.observed.size();
    float* const beliefs = batch.beliefs ? batch.beliefs + number * numBeliefs_ : nullptr;
    fates[number] = elimination_ && elimination_->Suits(states, room->ofElimination.get())
                        ? elimination_->Solve(room->ofElimination.get(), beliefs, &logProb)
                        : single_->Solve(states, room->ofTree.get(), beliefs, &logProb);
    if (fates[number] == CaseFate::IMPOSSIBLE) AnswerImpossible(batch, number);
    if (fates[number] == CaseFate::POSSIBLE && batch.logProbs) batch.logProbs[number] = logProb;
  }
}

// What the threads of one call share.
struct ManyCases::Team {
  const ManyCases& all;
  const CaseBatch& batch;
  const DistinctCases& kinds;
  const ProgressFunction& progress;
  CaseFate* fates;
  std::ptrdiff_t casesOfTask;       // what a thread takes at a time
  Vector<Workspace<float>> spaces;  // [worker]
  Vector<SingleRoom> rooms;
  std::atomic<std::ptrdiff_t> next = 0;
  std::atomic<bool> isHalted = false;

  // Takes task after task until none is left. The calling thread looks in between whether to go on.
  void Work(int worker) {
    const std::ptrdiff_t numKinds = kinds.NumKinds();
    const int most = all.single_ ? 1 : all.runner_.lanes;
    for (std::ptrdiff_t begin; !isHalted && (begin = next.fetch_add(casesOfTask)) < numKinds;) {
      const std::ptrdiff_t end = std::min(begin + casesOfTask, numKinds);
      for (std::ptrdiff_t first = begin; first < end; first += most) {
        std::ptrdiff_t numbers[MOST_LANES];
        const std::ptrdiff_t count = std::min<std::ptrdiff_t>(most, end - first);
        for (std::ptrdiff_t k = 0; k < count; ++k) numbers[k] = kinds.FirstOf(first + k);
        const Cases cases(numbers, static_cast<std::size_t>(count));
        if (all.single_)
          all.RunSingly(batch, cases, &rooms[worker], fates);
        else
          all.RunLanes(all.runner_, all.program_, batch, cases, &spaces[worker], fates);
      }
      if (worker == 0 && progress && progress(static_cast<double>(end) / static_cast<double>(numKinds)))
        isHalted = true;
    }
  }
};

// Cases that differ in what is known deepest in the tree stand farthest apart.
void ManyCases::Sort(const CaseBatch& batch, std::span<std::ptrdiff_t> cases) const {
  const Vector<int>& key = single_->SortKey();
  std::sort(cases.begin(), cases.end(), [&](std::ptrdiff_t a, std::ptrdiff_t b) {
    const int* rowA = batch.states + a * question_.observed.size();
    const int* rowB = batch.states + b * question_.observed.size();
    for (int k : key)
      if (rowA[k] != rowB[k]) return rowA[k] < rowB[k];
    return false;
  });
}

// The first case of each kind. Tasks are cut by their size, never by the number of threads.
Status ManyCases::RunAll(const CaseBatch& batch, const DistinctCases& kinds, int numThreads,
                         const ProgressFunction& progress, CaseFate* fates) {
  Team team{*this, batch, kinds, progress, fates, single_ ? cost::SINGLE_CASES_OF_TASK : cost::CASES_OF_TASK, {}, {}};
  const std::ptrdiff_t numTasks = (kinds.NumKinds() + team.casesOfTask - 1) / team.casesOfTask;
  numThreads = static_cast<int>(std::clamp<std::ptrdiff_t>(numThreads, 1, std::max<std::ptrdiff_t>(numTasks, 1)));
  if (single_ && !single_->FitsThreads()) numThreads = 1;
  if ((single_ && !single_->Prepare()) || (elimination_ && !elimination_->Prepare())) return Status::NoMemory;
  for (int worker = 0; worker < numThreads; ++worker) {
    if (single_) {
      team.rooms.push_back({MakeOwned<SingleCase::Room>(*single_), nullptr});
      if (elimination_) team.rooms[worker].ofElimination = MakeOwned<CaseElimination::Room>(*elimination_);
      if (!team.rooms[worker].ofTree->IsMade()) return Status::NoMemory;
      if (elimination_ && !team.rooms[worker].ofElimination->IsMade()) return Status::NoMemory;
    } else {
      team.spaces.emplace_back();
      if (!MakeRoom(runner_.lanes, &team.spaces[worker])) return Status::NoMemory;
    }
  }
  RunOnThreads(
      numThreads, [](void* context, int worker) { static_cast<Team*>(context)->Work(worker); }, &team);
  return team.isHalted ? Status::Halted : Status::Done;
}

// In unlimited range, by an inference of its own, so that nothing of other cases is left in it.
Status ManyCases::AnswerWidely(const CaseBatch& batch, std::ptrdiff_t number, CaseFate* fate) const {
  Owned<Inference> inference = Inference::Make(model_.tree, model_.numstates, model_.parents);
  if (const Status status = inference->AllocatePotentials(nullptr); status != Status::Done) return status;
  inference->SetTables(model_.table);
  inference->SetWay(Way::TREE);
  for (int k = 0; k < question_.observed.size(); ++k) {
    const int state = batch.states[number * question_.observed.size() + k];
    if (state >= 0) inference->SetState(tree_->NodeOfColumn(k), state);
  }
  const Status status = inference->Propagate();
  *fate = status == Status::Done ? CaseFate::POSSIBLE : CaseFate::IMPOSSIBLE;
  if (status == Status::Inconsistent) AnswerImpossible(batch, number);
  if (status != Status::Done) return status == Status::Inconsistent ? Status::Done : status;
  if (batch.logProbs) batch.logProbs[number] = inference->LogProbability();
  float* to = batch.beliefs ? batch.beliefs + number * numBeliefs_ : nullptr;
  for (int t = 0; to && t < question_.targets.size(); ++t) {
    const int numstates = question_.numstates[question_.targets[t]];
    const Status ofBelief = inference->Belief(tree_->NodeOfTarget(t), std::span<float>(to, numstates));
    if (ofBelief != Status::Done) return ofBelief;
    to += numstates;
  }
  for (int f = 0; to && f < question_.families.size(); ++f) {
    const int node = question_.families[f], size = question_.FamilySize(node);
    Vector<int> members;
    for (int parent : question_.parents[node]) members.push_back(model_.numberOf[parent]);
    members.push_back(model_.numberOf[node]);
    Vector<double> joint(size);
    double entries;
    if (const Status ofJoint = inference->Joint(members, joint.data(), &entries); ofJoint != Status::Done)
      return ofJoint;
    to = std::transform(joint.begin(), joint.end(), to, [](double entry) { return static_cast<float>(entry); });
  }
  return Status::Done;
}

// Again in doubles, if that is not how they were computed, and in unlimited range.
Status ManyCases::AnswerDoubtful(const CaseBatch& batch, const ProgressFunction& progress, CaseFate* fates) const {
  const LaneRunner<double>& runner = DoubleLaneRunner();
  Workspace<double> space;
  CaseProgram program;
  CaseFate* const end = fates + batch.numCases;
  for (CaseFate* next = fates;;) {
    std::ptrdiff_t cases[MOST_LANES];
    int count = 0;
    for (; count < runner.lanes && (next = std::find(next, end, CaseFate::DOUBTFUL)) != end; ++next)
      cases[count++] = next - fates;
    if (count == 0) return Status::Done;
    if (!single_) {
      if (!space.slots) {
        const int slotBytes = runner.lanes * static_cast<int>(sizeof(double));
        if (!MakeCaseProgram(*tree_, slotBytes, &program) || !MakeRoom(runner.lanes, &space)) return Status::NoMemory;
      }
      RunLanes(runner, program, batch, Cases(cases, static_cast<std::size_t>(count)), &space, fates);
    }
    for (int k = 0; k < count; ++k) {
      if (fates[cases[k]] != CaseFate::DOUBTFUL) continue;
      if (const Status status = AnswerWidely(batch, cases[k], &fates[cases[k]]); status != Status::Done) return status;
    }
    if (progress && progress(static_cast<double>(next - fates) / static_cast<double>(batch.numCases)))
      return Status::Halted;
  }
}

// Those of the first case of each kind to the others.
void ManyCases::CopyAnswers(const CaseBatch& batch, const DistinctCases& kinds, CaseFate* fates) const {
  for (std::ptrdiff_t number = 0; number < batch.numCases; ++number) {
    const std::ptrdiff_t same = kinds.SameAs(number);
    if (same == number) continue;
    fates[number] = fates[same];
    if (batch.beliefs)
      std::copy_n(batch.beliefs + same * numBeliefs_, numBeliefs_, batch.beliefs + number * numBeliefs_);
    if (batch.logProbs) batch.logProbs[number] = batch.logProbs[same];
  }
}

Status ManyCases::Answer(const CaseBatch& batch, int numThreads, const ProgressFunction& progress,
                         std::ptrdiff_t* numImpossible) {
  *numImpossible = 0;
  if (!tree_) {
    if (batch.logProbs) std::fill_n(batch.logProbs, batch.numCases, 0.0);
    return Status::Done;
  }
  const Block<CaseFate> fates = TryMakeBlock<CaseFate>(batch.numCases + 1);
  if (!isReady_ || !fates) return Status::NoMemory;
  std::fill_n(fates.get(), batch.numCases, CaseFate::POSSIBLE);
  DistinctCases kinds(batch.states, batch.numCases, question_.observed.size(), single_ != nullptr);
  if (single_) Sort(batch, kinds.Firsts());
  Status status = RunAll(batch, kinds, numThreads, progress, fates.get());
  if (status == Status::Done) status = AnswerDoubtful(batch, progress, fates.get());
  if (status != Status::Done) return status;
  if (kinds.HasSame()) CopyAnswers(batch, kinds, fates.get());
  *numImpossible = std::count(fates.get(), fates.get() + batch.numCases, CaseFate::IMPOSSIBLE);
  return status;
}

}  // namespace bravic::engine
