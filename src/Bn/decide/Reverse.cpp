#include "Bn/decide/Reverse.h"

#include <algorithm>

#include "Basic/Format.h"
#include "Bn/engine/Axes.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Changes.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Relation.h"
#include "Bn/model/TableForms.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"

namespace bravic {
namespace {

bool HasPlaceholderParent(const bnode& node) {
  for (node_bn parent : node.preds)
    if (TagOf(parent) == STUB_TAG) return true;
  return false;
}

bool HasDoubleParent(const bnode& node) {
  for (int i = 1; i < node.preds.num; ++i)
    for (int k = 0; k < i; ++k)
      if (node.preds.ar[i] == node.preds.ar[k]) return true;
  return false;
}

// Whether a directed path leads from one node to the other that does not use the direct link between them. A second
// direct link is one.
bool HasOtherPath(node_bn from, node_bn to) {
  if (std::count(to->preds.begin(), to->preds.end(), from) > 1) return true;
  int mark = NewMark();
  Vector<node_bn> open;
  from->mark = mark;
  for (node_bn child : from->succs)
    if (child != to) open.push_back(child);
  while (!open.empty()) {
    node_bn node = open.back();
    open.pop_back();
    if (node == to) return true;
    if (node->mark == mark) continue;
    node->mark = mark;
    for (node_bn child : node->succs) open.push_back(child);
  }
  return false;
}

}  // namespace

Obstacle FindObstacle(node_bn parent, node_bn child, CycleTest cycleTest, char* reason) {
  const auto refuse = [reason](Obstacle obstacle, const char* format, const char* name1 = "", const char* name2 = "") {
    if (reason) FormatText(reason, REVERSAL_REASON_LEN, format, name1, name2);
    return obstacle;
  };
  if (reason) reason[0] = '\0';
  constexpr Obstacle ofParent = Obstacle::ParentOrLink, ofChild = Obstacle::Child;
  if (IndexIn(child->preds, parent) < 0) return refuse(ofParent, "it doesn't exist");
  if (TagOf(parent) == STUB_TAG) return refuse(ofParent, "it is disconnected");
  if (parent->kind != NATURE_NODE) return refuse(ofParent, "'%s' is not a nature node", parent->name);
  if (child->kind != NATURE_NODE && child->kind != UTILITY_NODE) {
    return refuse(ofChild, "'%s' is not a nature or utility node", child->name);
  }
  if (HasPlaceholderParent(*parent)) return refuse(ofParent, "'%s' has a disconnected link", parent->name);
  if (HasPlaceholderParent(*child)) return refuse(ofChild, "'%s' has a disconnected link", child->name);
  if (cycleTest == CycleTest::Made && HasOtherPath(parent, child)) {
    return refuse(Obstacle::Cycle, "it would form a directed cycle");
  }
  constexpr char doubleParent[] = "'%s' has multiple links from the same parent node";
  if (HasDoubleParent(*parent)) return refuse(ofParent, doubleParent, parent->name);
  if (HasDoubleParent(*child)) return refuse(ofChild, doubleParent, child->name);
  if (IndexIn(parent->preds, child) >= 0) {
    return refuse(ofChild, "there are links going both ways between nodes '%s' and '%s'", parent->name, child->name);
  }
  return Obstacle::None;
}

namespace {

// A table as one of the two factors: entries [rows x numstates] of a family.
struct Factor {
  const float* table = nullptr;  // NULL: the node has none
  int numstates = 1;             // 1 for a utility table
  bool utility = false;
  bool lacksMemory = false;  // the node has one, but there is no room for it in this form

  // A row of the impossible marker weighs nothing; utilities may be negative.
  double Weight(std::size_t i) const {
    const float entry = table[i];
    return (utility ? entry == IMPOS_PROB : entry < 0) ? 0 : entry;
  }
};

Factor FactorOf(node_bn node) {
  Factor factor;
  factor.numstates = node->numstates;
  const Failure failure = MakeProbs(node);
  factor.lacksMemory = failure && failure->number == NO_MEMORY_FOR_TABLE.number;
  if (!failure && IsProbsComplete(node)) {
    factor.table = node->probs;
  } else if (node->kind == UTILITY_NODE && !node->probs && node->determinv) {
    factor.numstates = 1;
    factor.utility = true;
    const float *begin = node->determinv, *end = begin + NumRows(*node);
    if (std::find(begin, end, UNDEF_PROB) == end) factor.table = begin;
  }
  return factor;
}

// How far a step of one node's state moves in the factor of a family, 0 when it is no parent there.
std::size_t StrideIn(const bnode& family, int numstates, node_bn node) {
  std::size_t stride = numstates, found = 0;
  for (int i = family.preds.num; i-- > 0;) {
    if (family.preds.ar[i] == node) found += stride;
    stride *= family.preds.ar[i]->numstates;
  }
  return found;
}

// Marked nodes are in the list already, or not wanted in it.
void AppendDistinct(Vector<node_bn>& to, std::span<const node_bn> from, int mark) {
  for (node_bn node : from) {
    if (node->mark == mark) continue;
    node->mark = mark;
    to.push_back(node);
  }
}

// Impossible entries count as 0.
bool AllZero(const float* row, int n) {
  for (int i = 0; i < n; ++i)
    if (row[i] != 0 && row[i] != IMPOS_PROB) return false;
  return true;
}

// The two factors at one configuration of the united parents.
struct Place {
  const Factor& a;       // the parent's
  const Factor& b;       // the child's
  std::size_t atA, atB;  // of the parent's row, and of the child's row at the parent's first state
  std::size_t strideBA;  // from one of the parent's states to the next in b

  std::size_t InB(int ka, int kb) const { return atB + ka * strideBA + kb; }
  double Joint(int ka, int kb) const { return a.Weight(atA + ka) * b.Weight(InB(ka, kb)); }
};

// The probability of the parent's states under which the child's row is possible; exactly 1 where all are or none is.
double PossibleShare(const Place& place) {
  double share = 0;
  bool anyLost = false;
  for (int ka = 0; ka < place.a.numstates; ++ka) {
    const double weight = place.a.Weight(place.atA + ka);
    const bool lost = place.b.table[place.InB(ka, 0)] == IMPOS_PROB;
    anyLost = anyLost || (lost && weight > 0);
    if (!lost) share += weight;
  }
  return anyLost && share > 0 ? share : 1;
}

// Whether any of the parent's states of positive probability leaves the child's state, or utility, possible.
bool IsPossible(const Place& place, int kb) {
  for (int ka = 0; ka < place.a.numstates; ++ka) {
    if (place.a.Weight(place.atA + ka) > 0 && place.b.table[place.InB(ka, kb)] != IMPOS_PROB) return true;
  }
  return false;
}

// The child's row [child's states]: the parent summed out. What is impossible weighs nothing, and the row is that of
// what is left. parentRows: NULL, or [child's states x parent's states]: the parent given the child's state (Bayes).
void WriteRows(const Place& place, float* childRow, float* parentRows) {
  constexpr float LARGEST_ROUNDED_ONE = 1.000002f;
  const int na = place.a.numstates, nb = place.b.numstates;
  const double whole = PossibleShare(place);
  for (int kb = 0; kb < nb; ++kb) {
    double sum = 0;
    for (int ka = 0; ka < na; ++ka) sum += place.Joint(ka, kb);
    const float entry = static_cast<float>(sum / whole);
    if (place.b.utility) {
      childRow[kb] = IsPossible(place, kb) ? entry : IMPOS_PROB;
    } else {
      childRow[kb] = entry > 1 && entry <= LARGEST_ROUNDED_ONE ? 1 : entry;
    }
    if (!parentRows) continue;
    for (int ka = 0; ka < na; ++ka) {
      *parentRows++ = sum != 0 ? static_cast<float>(place.Joint(ka, kb) / sum) : IMPOS_PROB;
    }
  }
  if (!place.b.utility && AllZero(childRow, nb)) std::fill_n(childRow, nb, IMPOS_PROB);
}

// The tables of both nodes over the united parents, in the order of `united`. parentTable may be NULL (not wanted).
//   childTable  [united x child's states]
//   parentTable [united x child's states x parent's states]
// False when it is halted.
bool MakeTables(node_bn parent, node_bn child, const Factor& a, const Factor& b, std::span<const node_bn> united,
                float* childTable, float* parentTable, LongWork& work) {
  const int n = Count(united), na = a.numstates, nb = b.numstates;
  Vector<std::size_t> strideA(n), strideB(n);
  Vector<int> sizes(n), states(n, 0);
  for (int i = 0; i < n; ++i) {
    strideA[i] = StrideIn(*parent, na, united[i]);
    strideB[i] = StrideIn(*child, nb, united[i]);
    sizes[i] = united[i]->numstates;
  }
  Place place{a, b, 0, 0, StrideIn(*child, nb, parent)};
  const auto move = [&](int i, int steps) {
    place.atA += steps * strideA[i];
    place.atB += steps * strideB[i];
  };
  do {
    if (work.Halts(2.0 * na * nb)) return false;
    WriteRows(place, childTable, parentTable);
    childTable += nb;
    if (parentTable) parentTable += static_cast<std::size_t>(nb) * na;
  } while (engine::StepOn(n, sizes.data(), states.data(), move) >= 0);
  return true;
}

// The node without a usable table, said so that the user can mend it.
void WarnTableLost(const bnode& node) {
  if (node.probs) {
    Report(TABLE_LOST_NO_PROBABILITIES, node.name);
  } else {
    Report(TABLE_LOST_NO_FUNCTION_VALUES, node.name);
  }
}

void WarnMissingTables(const bnode& parent, const Factor& a, const bnode& child, const Factor& b) {
  bool parentRelated = parent.probs || parent.determin;
  bool childRelated = child.probs || child.determin || child.determinv;
  if (parentRelated && childRelated) {
    WarnTableLost(a.table ? child : parent);
  } else if (parentRelated || childRelated) {
    Report(TABLE_LOST_NO_RELATION, parentRelated ? child.name : parent.name);
  }
  if (!a.table != !b.table) {
    Report(PROBABILITIES_LOST, a.table ? parent.name : child.name, a.table ? child.name : parent.name);
  }
}

ReversalResult ReversalWithoutMemory() {
  Report(TABLE_REMOVED_FOR_MEMORY);
  return REVERSAL_NO_MEMORY;
}

void SortByNodeOrder(std::span<node_bn> nodes) {
  std::sort(nodes.begin(), nodes.end(), [](node_bn x, node_bn y) { return x->index < y->index; });
}

// The nodes' parents, each once and neither of the two themselves: the parent's first.
Vector<node_bn> UniteParents(node_bn parent, node_bn child) {
  Vector<node_bn> united;
  const int mark = NewMark();
  parent->mark = child->mark = mark;
  AppendDistinct(united, Entries(parent->preds), mark);
  AppendDistinct(united, Entries(child->preds), mark);
  return united;
}

struct NewTables {
  Block<float> child, parent;  // empty where there is to be none
};

ReversalResult MakeNewTables(node_bn parent, node_bn child, const Factor& a, const Factor& b,
                             std::span<const node_bn> united, ParentTable parentTable, NewTables& tables,
                             LongWork& work) {
  const long long rows = NumConfigurations(united);
  if (!a.table || !b.table || rows == 0) return REVERSED;
  // With a utility node among its parents the parent's rows cannot be indexed, so it keeps no table.
  const bool wanted = parentTable == ParentTable::Made && !b.utility;
  constexpr double MAX_ENTRIES = 0x1p60;  // in the larger table, so that both can be counted
  if (rows > 0 && static_cast<double>(rows) * b.numstates * a.numstates < MAX_ENTRIES) {
    const std::size_t childSize = static_cast<std::size_t>(rows) * b.numstates;
    tables.child = TryMakeBlock<float>(childSize);
    if (wanted) tables.parent = TryMakeBlock<float>(childSize * a.numstates);
  }
  if (!tables.child || (wanted && !tables.parent)) return ReversalWithoutMemory();
  const bool done = MakeTables(parent, child, a, b, united, tables.child.get(), tables.parent.get(), work);
  return done ? REVERSED : REVERSAL_HALTED;
}

}  // namespace

ReversalResult ReverseLink(node_bn parent, node_bn child, ParentOrder order, ParentTable parentTable, LongWork& work) {
  if (!BRAVIC_ASSERT_TEXT(child->innet, "bnd->innet")) return REVERSAL_NO_MEMORY;
  net_bn net = child->innet;
  if (order == ParentOrder::NodeOrder) OrderedNodes(net);
  const Factor a = FactorOf(parent), b = FactorOf(child);
  if (a.lacksMemory || b.lacksMemory) return ReversalWithoutMemory();
  if (!a.table || !b.table) WarnMissingTables(*parent, a, *child, b);

  // The child comes after all of them in node order, so it is last among the parent's new parents in either order.
  Vector<node_bn> united = UniteParents(parent, child);
  if (order == ParentOrder::NodeOrder) SortByNodeOrder(united);
  Vector<node_bn> parentsOfParent(united);
  parentsOfParent.push_back(child);

  NewTables tables;
  const ReversalResult result = MakeNewTables(parent, child, a, b, united, parentTable, tables, work);
  if (result != REVERSED) return result;
  Relation newParent, newChild;
  newParent.probs = tables.parent.release();
  (b.utility ? newChild.determinv : newChild.probs) = tables.child.release();

  // Experience and functions of either node do not outlive the reversal.
  const bool tablesLost =
      parent->numcases || parent->determin || parent->determinv || child->numcases || child->determin;
  UndoGroup group(UNDO_REVERSE, net);
  SetLinkNames(parent, nullptr);
  SetLinkNames(child, nullptr);
  ChangeParents(child, united, {}, true);
  ChangeParents(parent, parentsOfParent, {}, true);
  InstallRelation(child, newChild);
  InstallRelation(parent, newParent);
  GraphChanged(net);
  for (node_bn node : {parent, child}) {
    if (tablesLost) TableChanged(node);
  }
  return REVERSED;
}

}  // namespace bravic
