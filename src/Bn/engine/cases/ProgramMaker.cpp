#include "Bn/engine/cases/ProgramMaker.h"

#include <algorithm>

#include "Bn/engine/Axes.h"
#include "Bn/engine/cases/PassMaker.h"

namespace bravic::engine {

namespace {

class ProgramMaker {
 public:
  ProgramMaker(const CaseTree& tree, int slotBytes) : tree_(tree), structure_(tree.structure), program_(slotBytes) {}

  bool Make(CaseProgram* program);  // false without memory

 private:
  static constexpr int NOWHERE = CaseTree::NOWHERE;
  using Weights = CaseTree::Weights;
  // Of the entries of a table: no positive one is less than low, where that is known beforehand; else the least ones of
  // each case, or less, stand in a slot, and low is a guess. None is larger than high.
  struct Bounds {
    double low = 1, high = 1;
    int slot = NOWHERE;
  };
  // What is kept of a separator: the message inward, whose place the one outward takes, and the belief.
  struct SeparatorTables {
    int message = NOWHERE, low = NOWHERE, belief = NOWHERE;
    int size = 1;
    Bounds bounds;  // of the message
  };
  // What the products of a pass come to.
  struct Products {
    Bounds bounds;
    double size;  // how many there are
  };

  int NewSlots(int count) {
    const int first = program_.numSlots;
    program_.numSlots += count;
    return first;
  }
  void AddOffset(int slot) { program_.pool.push_back(slot * program_.slotBytes); }
  void PlaceEvidence();
  void PlaceTables();
  void PlaceBeliefs();
  void AddStep(CaseStep::Kind kind, const CaseMessage& message);
  void Scale(int separator, bool isOutward);
  void ScaleFactors(int clique, bool isOutward, const Weights& weights);
  void AddFactors(int clique, bool isOutward);
  void AddTargets(int clique);
  Products AddPass(int clique, bool isOutward, const Weights& weights);
  void AddInward(int clique, const Weights& weights);
  void SetOutward(int clique, const Products& products);
  void AddReadings(int clique);
  void AddReading(int target, int slot, std::span<const int> variables);

  const CaseTree& tree_;
  const Structure& structure_;
  CaseProgram program_;
  PassMaker maker_{structure_.numstates, &program_};
  Vector<SeparatorTables> separators_;  // [separator]
  Vector<int> evidenceAt_;              // [node] its table of what is known, or NOWHERE
  Vector<Vector<int>> evidenceOf_;      // [separator] nodes that are multiplied into the message inward
  Vector<Vector<int>> loneEvidence_;    // [clique] nodes that are multiplied in here
  Vector<int> beliefAt_, familyAt_;     // [target], [family] its first slot of the answer
};

// What is known of a node is multiplied into the smallest message that tells of it, which takes little; of a node in
// no message into its clique.
void ProgramMaker::PlaceEvidence() {
  evidenceAt_.assign(structure_.NumNodes(), NOWHERE);
  evidenceOf_.resize(structure_.separators.size());
  loneEvidence_.resize(structure_.cliques.size());
  for (int column = 0; column < tree_.question.observed.size(); ++column) {
    const int v = tree_.NodeOfColumn(column), numstates = structure_.numstates[v];
    if (numstates < 2) continue;
    evidenceAt_[v] = NewSlots(numstates);
    program_.evidence.push_back({column, evidenceAt_[v], numstates});
    if (structure_.readAt[v] >= 0)
      evidenceOf_[structure_.readAt[v]].push_back(v);
    else
      loneEvidence_[structure_.entry[v]].push_back(v);
  }
}

void ProgramMaker::PlaceTables() {
  separators_.resize(structure_.separators.size());
  for (int c : tree_.order) {
    if (c == tree_.root) continue;
    SeparatorTables& tables = separators_[tree_.upward[c]];
    tables.size = tree_.SizeOf(tree_.VariablesOf(tree_.upward[c]));
    tables.message = NewSlots(tables.size);
    if (tree_.isVisited[c]) tables.belief = NewSlots(tables.size);
  }
}

void ProgramMaker::PlaceBeliefs() {
  for (int target : tree_.question.targets) program_.numBeliefs += tree_.question.numstates[target];
  for (int family : tree_.question.families) program_.numBeliefs += tree_.question.FamilySize(family);
  program_.beliefs = NewSlots(program_.numBeliefs);
  int next = program_.beliefs;
  for (int target : tree_.question.targets) {
    beliefAt_.push_back(next);
    next += tree_.question.numstates[target];
  }
  for (int family : tree_.question.families) {
    familyAt_.push_back(next);
    next += tree_.question.FamilySize(family);
  }
}

void ProgramMaker::AddStep(CaseStep::Kind kind, const CaseMessage& message) {
  program_.steps.push_back({kind, program_.messages.size()});
  program_.messages.push_back(message);
}

// A message's largest entry of each case is scaled to [0.5, 1), and the least found.
void ProgramMaker::Scale(int s, bool isOutward) {
  constexpr double GUESS = 0x1p-32;
  SeparatorTables& tables = separators_[s];
  if (tables.low == NOWHERE) tables.low = NewSlots(1);
  AddStep(CaseStep::Kind::SCALING,
          {.table = tables.message, .size = tables.size, .low = tables.low, .isCounted = !isOutward});
  tables.bounds = {GUESS, 1, tables.low};
}

// Scales messages to the clique until products should stay in the range of floats.
void ProgramMaker::ScaleFactors(int c, bool isOutward, const Weights& weights) {
  constexpr double LEAST = 0x1p-80, MOST = 0x1p100;
  for (;;) {
    double low = weights.low, high = 1;
    int worst = NOWHERE;
    double span = 1;
    for (const Link& link : structure_.cliques[c].links) {
      const Bounds& bounds = separators_[link.separator].bounds;
      if (link.separator == tree_.upward[c] && !isOutward) continue;
      low *= bounds.low;
      high *= bounds.high;
      const bool isScaled = bounds.slot != NOWHERE && bounds.slot == separators_[link.separator].low;
      if (isScaled || bounds.high / bounds.low <= span) continue;
      span = bounds.high / bounds.low;
      worst = link.separator;
    }
    if ((low >= LEAST && high <= MOST) || worst == NOWHERE) return;
    Scale(worst, isOutward);
  }
}

// The messages from the children, outward that from the parent too, and what is known here alone.
void ProgramMaker::AddFactors(int c, bool isOutward) {
  maker_.Begin(structure_.cliques[c].variables);
  for (const Link& link : structure_.cliques[c].links)
    if (link.separator != tree_.upward[c] || isOutward)
      maker_.AddFactor(separators_[link.separator].message, tree_.VariablesOf(link.separator));
  for (int v : loneEvidence_[c]) maker_.AddFactor(evidenceAt_[v], std::span<const int>(&v, 1));
}

// Beliefs of the separators outward, and those of nodes and families that are read here.
void ProgramMaker::AddTargets(int c) {
  for (const Link& link : structure_.cliques[c].links) {
    if (link.separator == tree_.upward[c] || separators_[link.separator].belief == NOWHERE) continue;
    maker_.AddTarget(separators_[link.separator].belief, tree_.VariablesOf(link.separator));
  }
  for (int t : tree_.readInside[c]) {
    const int v = tree_.NodeOfTarget(t);
    // A node of one state has the sum of everything.
    if (structure_.numstates[v] > 1) maker_.AddTarget(beliefAt_[t], std::span<const int>(&v, 1));
  }
  for (int f : tree_.familiesAt[c]) maker_.AddTarget(familyAt_[f], tree_.FamilyOf(tree_.NodeOfFamily(f)));
}

// The pass that was begun, over messages that are in range.
ProgramMaker::Products ProgramMaker::AddPass(int c, bool isOutward, const Weights& weights) {
  const int number = maker_.Make({weights.entries.get(), static_cast<std::size_t>(weights.size)});
  program_.steps.push_back({CaseStep::Kind::PASS, number});
  CasePass& pass = program_.passes[number];
  pass.lows = program_.pool.size();
  pass.low = weights.low;
  Bounds products{weights.low, 1, NOWHERE};
  for (const Link& link : structure_.cliques[c].links) {
    if (link.separator == tree_.upward[c] && !isOutward) continue;
    const Bounds& bounds = separators_[link.separator].bounds;
    products.low *= bounds.low;
    products.high *= bounds.high;
    if (bounds.slot == NOWHERE) {
      pass.low *= bounds.low;
    } else {
      AddOffset(bounds.slot);
      ++pass.numLows;
    }
  }
  if (pass.numLows > 0) products.slot = pass.least = NewSlots(1);
  return {products, static_cast<double>(weights.size)};
}

void ProgramMaker::AddInward(int c, const Weights& weights) {
  const int s = tree_.upward[c];
  SeparatorTables& tables = separators_[s];
  const Vector<int>& variables = tree_.VariablesOf(s);
  ScaleFactors(c, false, weights);
  AddFactors(c, false);
  maker_.AddTarget(tables.message, variables);
  const Products products = AddPass(c, false, weights);
  tables.bounds = products.bounds;
  tables.bounds.high *= products.size / tables.size;
  if (evidenceOf_[s].empty()) return;
  const int begin = program_.pool.size();
  for (int v : evidenceOf_[s]) {
    int sizes[MAX_AXES], strides[MAX_AXES];
    for (int a = 0; a < variables.size(); ++a) {
      sizes[a] = structure_.numstates[variables[a]];
      strides[a] = variables[a] == v;
    }
    ForEachOffset(variables.size(), sizes, strides, [&](int offset) { AddOffset(evidenceAt_[v] + offset); });
  }
  AddStep(CaseStep::Kind::EVIDENCE,
          {.table = tables.message, .size = tables.size, .evidence = begin, .numEvidence = evidenceOf_[s].size()});
}

// What the messages outward to the visited children will be, once they are divided.
void ProgramMaker::SetOutward(int c, const Products& products) {
  for (const Link& link : structure_.cliques[c].links) {
    SeparatorTables& tables = separators_[link.separator];
    if (link.separator == tree_.upward[c] || tables.belief == NOWHERE) continue;
    const Bounds inward = tables.bounds;
    tables.bounds = products.bounds;
    tables.bounds.high *= products.size / tables.size / inward.high;
    if (inward.slot == NOWHERE && products.bounds.slot == NOWHERE) tables.bounds.low /= inward.low;
    AddStep(CaseStep::Kind::DIVISION, {.table = tables.belief, .size = tables.size, .divisor = tables.message});
  }
}

// slot: of a table over the variables.
void ProgramMaker::AddReading(int t, int slot, std::span<const int> variables) {
  const int v = tree_.NodeOfTarget(t), numstates = structure_.numstates[v];
  CaseReading reading{program_.pool.size(), numstates, tree_.SizeOf(variables) / numstates, beliefAt_[t]};
  for (int state = 0; state < numstates; ++state) {
    int sizes[MAX_AXES], strides[MAX_AXES], first = slot;
    ForEachStride(
        variables, structure_.numstates, [](int) { return true; },
        [&](int a, int stride) {
          sizes[a] = variables[a] == v ? 1 : structure_.numstates[variables[a]];
          strides[a] = stride;
          if (variables[a] == v) first += state * stride;
        });
    ForEachOffset(Count(variables), sizes, strides, [&](int offset) { AddOffset(first + offset); });
  }
  program_.steps.push_back({CaseStep::Kind::READ, program_.readings.size()});
  program_.readings.push_back(reading);
}

// What the pass outward over the clique has made ready.
void ProgramMaker::AddReadings(int c) {
  for (const Link& link : structure_.cliques[c].links) {
    if (link.separator == tree_.upward[c]) continue;
    for (int t : tree_.readAt[link.separator])
      AddReading(t, separators_[link.separator].belief, tree_.VariablesOf(link.separator));
  }
  for (int t : tree_.readInside[c]) {
    const int v = tree_.NodeOfTarget(t);
    if (structure_.numstates[v] > 1)
      AddReading(t, beliefAt_[t], std::span<const int>(&v, 1));
    else
      AddReading(t, CaseProgram::TOTAL, {});
  }
}

bool ProgramMaker::Make(CaseProgram* program) {
  PlaceEvidence();
  PlaceTables();
  PlaceBeliefs();
  // Where the clique is passed over twice its weights are needed again.
  Vector<Weights> kept(structure_.cliques.size());
  for (int k = tree_.order.size(); k-- > 1;) {
    const int c = tree_.order[k];
    if (!tree_.Multiply(c, &kept[c])) return false;
    program_.exponent += kept[c].exponent;
    AddInward(c, kept[c]);
    if (!tree_.isVisited[c]) kept[c] = {};
  }
  if (!tree_.Multiply(tree_.root, &kept[tree_.root])) return false;
  program_.exponent += kept[tree_.root].exponent;
  for (int c : tree_.order) {
    if (!tree_.isVisited[c]) continue;
    const bool isOutward = c != tree_.root;
    ScaleFactors(c, isOutward, kept[c]);
    AddFactors(c, isOutward);
    if (!isOutward) maker_.AddTarget(CaseProgram::TOTAL, {});
    AddTargets(c);
    const Products products = AddPass(c, isOutward, kept[c]);
    AddReadings(c);
    SetOutward(c, products);
  }
  program_.floats.assign(program_.potentials.begin(), program_.potentials.end());
  *program = std::move(program_);
  return true;
}

}  // namespace

bool MakeCaseProgram(const CaseTree& tree, int slotBytes, CaseProgram* program) {
  return ProgramMaker(tree, slotBytes).Make(program);
}

}  // namespace bravic::engine
