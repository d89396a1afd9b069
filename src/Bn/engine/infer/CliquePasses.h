// Passes over a clique: its potential is multiplied by the messages that come in and by the likelihoods entered there,
// and summed onto separators or nodes. Each pass is prepared for one layout of the clique, kept, and run in floats by a
// plan or, where that could lose something or the clique is small, in doubles entry by entry.
//
// A layout is which of the clique's variables are known, which of them incoming messages hold one state of, and which
// likelihoods are entered. The states themselves only move where tables begin.
#pragma once

#include <algorithm>
#include <cstdint>

#include "Bn/engine/PassPlan.h"
#include "Bn/engine/PassShape.h"
#include "Bn/engine/infer/Findings.h"
#include "Bn/engine/infer/Messages.h"
#include "Bn/engine/infer/Potentials.h"

namespace bravic::engine {

// Nodes of one clique that are summed onto together. The key tells sets of the same clique apart.
struct NodeSet {
  int key = 0;
  std::span<const int> nodes;

  static NodeSet None() { return {-1, {}}; }
  static NodeSet Single(const int& node) { return {node, std::span<const int>(&node, 1)}; }
  static NodeSet Family(const Structure& structure, int node) { return {-2 - node, structure.families[node]}; }
  static NodeSet Lone(const Structure& structure, int clique) {
    return {structure.NumNodes(), structure.cliques[clique].lone};
  }
};

// What a pass over a clique is for.
struct PassRequest {
  enum class Kind {
    SEND,   // one message: onto the separator of a link, that of the opposite message left out
    SWEEP,  // several messages: onto the separators of links, all messages in; and perhaps onto nodes
    READ    // onto nodes, all messages in
  };
  Kind kind = Kind::READ;
  int clique = 0;
  int exceptLink = -1;                 // whose incoming message is left out, or -1
  std::span<const int> outLinks = {};  // onto whose separators
  bool ontoNodes = false;              // whether onto a table over nodes too
  NodeSet nodes = {};
};

// A table of sums.
struct Sums {
  const double* entries;  // good until the next pass
  double unscale;         // by which they are to be multiplied
  int lost;               // what each may lack, see Range.h
};

// Where a pass is run: its targets, and scratch. Threads run passes each in a place of its own.
struct PassPlace {
  Vector<PassTarget> targets;
  Vector<Vector<double>> sums;  // of targets in doubles
  PassRoom room;
  Vector<const float*> floatTables;
  Vector<const double*> doubleTables;
  Vector<Vector<double>> converted;  // messages that have no doubles

  // As much room as another one has for passes.
  void GrowAs(const PassPlace& other) {
    targets.reserve(other.targets.capacity());
    floatTables.reserve(other.floatTables.capacity());
    doubleTables.reserve(other.doubleTables.capacity());
    room.arena.GrowTo(other.room.arena.size());
    room.tables.GrowTo(other.room.tables.size());
  }
};

// What is to be known of the sums that a pass left in its targets.
struct PassResult {
  bool inFloats = false;  // by the plan
  double unscale = 1;     // by which they are to be multiplied
  int floor = 0;          // products below 2^floor, but for the lift, may be wrong
  int lift = 0;           // the sums stand times 2^lift
  ProductRange range;     // of the products
  double numTerms = 1;    // that all sums on a target have together

  // What each sum on a target of that size may lack, see Range.h.
  int LostInSums(int targetSize, bool maximize) const {
    const double perEntry = maximize ? 1 : std::max(1.0, numTerms / targetSize);
    const int lost = range.Lost(floor, perEntry);
    return lost == NO_LOSS ? lost : lost + lift;
  }
};

class CliquePasses {
 public:
  // A pass prepared for one layout.
  struct Prepared {
    Vector<std::uint64_t> layout;
    int key = -1;
    Vector<int> outLinks;
    bool isPlain = false;  // entry by entry
    int runs = 0;          // from 1; 0 where a plan is never worth making
    double size = 1;       // entries passed over
    PassShape shape;
    PassPlan plan;
    struct Shift {
      int table, node, stride;  // the table begins at the node's state * stride
    };
    Vector<Shift> shifts;

    bool IsFor(const PassRequest& request) const;
  };

  CliquePasses(const Structure& structure, const Findings& findings, Potentials& potentials, const Messages& messages,
               const Mode& mode);

  // The targets of the next pass, cleared, in the order of their request.
  void ClearTargets() { place_.targets.clear(); }
  void AddTarget(int size, float* narrow);
  const Vector<PassTarget>& Targets() const { return place_.targets; }
  // The pass asked for, over a potential that is filled where it is not. All messages in are valid.
  PassResult Run(const PassRequest& request);
  // The same in steps, the first of which prepares it, so that others run it without allocating anything: what it is to
  // be run in, and of its products; the sums themselves, in one slice of the plan's or (-1) all. Those of doubles are
  // not sliced. The place's targets are cleared, and has room (ReserveFor).
  Prepared& PreparePass(const PassRequest& request);
  PassResult Describe(const Prepared& pass, const PassRequest& request, bool ontoFloats) const;
  void RunPrepared(Prepared& pass, const PassRequest& request, int slice, double* sumsApart, PassPlace* place,
                   PassResult* result) const;
  void ReserveFor(const Prepared& pass, PassPlace* place) const;
  // Sums onto the free ones of the nodes.
  Sums SumOnto(int clique, const NodeSet& nodes);

  // Of the products of the clique's potential, messages and likelihoods.
  ProductRange RangeOf(int clique, int exceptLink) const;
  // Whether any sum of a pass over the clique may lack something, some of its targets being floats.
  bool MayLose(int clique, bool hasFloats) const;
  // Whether the message's pass, or the passes that read the clique, are prepared for the present layout.
  bool IsPreparedToSend(int clique, int link) const {
    return sends_[clique][link].layout == messages_.LayoutNumber(clique);
  }
  bool IsPreparedToSweep(int clique) const { return sweeps_[clique].layout == messages_.LayoutNumber(clique); }
  bool IsPreparedToRead(int clique) const { return reads_[clique].layout == messages_.LayoutNumber(clique); }

 private:
  // The same pass for the layouts met lately.
  struct Cache {
    unsigned layout = 0;  // number of the layout for which current was chosen
    int current = -1, replaceNext = 0;
    Vector<Prepared> passes;
  };
  // The present layout of a clique: a word of its variables, one per link, one per likelihood.
  struct Layout {
    unsigned number = 0;
    Vector<std::uint64_t> words;
  };

  Cache& CacheOf(const PassRequest& request);
  const Vector<std::uint64_t>& LayoutOf(int clique);
  Prepared& FindPrepared(const PassRequest& request);
  void Prepare(const PassRequest& request, Prepared* pass);
  template <class Visit>
  void ForEachLikelihood(int clique, Visit visit) const;
  double RunInDoubles(const Prepared& pass, const PassRequest& request, PassPlace* place) const;
  double RunInFloats(const Prepared& pass, const PassRequest& request, int lift, int slice, double* sumsApart,
                     PassPlace* place) const;
  const double* InDoubles(const Message& message, std::span<const int> variables, int* numConverted,
                          PassPlace* place) const;

  const Structure& structure_;
  const Findings& findings_;
  Potentials& potentials_;
  const Messages& messages_;
  const Mode& mode_;
  Vector<Cache> sweeps_, reads_;  // [clique]
  Vector<Vector<Cache>> sends_;   // [clique][link]
  Vector<Layout> layouts_;        // [clique]
  PassPlace place_;               // of passes by the calling thread
  ShapeMaker maker_;              // scratch
};

}  // namespace bravic::engine
