#include "Bn/engine/TreeWork.h"

#include <algorithm>

#include "Bn/engine/CostModel.h"

namespace bravic::engine {

namespace {

// A thread that finds nothing to do looks again so often before it sleeps: sleeping and waking takes longer than most
// tasks do.
constexpr int LOOKS_BEFORE_SLEEP = 400;
constexpr int MILLISECONDS_ASLEEP = 50;

void Pause() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

}  // namespace

int TreeWork::Add(int above, double size, int numSlices) {
  steps_.push_back({above, size, numSlices, 0, -1});
  return steps_.size() - 1;
}

double TreeWork::TotalSize() const {
  double size = 0;
  for (const Step& step : steps_) size += step.size;
  return size;
}

// From the leaves, steps are gathered until they are worth a task. What is left over below a step that is worth one by
// itself is put together with its like.
void TreeWork::MakeTasks(Direction direction) {
  const int n = steps_.size();
  for (Step& step : steps_) step.gathered = step.size;
  auto endsTask = [&](const Step& step) {
    return step.above < 0 || step.gathered >= cost::ENTRIES_OF_A_TASK || StandsAlone(step) ||
           StandsAlone(steps_[step.above]);
  };
  for (int i = n; i-- > 0;)
    if (!endsTask(steps_[i])) steps_[steps_[i].above].gathered += steps_[i].gathered;
  tasks_.clear();
  collectors_.assign(n + 1, -1);  // [1 + above]
  for (Step& step : steps_) {
    if (!endsTask(step)) {
      step.task = steps_[step.above].task;
    } else {
      const bool isSmall = step.gathered < cost::ENTRIES_OF_A_TASK && !StandsAlone(step);
      int& collector = collectors_[1 + step.above];
      step.task = isSmall ? collector : -1;
      if (step.task < 0 || tasks_[step.task].size >= cost::ENTRIES_OF_A_TASK) {
        step.task = tasks_.size();
        Task& task = tasks_.emplace_back();
        if (step.above >= 0) {
          task.above = steps_[step.above].task;
          task.nextBeside = tasks_[task.above].firstBelow;
          tasks_[task.above].firstBelow = step.task;
          ++tasks_[task.above].numWaitingFor;
        }
        if (isSmall) collector = step.task;
      }
      tasks_[step.task].size += step.gathered;
    }
    ++tasks_[step.task].numSteps;
  }
  int begin = 0;
  for (Task& task : tasks_) {
    task.firstStep = begin;
    begin += task.numSteps;
    task.numSteps = 0;
    if (direction == Direction::OUTWARD) task.numWaitingFor = task.above >= 0;
  }
  order_.resize(n);
  for (int k = 0; k < n; ++k) {
    const int i = direction == Direction::OUTWARD ? k : n - 1 - k;
    Task& task = tasks_[steps_[i].task];
    order_[task.firstStep + task.numSteps++] = i;
  }
}

void TreeWork::Run(Direction direction, int numThreads, StepWork* work, Interrupt* watch) {
  if (steps_.empty()) return;
  direction_ = direction;
  work_ = work;
  watch_ = watch;
  MakeTasks(direction);
  std::size_t most = tasks_.size();
  for (const Step& step : steps_) most += StandsAlone(step) ? step.numSlices : 0;
  units_.clear();
  units_.reserve(most);
  numOpen_ = numWaiting_ = 0;
  done_ = 0;
  numUnits_ = 0;
  isOver_ = false;
  for (int t = 0; t < tasks_.size(); ++t)
    if (tasks_[t].numWaitingFor == 0) Push({t, -1});
  RunOnThreads(numThreads, WorkAsOne, this);
}

void TreeWork::WorkAsOne(void* context, int worker) {
  static_cast<TreeWork*>(context)->Work(worker);
}

void TreeWork::Work(int worker) {
  monitor_.Lock();
  while (AwaitUnit(worker)) {
    const Unit unit = units_.back();
    units_.pop_back();
    --numUnits_;
    monitor_.Unlock();
    RunUnit(unit, worker);
    monitor_.Lock();
    if (--numOpen_ == 0) isOver_ = true;
    if (isOver_) monitor_.Wake(numWaiting_);
  }
  monitor_.Unlock();
}

// While it is locked: true when there is something to do, false when it is over.
bool TreeWork::AwaitUnit(int worker) {
  for (int looks = 0;; ++looks) {
    if (worker == 0 && done_ > 0) LookUp();
    if (isOver_) return false;
    if (!units_.empty()) return true;
    if (looks == 0) {
      monitor_.Unlock();
      for (int i = 0; i < LOOKS_BEFORE_SLEEP && numUnits_ == 0 && !isOver_; ++i) Pause();
      monitor_.Lock();
    } else {
      ++numWaiting_;
      monitor_.Wait(MILLISECONDS_ASLEEP);
      --numWaiting_;
    }
  }
}

// The calling thread tells what has been done, and may be told to stop.
void TreeWork::LookUp() {
  const double done = done_;
  done_ = 0;
  monitor_.Unlock();
  const bool halts = watch_->Halts(done);
  monitor_.Lock();
  if (halts) isOver_ = true;
}

// While it is locked, or before the threads run.
void TreeWork::Push(Unit unit) {
  units_.push_back(unit);
  ++numUnits_;
  ++numOpen_;
}

void TreeWork::RunUnit(const Unit& unit, int worker) {
  Task& task = tasks_[unit.task];
  const int first = order_[task.firstStep];
  bool isGood = true;
  if (!StandsAlone(steps_[first])) {
    for (int k = 0; k < task.numSteps && isGood; ++k) isGood = RunStep(order_[task.firstStep + k], worker);
  } else {
    if (unit.slice < 0 && work_->BeginStep(first, worker)) {
      // The first slice is this thread's own.
      const int others = steps_[first].numSlices - 1;
      monitor_.Lock();
      task.slicesLeft = steps_[first].numSlices;
      for (int slice = others; slice > 0; --slice) Push({unit.task, slice});
      monitor_.Wake(std::min(others, numWaiting_));
      monitor_.Unlock();
      work_->RunSlice(first, 0, worker);
    } else if (unit.slice >= 0) {
      work_->RunSlice(first, unit.slice, worker);
    } else {
      task.slicesLeft = 1;
    }
    monitor_.Lock();
    const bool isLast = --task.slicesLeft == 0;
    monitor_.Unlock();
    if (!isLast) return;
    isGood = work_->EndStep(first, worker);
  }
  if (!isGood) return;
  monitor_.Lock();
  Finish(unit.task);
  monitor_.Unlock();
}

// A step of a task of several is run as a whole.
bool TreeWork::RunStep(int step, int worker) {
  if (work_->BeginStep(step, worker)) work_->RunSlice(step, 0, worker);
  return work_->EndStep(step, worker);
}

// While it is locked: what has waited for the task may begin.
void TreeWork::Finish(int t) {
  const Task& task = tasks_[t];
  done_ += task.size;
  int numReady = 0;
  auto tell = [&](int other) {
    if (--tasks_[other].numWaitingFor > 0) return;
    Push({other, -1});
    ++numReady;
  };
  if (direction_ == Direction::OUTWARD)
    for (int below = task.firstBelow; below >= 0; below = tasks_[below].nextBeside) tell(below);
  else if (task.above >= 0)
    tell(task.above);
  // One of them is for this thread.
  monitor_.Wake(std::min(numReady - 1, numWaiting_));
}

}  // namespace bravic::engine
