// Work on a tree that several threads share. It comes in steps, each of which needs those below it in the tree to be
// done, or the one above it. Small steps that hang together are made one task, large ones come in slices that several
// threads run at once. How steps are divided up depends on their sizes alone. Nothing is allocated while they run.
#pragma once

#include <atomic>

#include "Basic/Memory.h"
#include "Bn/engine/Interrupt.h"
#include "Win_Face/Threads.h"

namespace bravic::engine {

// What is to be done. All of it is called by one of the threads, whose number is given.
class StepWork {
 public:
  // A step begins, its slices are run, it ends. False at the beginning: it has no slices this time, only its end. False
  // at the end: what needs the step is not done.
  virtual bool BeginStep(int step, int worker) = 0;
  virtual void RunSlice(int step, int slice, int worker) = 0;
  virtual bool EndStep(int step, int worker) = 0;

 protected:
  ~StepWork() = default;
};

class TreeWork {
 public:
  enum class Direction { INWARD, OUTWARD };

  // The steps, from the root outward: above is an earlier one, or -1. size: in entries of tables, about.
  void Clear() { steps_.clear(); }
  int Add(int above, double size, int numSlices);
  // What is learned of a step later, before the run.
  void SetSlices(int step, int numSlices) { steps_[step].numSlices = numSlices; }
  int NumSteps() const { return steps_.size(); }
  double TotalSize() const;

  // Runs the steps, but those that need one that did not end well, until whom the interrupt asks halts them.
  void Run(Direction direction, int numThreads, StepWork* work, Interrupt* watch);

 private:
  struct Step {
    int above;
    double size;
    int numSlices;
    double gathered;  // its size and that of the steps below it in its task
    int task;
  };
  struct Task {
    int above = -1, firstBelow = -1, nextBeside = -1;
    int numWaitingFor = 0;
    int firstStep = 0, numSteps = 0;  // in order_
    double size = 0;
    int slicesLeft = 0;
  };
  // One task, or one slice of a step that is a task by itself.
  struct Unit {
    int task, slice;  // slice -1: from its beginning
  };

  bool StandsAlone(const Step& step) const { return step.numSlices > 1; }
  void MakeTasks(Direction direction);
  static void WorkAsOne(void* context, int worker);
  void Work(int worker);
  bool AwaitUnit(int worker);
  void RunUnit(const Unit& unit, int worker);
  bool RunStep(int step, int worker);
  void Push(Unit unit);
  void Finish(int task);
  void LookUp();

  Vector<Step> steps_;
  Vector<Task> tasks_;
  Vector<int> order_, collectors_;  // steps by task; per step, the task that gathers small ones below it
  Vector<Unit> units_;              // to be run, the latest first
  Direction direction_ = Direction::INWARD;
  StepWork* work_ = nullptr;
  Interrupt* watch_ = nullptr;
  // All of the following, and units_ and what changes of tasks, is locked.
  Monitor monitor_;
  int numOpen_ = 0, numWaiting_ = 0;  // units that wait or run; threads that wait
  double done_ = 0;                   // size that the calling thread has not told of yet
  std::atomic<int> numUnits_ = 0;     // as many as units_; looked at without locking
  std::atomic<bool> isOver_ = false;
};

}  // namespace bravic::engine
