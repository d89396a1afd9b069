#include "Bn/engine/cases/CaseTree.h"

#include <algorithm>

#include "Bn/engine/Numbers.h"
#include "Bn/engine/PlainPass.h"

namespace bravic::engine {

CaseTree::CaseTree(const CaseModel& itsModel, const CaseQuestion& itsQuestion)
    : model(itsModel),
      question(itsQuestion),
      structure(itsModel.tree, itsModel.numstates, itsModel.parents),
      tables_(structure) {
  tables_.Set(model.table, nullptr);
  PlaceFamilies();
  ChooseRoot();
  PlaceReadings();
}

void CaseTree::TablesChanged() {
  tables_.Set(model.table, nullptr);
}

void CaseTree::PlaceFamilies() {
  familiesAt.resize(structure.cliques.size());
  homeOf.assign(question.families.size(), NOWHERE);
  Vector<int> familyOf(structure.NumNodes(), NOWHERE);
  for (int f = 0; f < question.families.size(); ++f) familyOf[NodeOfFamily(f)] = f;
  for (int c = 0; c < structure.cliques.size(); ++c) {
    for (int node : structure.cliques[c].homed) {
      if (familyOf[node] == NOWHERE) continue;
      homeOf[familyOf[node]] = c;
      familiesAt[c].push_back(familyOf[node]);
    }
  }
}

Vector<int> CaseTree::FamilyOf(int node) const {
  Vector<int> variables;
  for (int member : structure.families[node])
    if (structure.numstates[member] > 1) variables.push_back(member);
  return variables;
}

int CaseTree::SizeOf(std::span<const int> variables) const {
  int size = 1;
  for (int v : variables) size *= structure.numstates[v];
  return size;
}

// Breadth first.
void CaseTree::OrderFrom(int clique) {
  parent.assign(structure.cliques.size(), NOWHERE);
  upward.assign(structure.cliques.size(), NOWHERE);
  order.assign(1, clique);
  for (int head = 0; head < order.size(); ++head) {
    const int c = order[head];
    for (const Link& link : structure.cliques[c].links) {
      if (link.neighbour == parent[c]) continue;
      parent[link.neighbour] = c;
      upward[link.neighbour] = link.separator;
      order.push_back(link.neighbour);
    }
  }
  topOf.assign(structure.NumNodes(), NOWHERE);
  for (int c : order)
    for (int member : model.tree.cliques[c].members)
      if (topOf[member] == NOWHERE) topOf[member] = c;
}

// The cliques between the root and where targets are read.
void CaseTree::MarkVisited() {
  isVisited.assign(structure.cliques.size(), 0);
  isVisited[root] = 1;
  for (int target : question.targets)
    for (int c = topOf[model.numberOf[target]]; !isVisited[c]; c = parent[c]) isVisited[c] = 1;
  for (int home : homeOf)
    for (int c = home; !isVisited[c]; c = parent[c]) isVisited[c] = 1;
}

// The entries that are passed over outward. The root has its pass anyway.
double CaseTree::CostOutward(int clique) {
  root = clique;
  OrderFrom(clique);
  MarkVisited();
  double cost = 0;
  for (int c : order)
    if (c != root && isVisited[c]) cost += model.tree.cliques[c].size;
  return cost;
}

// The largest clique where most nodes are asked for, else one of the cliques of a target.
void CaseTree::ChooseRoot() {
  constexpr int FEW_TARGETS = 32;
  int largest = 0;
  for (int c = 1; c < structure.cliques.size(); ++c)
    if (model.tree.cliques[c].size > model.tree.cliques[largest].size) largest = c;
  int best = largest;
  double bestCost = CostOutward(largest);
  if (question.targets.size() <= FEW_TARGETS) {
    for (int target : question.targets) {
      for (int c : structure.cliquesOf[model.numberOf[target]]) {
        const double cost = CostOutward(c);
        if (cost < bestCost) best = c, bestCost = cost;
      }
    }
  }
  CostOutward(best);
}

// Targets are read from the smallest separator that is visited, else from their clique.
void CaseTree::PlaceReadings() {
  readAt.resize(structure.separators.size());
  readInside.resize(structure.cliques.size());
  Vector<unsigned char> isVisitedAcross(structure.separators.size(), 0);
  for (int c : order)
    if (c != root && isVisited[c]) isVisitedAcross[upward[c]] = 1;
  for (int t = 0; t < question.targets.size(); ++t) {
    const int v = NodeOfTarget(t);
    int smallest = NOWHERE;
    for (int s : structure.separatorsOf[v]) {
      if (!isVisitedAcross[s]) continue;
      if (smallest == NOWHERE || model.tree.separators[s].size < model.tree.separators[smallest].size) smallest = s;
    }
    if (smallest != NOWHERE)
      readAt[smallest].push_back(t);
    else
      readInside[structure.numstates[v] > 1 ? topOf[v] : root].push_back(t);
  }
}

bool CaseTree::Multiply(int c, Weights* weights) const {
  const CliqueFacts& clique = structure.cliques[c];
  const Vector<int>& variables = clique.variables;
  if (!(model.tree.cliques[c].size < MAX_TABLE_ENTRIES)) return false;
  weights->size = SizeOf(variables);
  weights->entries = TryMakeBlock<double>(weights->size);
  if (!weights->entries) return false;
  double* const entries = weights->entries.get();
  std::fill_n(entries, weights->size, 0.0);
  PassShape shape;
  ShapeMaker maker(structure.numstates);
  maker.Begin(
      variables, [](int) { return true; }, &shape);
  Vector<Block<double>> tables;
  Vector<const double*> factors;
  for (int node : clique.homed) {
    if (!tables_[node]) continue;
    tables.push_back(TryMakeBlock<double>(structure.TableSize(node)));
    if (!tables.back()) return false;
    tables_.CopyScaled(node, 1, tables.back().get());
    factors.push_back(tables.back().get());
    maker.PlaceAll(structure.families[node], shape.AddFactor());
  }
  // The tables are multiplied onto a constant.
  maker.PlaceAll(variables, shape.AddTarget());
  constexpr double ONE = 1;
  const PassTarget target{entries, nullptr};
  RunPlainly(shape, &ONE, factors.data(), &target, false);
  double largest, least;
  FindRange(entries, weights->size, &largest, &least);
  if (!(largest > 0)) return true;
  weights->exponent = Exponent(largest);
  const double scale = PowerOfTwo(NormalExponent(-weights->exponent));
  for (int k = 0; k < weights->size; ++k) entries[k] *= scale;
  weights->low = least * scale;
  return true;
}

}  // namespace bravic::engine
