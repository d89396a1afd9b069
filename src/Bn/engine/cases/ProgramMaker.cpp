#include "Bn/engine/cases/ProgramMaker.h"

#include <algorithm>
#include <cmath>

#include "Bn/engine/Axes.h"
#include "Bn/engine/Numbers.h"
#include "Bn/engine/cases/PassMaker.h"
#include "Bn/engine/infer/Structure.h"

namespace bravic::engine {

namespace {

class ProgramMaker {
 public:
  ProgramMaker(const CaseModel& model, const CaseQuestion& question, int slotBytes)
      : model_(model),
        question_(question),
        structure_(model.tree, model.numstates, model.parents),
        tables_(structure_),
        program_(slotBytes) {
    tables_.Set(model.table, nullptr);
  }

  CaseProgram Make();

 private:
  static constexpr int NOWHERE = -1;
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
  // A clique's potential, its largest entry scaled to [0.5, 1).
  struct Weights {
    Vector<double> entries;
    double low = 1;
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
  int SizeOf(std::span<const int> variables) const;
  const Vector<int>& VariablesOf(int separator) const { return structure_.separators[separator].variables; }
  Vector<int> OrderFrom(int root);
  double CostOutward(int root);
  void ChooseRoot();
  void MarkVisited();
  void PlaceEvidence();
  void PlaceTables();
  void PlaceReadings();
  Weights Multiply(int clique);
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

  const CaseModel& model_;
  const CaseQuestion& question_;
  Structure structure_;
  NodeTables tables_;
  CaseProgram program_;
  PassMaker maker_{structure_.numstates, &program_};
  int root_ = 0;
  Vector<int> order_, parent_, upward_;      // cliques from the root on; [clique] its parent and the separator to it
  Vector<int> topOf_;                        // [node] of the cliques that hold it, the nearest to the root
  Vector<unsigned char> isVisited_;          // [clique] on the way outward
  Vector<SeparatorTables> separators_;       // [separator]
  Vector<int> evidenceAt_;                   // [node] its table of what is known, or NOWHERE
  Vector<Vector<int>> evidenceOf_;           // [separator] nodes that are multiplied into the message inward
  Vector<Vector<int>> loneEvidence_;         // [clique] nodes that are multiplied in here
  Vector<Vector<int>> readAt_, readInside_;  // [separator], [clique] targets by number
  Vector<int> beliefAt_;                     // [target] its first slot of the answer
};

int ProgramMaker::SizeOf(std::span<const int> variables) const {
  int size = 1;
  for (int v : variables) size *= structure_.numstates[v];
  return size;
}

// Breadth first.
Vector<int> ProgramMaker::OrderFrom(int root) {
  parent_.assign(structure_.cliques.size(), NOWHERE);
  upward_.assign(structure_.cliques.size(), NOWHERE);
  Vector<int> order(1, root);
  for (int head = 0; head < order.size(); ++head) {
    const int c = order[head];
    for (const Link& link : structure_.cliques[c].links) {
      if (link.neighbour == parent_[c]) continue;
      parent_[link.neighbour] = c;
      upward_[link.neighbour] = link.separator;
      order.push_back(link.neighbour);
    }
  }
  topOf_.assign(structure_.NumNodes(), NOWHERE);
  for (int c : order)
    for (int member : model_.tree.cliques[c].members)
      if (topOf_[member] == NOWHERE) topOf_[member] = c;
  return order;
}

// The cliques between the root and where targets are read.
void ProgramMaker::MarkVisited() {
  isVisited_.assign(structure_.cliques.size(), 0);
  isVisited_[root_] = 1;
  for (int target : question_.targets)
    for (int c = topOf_[model_.numberOf[target]]; !isVisited_[c]; c = parent_[c]) isVisited_[c] = 1;
}

// The entries that are passed over outward. The root has its pass anyway.
double ProgramMaker::CostOutward(int root) {
  root_ = root;
  order_ = OrderFrom(root);
  MarkVisited();
  double cost = 0;
  for (int c : order_)
    if (c != root && isVisited_[c]) cost += model_.tree.cliques[c].size;
  return cost;
}

// The largest clique where most nodes are asked for, else one of the cliques of a target.
void ProgramMaker::ChooseRoot() {
  constexpr int FEW_TARGETS = 32;
  int largest = 0;
  for (int c = 1; c < structure_.cliques.size(); ++c)
    if (model_.tree.cliques[c].size > model_.tree.cliques[largest].size) largest = c;
  int best = largest;
  double bestCost = CostOutward(largest);
  if (question_.targets.size() <= FEW_TARGETS) {
    for (int target : question_.targets) {
      for (int c : structure_.cliquesOf[model_.numberOf[target]]) {
        const double cost = CostOutward(c);
        if (cost < bestCost) best = c, bestCost = cost;
      }
    }
  }
  CostOutward(best);
}

// What is known of a node is multiplied into the smallest message that tells of it, which takes little; of a node in
// no message into its clique.
void ProgramMaker::PlaceEvidence() {
  evidenceAt_.assign(structure_.NumNodes(), NOWHERE);
  evidenceOf_.resize(structure_.separators.size());
  loneEvidence_.resize(structure_.cliques.size());
  for (int column = 0; column < question_.observed.size(); ++column) {
    const int v = model_.numberOf[question_.observed[column]], numstates = structure_.numstates[v];
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
  for (int c : order_) {
    if (c == root_) continue;
    SeparatorTables& tables = separators_[upward_[c]];
    tables.size = SizeOf(VariablesOf(upward_[c]));
    tables.message = NewSlots(tables.size);
    if (isVisited_[c]) tables.belief = NewSlots(tables.size);
  }
}

// Targets are read from the smallest separator that is visited, else from their clique.
void ProgramMaker::PlaceReadings() {
  readAt_.resize(structure_.separators.size());
  readInside_.resize(structure_.cliques.size());
  for (int target : question_.targets) program_.numBeliefs += question_.numstates[target];
  program_.beliefs = NewSlots(program_.numBeliefs);
  int next = program_.beliefs;
  for (int t = 0; t < question_.targets.size(); ++t) {
    const int v = model_.numberOf[question_.targets[t]];
    beliefAt_.push_back(next);
    next += structure_.numstates[v];
    int smallest = NOWHERE;
    for (int s : structure_.separatorsOf[v]) {
      if (separators_[s].belief == NOWHERE) continue;
      if (smallest == NOWHERE || separators_[s].size < separators_[smallest].size) smallest = s;
    }
    if (smallest != NOWHERE)
      readAt_[smallest].push_back(t);
    else
      readInside_[structure_.numstates[v] > 1 ? topOf_[v] : root_].push_back(t);
  }
}

ProgramMaker::Weights ProgramMaker::Multiply(int c) {
  const CliqueFacts& clique = structure_.cliques[c];
  const Vector<int>& variables = clique.variables;
  Weights weights;
  weights.entries.assign(SizeOf(variables), 1.0);
  Vector<double> table;
  for (int node : clique.homed) {
    if (!tables_[node]) continue;
    table.resize(structure_.TableSize(node));
    tables_.CopyScaled(node, 1, table.data());
    int sizes[MAX_AXES], strides[MAX_AXES] = {}, next = 0;
    for (int a = 0; a < variables.size(); ++a) sizes[a] = structure_.numstates[variables[a]];
    const Vector<int>& family = structure_.families[node];
    ForEachStride(
        family, structure_.numstates, [](int) { return true; },
        [&](int k, int stride) {
          const auto at = std::find(variables.begin(), variables.end(), family[k]);
          if (at != variables.end()) strides[at - variables.begin()] = stride;
        });
    ForEachOffset(variables.size(), sizes, strides, [&](int offset) { weights.entries[next++] *= table[offset]; });
  }
  double largest, least;
  FindRange(weights.entries.data(), weights.entries.size(), &largest, &least);
  if (!(largest > 0)) return weights;
  const int exponent = Exponent(largest);
  const double scale = PowerOfTwo(NormalExponent(-exponent));
  for (double& entry : weights.entries) entry *= scale;
  weights.low = least * scale;
  program_.exponent += exponent;
  return weights;
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
  AddStep(CaseStep::Kind::SCALING, {.table = tables.message,
                                    .size = tables.size,
                                    .divisor = isOutward ? tables.message : NOWHERE,
                                    .low = tables.low});
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
      if (link.separator == upward_[c] && !isOutward) continue;
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
    if (link.separator != upward_[c] || isOutward)
      maker_.AddFactor(separators_[link.separator].message, VariablesOf(link.separator));
  for (int v : loneEvidence_[c]) maker_.AddFactor(evidenceAt_[v], std::span<const int>(&v, 1));
}

// Beliefs of the separators outward, and those of nodes that are read here.
void ProgramMaker::AddTargets(int c) {
  for (const Link& link : structure_.cliques[c].links) {
    if (link.separator == upward_[c] || separators_[link.separator].belief == NOWHERE) continue;
    maker_.AddTarget(separators_[link.separator].belief, VariablesOf(link.separator));
  }
  for (int t : readInside_[c]) {
    const int v = model_.numberOf[question_.targets[t]];
    // A node of one state has the sum of everything.
    if (structure_.numstates[v] > 1) maker_.AddTarget(beliefAt_[t], std::span<const int>(&v, 1));
  }
}

// The pass that was begun, over messages that are in range.
ProgramMaker::Products ProgramMaker::AddPass(int c, bool isOutward, const Weights& weights) {
  const int number = maker_.Make(weights.entries);
  program_.steps.push_back({CaseStep::Kind::PASS, number});
  CasePass& pass = program_.passes[number];
  pass.lows = program_.pool.size();
  pass.low = weights.low;
  Bounds products{weights.low, 1, NOWHERE};
  for (const Link& link : structure_.cliques[c].links) {
    if (link.separator == upward_[c] && !isOutward) continue;
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
  return {products, static_cast<double>(weights.entries.size())};
}

void ProgramMaker::AddInward(int c, const Weights& weights) {
  const int s = upward_[c];
  SeparatorTables& tables = separators_[s];
  const Vector<int>& variables = VariablesOf(s);
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
    if (link.separator == upward_[c] || tables.belief == NOWHERE) continue;
    const Bounds inward = tables.bounds;
    tables.bounds = products.bounds;
    tables.bounds.high *= products.size / tables.size / inward.high;
    if (inward.slot == NOWHERE && products.bounds.slot == NOWHERE) tables.bounds.low /= inward.low;
    AddStep(CaseStep::Kind::DIVISION, {.table = tables.belief, .size = tables.size, .divisor = tables.message});
  }
}

// slot: of a table over the variables.
void ProgramMaker::AddReading(int t, int slot, std::span<const int> variables) {
  const int v = model_.numberOf[question_.targets[t]], numstates = structure_.numstates[v];
  CaseReading reading{program_.pool.size(), numstates, SizeOf(variables) / numstates, beliefAt_[t]};
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
    if (link.separator == upward_[c]) continue;
    for (int t : readAt_[link.separator])
      AddReading(t, separators_[link.separator].belief, VariablesOf(link.separator));
  }
  for (int t : readInside_[c]) {
    const int v = model_.numberOf[question_.targets[t]];
    if (structure_.numstates[v] > 1)
      AddReading(t, beliefAt_[t], std::span<const int>(&v, 1));
    else
      AddReading(t, CaseProgram::TOTAL, {});
  }
}

CaseProgram ProgramMaker::Make() {
  ChooseRoot();
  PlaceEvidence();
  PlaceTables();
  PlaceReadings();
  // Where the clique is passed over twice its weights are needed again.
  Vector<Weights> kept(structure_.cliques.size());
  for (int k = order_.size(); k-- > 1;) {
    kept[order_[k]] = Multiply(order_[k]);
    AddInward(order_[k], kept[order_[k]]);
    if (!isVisited_[order_[k]]) kept[order_[k]] = {};
  }
  kept[root_] = Multiply(root_);
  for (int c : order_) {
    if (!isVisited_[c]) continue;
    const bool isOutward = c != root_;
    ScaleFactors(c, isOutward, kept[c]);
    AddFactors(c, isOutward);
    if (!isOutward) maker_.AddTarget(CaseProgram::TOTAL, {});
    AddTargets(c);
    const Products products = AddPass(c, isOutward, kept[c]);
    AddReadings(c);
    SetOutward(c, products);
  }
  program_.floats.assign(program_.potentials.begin(), program_.potentials.end());
  return std::move(program_);
}

}  // namespace

CaseProgram MakeCaseProgram(const CaseModel& model, const CaseQuestion& question, int slotBytes) {
  if (model.tree.cliques.empty()) return CaseProgram();
  return ProgramMaker(model, question, slotBytes).Make();
}

}  // namespace bravic::engine
