// Messages over large trees made by several threads at once, and the beliefs read from them. The calling thread
// prepares every pass, so that the others allocate nothing and see nothing change but what they wait for. Each message
// comes out bit for bit as the calling thread alone would make it; what goes beyond plain arithmetic of floats and
// doubles is left undone, for the calling thread to do.
#pragma once

#include "Bn/engine/TreeWork.h"
#include "Bn/engine/infer/CliquePasses.h"
#include "Bn/engine/infer/Marginals.h"
#include "Bn/engine/infer/SeparatorBeliefs.h"

namespace bravic::engine {

class SharedTree final : private StepWork {
 public:
  SharedTree(const Structure& structure, const Findings& findings, Messages& messages, CliquePasses& passes,
             const Mode& mode);

  // Makes the messages into the clique that are missing, where they are worth several threads, as far as it can.
  void Collect(int root);
  // The same for those outward, all messages into the pivot being valid; reads the beliefs of what is not known.
  void ReadAll(int pivot, const BeliefPlace& out);
  // What ReadAll has done: messages out of a clique and its lone variables, what is read at a separator.
  bool IsCliqueDone(int clique) const { return !cliquesDone_.empty() && cliquesDone_[clique]; }
  bool IsSeparatorRead(int separator) const { return !separatorsRead_.empty() && separatorsRead_[separator]; }

 private:
  struct Step {
    int clique;
    int from;        // OUTWARD: the clique we come from; INWARD: the link that is sent over
    int above = -1;  // step
    PassRequest::Kind kind = PassRequest::Kind::SEND;
    int firstLink = 0, numLinks = 0;         // in links_: over which messages are sent
    CliquePasses::Prepared* pass = nullptr;  // NULL: nothing is to be made
    bool readsLone = false;
    bool canRun = true;                         // by any thread
    int loneAt = 0, loneSize = 0, apartAt = 0;  // in sums_
    PassResult result;                          // but for what the sums are to be multiplied by,
    double unscale = 1;                         // which running tells
  };
  // What a thread works with.
  struct Seat {
    Seat(const Structure& structure, const Findings& findings, const Messages& messages, const Mode& mode)
        : marginals(structure, findings, mode), beliefs(structure, findings, messages, marginals, mode) {}
    PassPlace place;
    Marginals marginals;
    SeparatorBeliefs beliefs;
  };

  bool IsWorthThreads() const;
  void Begin();
  bool SetThreads();
  void AddStep(int clique, int from, int above);
  void Prepare(Step* step, int number);
  bool HasPlaces(const Step& step) const;
  void PrepareReading(const BeliefPlace& out);
  void Run(TreeWork::Direction direction);
  PassRequest RequestOf(const Step& step) const;
  void SetTargets(const Step& step, PassPlace* place);
  template <class Visit>
  void ForEachRead(const Step& step, Visit visit) const;

  bool BeginStep(int step, int worker) override;
  void RunSlice(int step, int slice, int worker) override;
  bool EndStep(int step, int worker) override;

  const Structure& structure_;
  const Findings& findings_;
  Messages& messages_;
  CliquePasses& passes_;
  const Mode& mode_;
  Owned<TreeWork> work_;  // NULL until it is needed
  Vector<Step> steps_;
  Vector<int> links_;
  Vector<double> sums_;
  Vector<Owned<Seat>> seats_;  // [worker]
  Vector<float*> places_;      // [node] where beliefs go
  BeliefPlace placeOf_;
  Vector<unsigned char> cliquesDone_, separatorsRead_;
  int numSums_ = 0, numThreads_ = 1;
  PassPlace most_;  // with room for every pass
};

}  // namespace bravic::engine
