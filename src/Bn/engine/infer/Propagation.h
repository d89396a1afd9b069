// The inside of Inference, shared by its files: Inference.cpp findings and what they make stale, Potentials.cpp
// layouts, allocation and filling, CliquePass.cpp passes, Propagation.cpp messages and answers, Reading.cpp beliefs and
// sweeps, Wide.cpp all that at unlimited range.
#pragma once

#include <cstdint>

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/Pass.h"
#include "Bn/engine/infer/Elimination.h"
#include "Bn/engine/infer/Inference.h"
#include "Bn/engine/infer/Range.h"

namespace bravic::engine {

inline constexpr int FREE = -1;
inline constexpr std::size_t WIDE_TARGET = 1 << 20;  // larger targets are summed in floats
inline constexpr double PLAIN_ENTRIES = 12;          // smaller passes go entry by entry,
inline constexpr double PLAIN_AT_FIRST = 160;        // and these until they come again
inline constexpr double SMALL_CLIQUE = 32;           // entries; such potentials are doubles

// A message from one clique to a neighbour; 2 * s from the first clique of separator s to the second, 2 * s + 1 back.
struct Message {
  // Both point into the separator's blocks; entries over the free variables, last fastest. One may be NULL: doubles
  // for large separators, floats where all that read them are small cliques.
  double* probs = nullptr;
  float* floats = nullptr;
  double unscale = 1;      // probs are floats * unscale
  long long exponent = 0;  // the weights are probs * 2^exponent, all that lies behind it included
  bool valid = false;
  bool rests = false;    // on the opposite message's zeros
  bool vacuous = false;  // 1 throughout, whatever the tables behind it
  Range range;
  int numFixed = 0;     // variables at which it holds one state alone
  Vector<int> fixedAt;  // [variable of the separator] that state, or FREE
};

// A pass prepared for one layout of a clique: which of its variables are known, which incoming messages hold one
// state alone, which likelihoods there are. The states themselves only move where tables begin.
struct PreparedPass {
  Vector<std::uint64_t> layout;
  int key = -1;       // what it sums onto, where that may vary
  Vector<int> links;  // outgoing links that it sums onto
  bool plain = false;
  int runs = 0;
  double size = 1;  // entries passed over
  PassShape shape;
  PassPlan plan;
  struct Shift {
    int table, node, stride;  // table begins at state * stride
  };
  Vector<Shift> shifts;
};

// The same pass for the layouts met lately.
struct PassCache {
  unsigned layout = 0;  // number of the layout for which current was chosen
  int current = -1, replaceNext = 0;
  Vector<PreparedPass> passes;
};

struct Link {
  int neighbour, separator, in, out;  // in, out: messages
  bool tellsOfHomed = false;          // a node whose table is multiplied in here is in the separator
  Vector<int> axes;                   // [variable of the separator] its place in the clique
  PassCache send;
};

// Variables of one state are left out of tables.
struct CliqueState {
  Vector<int> variables;  // first varies slowest
  Vector<int> strides;    // parallel
  Vector<Link> links;
  Vector<int> homed;    // nodes whose tables are multiplied in here
  Vector<int> entered;  // nodes whose findings are entered here
  Vector<int> alone;    // variables of no other clique
  // The potential: floats, or doubles where the clique is small or floats cannot hold it.
  Block<float> potential;
  Block<double> exact;
  double unscale = 1;  // the weights are potential * unscale
  bool filled = false;
  enum class Homed : unsigned char { UNKNOWN, PROPER, INFORMING } homedTables = Homed::UNKNOWN;  // of the nodes homed
  std::size_t size = 1;
  Range range;                // of the potential
  unsigned layoutNumber = 1;  // moves with every change of layout
  unsigned describedNumber = 0;
  Vector<std::uint64_t> layout;  // of layout describedNumber: a word of variables, one per link, likelihoods
  PassCache sweep;               // onto the separators of outgoing links and the lone variables
  PassCache read;                // onto a node, a family or the total
};

struct SeparatorState {
  Vector<int> variables;
  Vector<int> read;       // nodes whose beliefs are read here
  Block<double> doubles;  // both messages, or NULL
  Block<float> floats;    // both messages, or NULL
  std::size_t size = 1;
};

struct Finding {
  int state = FREE;
  bool checked = true;  // known to be possible together with all others that are
  bool weighted = false;
  Vector<WideNumber> weights;
  // The weights divided by 2^exponent to a largest entry in [0.5, 1); the floats are followed by slack.
  Vector<double> doubles;
  Vector<float> floats;
  long long exponent = 0;
  Range range;               // of the doubles
  std::uint64_t serial = 0;  // of the weights: never the same for others
};

// What matters of a node's table beside its numbers.
struct TableFacts {
  bool known = false;
  bool informs = false;   // rows do not sum to 1, so that it says something of the parents by itself
  int low = 0;            // no positive entry is below 2^low
  Vector<float> cleaned;  // as it is computed with, where that differs from the table
};

// Whether the row is a distribution, and by what it is multiplied to be computed with: 0 for an impossible one; rows
// that miss 1 by what rounding explains are normalized, others stay as they are.
bool IsDistribution(const float* row, int numstates, double* scale);

// The model without the nodes that are known.
struct ReducedModel {
  Vector<unsigned char> known;  // [node]; such a node has one state here and is nobody's parent
  Vector<int> numstates;
  Vector<Vector<int>> parents;
  JunctionTree tree;
  Vector<Vector<float>> tables;   // [node] what agrees with the findings, or empty where that is all
  Vector<Vector<double>> scales;  // [known node] of each entry the scale of its row, or empty where all are 1
  Owned<Inference> inference;
  double cost = 0;  // of a sweep, in nanoseconds, estimated
};

using BeliefPlace = std::function<float*(int node)>;

struct WideTarget {
  std::span<const int> variables;
  Block<WideNumber>* to;
};

struct Inference::Impl {
  const JunctionTree* tree = nullptr;
  std::span<const Vector<int>> parents;
  Vector<Vector<int>> children;
  Vector<int> numstates;
  Vector<CliqueState> cliques;
  Vector<SeparatorState> separators;
  Vector<Message> messages;
  Vector<Finding> findings;
  Vector<int> entry;                            // [node] smallest clique that holds it
  Vector<int> readAt;                           // [node] smallest separator that holds it, or -1
  Vector<Vector<int>> cliquesOf, separatorsOf;  // [node]
  Vector<int> parentClique, depth;              // with the first clique as root
  bool laidOut = false, allocated = false;
  // Whether floats are scaled by factors of their own, so that many alike are not all rounded the same way.
  bool spreadsRounding = false;
  ProductRange passRange;  // of the products of the latest pass
  double passUnscale = 1;  // by which the sums of the latest pass are to be multiplied
  int passLift = 0;        // of which so much is 2^-passLift
  std::function<const float*(int)> tableOf;
  const ReducedModel* cutAs = nullptr;  // the model that this computes, where known nodes are cut out of another
  Block<float> tableRoom;               // for the tables of one clique
  bool maximize = false;
  int numKnown = 0, numWeighted = 0;  // nodes with a state finding, with a likelihood
  std::uint64_t lastSerial = 1ull << 40;
  Vector<int> unchecked;       // nodes whose findings are not checked
  bool tablesChecked = false;  // to be possible by themselves

  bool propagated = false;
  Status status = Status::Done;
  int pivot = 0;  // clique to which messages are collected: where the latest change was
  double total = 0;
  long long totalExponent = 0;
  unsigned long long stamp = 1;
  // Nanoseconds, estimated, on single questions: since the last change, and since the tree was used; when the latter
  // should be thought about.
  double spent = 0, sinceTree = 0, lookAgain = 0;
  // What a sweep would take over the first so many cliques, as far as that has been asked since the last change.
  double sweepCost = 0;
  int numSwept = 0;
  double patience = 1;

  bool wide = false;  // the findings need the range of wide numbers
  Vector<Block<WideNumber>> wideMessages;

  // Single questions.
  Way chosenWay = Way::CHEAPEST;
  Vector<TableFacts> tableFacts;
  Elimination elimination;
  unsigned visitNumber = 0;
  Vector<unsigned> parentsVisited, childrenVisited, targetAt;  // [node] the latest visit
  Vector<int> visits, relevant, questions;

  // Reduced models, the latest made last, and how far from enough the gain of others was.
  Vector<Owned<ReducedModel>> reducedModels;
  double reducingPatience = 1;

  Interrupt interrupt;
  Interrupt* watch = &interrupt;  // that of the model around this one, where there is one

  // Scratch.
  const Kernels* kernels = &BestKernels();
  Vector<float> arena;
  Vector<const float*> factors;
  Vector<const double*> exactFactors;
  Vector<Vector<double>> converted;
  Vector<double> tableDoubles;
  Vector<PassTarget> targets;
  Vector<Vector<double>> sums;
  Vector<double> joint, marginal;
  Vector<float> normalized;
  Vector<int> familyNodes;
  PassShape fillShape;
  PassPlan fillPlan;
  Vector<int> outward, path, cursor, work, cameFrom, outgoing, axisOf;

  void Build();
  void RootTree();

  // Findings and validity.
  void Invalidate(int message);
  void InvalidateFrom(int clique);
  void InvalidateAll();
  void Forget();
  void Changed(int clique);
  void LayoutChanged(int node);
  void ForgetState(int node);
  void SetFinding(int node, int state, std::span<const WideNumber> weights);

  void SetChecked(int node, bool checked);
  void ForgetChecks();
  void CheckedAll();

  // Single questions.
  const TableFacts& FactsOf(int node);
  bool ScaleOf(int node, const float* row, double* scale) const;
  bool TablesAreSure();
  void FindRelevant(std::span<const int> targets);
  int GatherFactors(int node);
  double PassCost(int clique) const;
  double TreeCost(int node, double limit);
  double WayCost(int node);
  bool TreeServes(int node, double cost);
  bool TreeWouldPay(int node, double cost);
  bool Ask(int node, std::span<float> to, Status* answer);

  // Layouts and potentials.
  void ChooseLayouts();
  void OrderVariables(int clique);
  void FullShape(const CliqueState& clique, std::span<const int> variables, PassShape* shape);
  std::size_t TableSize(int node) const;
  bool HomedAreProper(int clique);
  int ShapeTables(int clique);
  template <class Number>
  Number* CopyScaled(int node, double factor, Number* to) const;
  bool FillExactly(int clique);
  void FillFloats(int clique);
  void FillClique(int clique);

  // Passes.
  void DescribeLayout(CliqueState* clique) const;
  PreparedPass& Prepared(PassCache* cache, int clique, int exceptLink, int key, std::span<const int> outLinks,
                         std::span<const int> nodes, bool ontoNodes);
  void Prepare(PreparedPass* pass, int clique, int exceptLink, std::span<const int> outLinks,
               std::span<const int> nodes, bool ontoNodes);
  ProductRange RangeOf(int clique, int exceptLink) const;
  int Run(PreparedPass* pass, int clique, int exceptLink);
  int LostInSums(int floor, const PreparedPass& pass, std::size_t size) const;
  void RunInDoubles(PreparedPass* pass, int clique, int exceptLink);
  PassTarget Target(std::size_t k, std::size_t size, float* narrow);
  void DescribeMessage(int message);
  void StoreVacuous(int message);
  Outcome StoreMessage(int message, const PassTarget& target, bool divide, int lost);
  int NumInformative(int clique);
  Outcome MakeMessage(int clique, int link);
  Outcome Collect(int clique);
  Status PropagateNarrow(int node, std::span<float> to);
  void ScaleTotal();
  Status Propagate(int node, std::span<float> to);
  double SweepCost() const;
  ReducedModel* FindReduced(double limit);
  void HandToReduced(ReducedModel* model);
  bool SweepReduced(const BeliefPlace& out);
  const double* SumOnto(int clique, int key, std::span<const int> nodes, int* lost);
  long long IncomingExponent(int clique, int exceptLink) const;
  std::size_t FreeSize(std::span<const int> variables) const;
  Outcome Sweep(int clique, int source, const BeliefPlace& out);
  Outcome SweepSingly(int clique, bool lone, const BeliefPlace& out);
  Outcome ReadAlone(int clique, const double* sums, int lost, const BeliefPlace& out);
  bool ReadSeparator(int separator, std::span<const int> nodes, const BeliefPlace& out);
  bool ReadLargeSeparator(int separator, std::span<const int> nodes, const BeliefPlace& out);
  bool MarginalOf(const double* table, std::span<const int> variables, int node, int lost, std::span<float> to);
  bool Normalize(const double* from, std::span<float> to) const;
  bool SumSurely(int clique, int key, std::span<const int> nodes, std::span<float> to);
  bool NormalizeSure(const double* from, int lost, std::span<float> to) const;
  void AddWideTables(int clique, PassShape* shape, Vector<Vector<WideNumber>>* tables,
                     Vector<const WideNumber*>* starts);
  bool WidePass(int clique, int exceptLink, std::span<const WideTarget> targets);
  bool WideSend(int clique, int link);
  bool WideCollect(int clique);
  Status PropagateWide();
  const double* WideSumOnto(int clique, std::span<const int> nodes);
  bool Read(int node, std::span<float> to);
  void FindWay(int start, int end);
  int CliqueForReading(int node);

  // Calls visit(index) for each configuration of the variables that agrees with the findings, last fastest: its
  // index in a table over those of them that fixedAt leaves free (all when it is empty).
  template <class Visit>
  void ForEachFree(std::span<const int> variables, std::span<const int> fixedAt, Visit visit) const {
    int sizes[MAX_PASS_AXES], strides[MAX_PASS_AXES], at[MAX_PASS_AXES] = {}, count = 0, stride = 1;
    std::size_t index = 0;
    for (std::size_t k = variables.size(); k-- > 0;) {
      const int v = variables[k];
      if (numstates[v] == 1 || (!fixedAt.empty() && fixedAt[k] != FREE)) continue;
      if (findings[v].state == FREE) {
        sizes[count] = numstates[v];
        strides[count++] = stride;
      } else {
        index += At(findings[v].state * stride);
      }
      stride *= numstates[v];
    }
    for (;;) {
      visit(index);
      int k = 0;
      for (;; ++k) {
        if (k == count) return;
        index += At(strides[k]);
        if (++at[k] < sizes[k]) break;
        index -= At(at[k] * strides[k]);
        at[k] = 0;
      }
    }
  }

  // Entries over what is free of the variables, each divided by its counterpart in a message that leaves more free;
  // 0 where that is 0. Answers whether any was.
  template <class Number, class Divisor>
  bool DivideSlice(Number* entries, std::span<const int> variables, std::span<const int> fixedAt,
                   const Divisor* against) const {
    bool zero = false;
    ForEachFree(variables, fixedAt, [&](std::size_t index) {
      const Divisor divisor = against[index];
      zero |= divisor == 0;
      *entries = divisor == 0 ? 0 : *entries / static_cast<Number>(divisor);
      ++entries;
    });
    return zero;
  }
};

}  // namespace bravic::engine
