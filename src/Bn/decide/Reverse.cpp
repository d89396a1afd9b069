// The new tables are made in one walk over the configurations of the united parents: for each, the rows of both
// tables are combined in double precision. A parent that stands twice in a family is one dimension whose stride is
// the sum of its places' strides, so double links need no reduced copies.

#include "Bn/decide/Reverse.h"

#include <algorithm>
#include <cstdio>

#include "Bn/model/Attributes.h"
#include "Bn/model/Parents.h"
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

int TestReversal(node_bn parent, node_bn child, bool testCycle, char* reason) {
  auto refuse = [reason](int code, const char* format, const char* name1 = "", const char* name2 = "") {
    if (reason) std::snprintf(reason, REVERSAL_REASON_LEN, format, name1, name2);
    return code;
  };
  if (reason) reason[0] = '\0';
  if (IndexIn(child->preds, parent) < 0) return refuse(2, "it doesn't exist");
  if (TagOf(parent) == STUB_TAG) return refuse(2, "it is disconnected");
  if (parent->kind != NATURE_NODE) return refuse(2, "'%s' is not a nature node", parent->name);
  if (child->kind != NATURE_NODE && child->kind != UTILITY_NODE)
    return refuse(-2, "'%s' is not a nature or utility node", child->name);
  if (HasPlaceholderParent(*parent)) return refuse(2, "'%s' has a disconnected link", parent->name);
  if (HasPlaceholderParent(*child)) return refuse(-2, "'%s' has a disconnected link", child->name);
  if (testCycle && HasOtherPath(parent, child)) return refuse(1, "it would form a directed cycle");
  if (HasDoubleParent(*parent)) return refuse(2, "'%s' has multiple links from the same parent node", parent->name);
  if (HasDoubleParent(*child)) return refuse(-2, "'%s' has multiple links from the same parent node", child->name);
  if (IndexIn(parent->preds, child) >= 0)
    return refuse(-2, "there are links going both ways between nodes '%s' and '%s'", parent->name, child->name);
  return 0;
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
    float entry = table[i];
    if (utility) return entry == IMPOS_PROB ? 0.0 : static_cast<double>(entry);
    return entry < 0 ? 0.0 : static_cast<double>(entry);
  }
};

bool HasEntry(const float* table, long long n, float entry) {
  for (long long i = 0; i < n; ++i)
    if (table[i] == entry) return true;
  return false;
}

Factor FactorOf(node_bn node) {
  Factor factor;
  factor.numstates = node->numstates;
  const Failure failure = MakeProbs(node);
  factor.lacksMemory = failure && failure->number == NO_MEMORY_FOR_TABLE;
  if (!failure && IsProbsComplete(node)) {
    factor.table = node->probs;
  } else if (node->kind == UTILITY_NODE && !node->probs && node->determinv) {
    factor.numstates = 1;
    factor.utility = true;
    if (!HasEntry(node->determinv, NumRows(*node), UNDEF_PROB)) factor.table = node->determinv;
  }
  return factor;
}

// How far a step of one node's state moves in the factor of a family, 0 when it is no parent there.
std::size_t StrideIn(const bnode& family, int numstates, node_bn node) {
  std::size_t stride = static_cast<std::size_t>(numstates), found = 0;
  for (int i = family.preds.num - 1; i >= 0; --i) {
    if (family.preds.ar[i] == node) found += stride;
    stride *= static_cast<std::size_t>(family.preds.ar[i]->numstates);
  }
  return found;
}

void AppendDistinct(Vector<node_bn>& to, std::span<const node_bn> from, int mark) {
  for (node_bn node : from) {
    if (node->mark == mark) continue;
    node->mark = mark;
    to.push_back(node);
  }
}

bool AllZero(const float* row, int n) {
  for (int i = 0; i < n; ++i)
    if (row[i] != 0 && row[i] != IMPOS_PROB) return false;
  return true;
}

// The probability of the parent's states under which the child's row is possible; exactly 1 where all are or none is.
double PossibleShare(const Factor& a, const Factor& b, std::size_t atA, std::size_t atB, std::size_t strideBA) {
  double share = 0;
  bool anyLost = false;
  for (int ka = 0; ka < a.numstates; ++ka) {
    const double weight = a.Weight(atA + static_cast<std::size_t>(ka));
    const bool lost = b.table[atB + static_cast<std::size_t>(ka) * strideBA] == IMPOS_PROB;
    anyLost = anyLost || (lost && weight > 0);
    if (!lost) share += weight;
  }
  return anyLost && share > 0 ? share : 1;
}

// The tables of both nodes over the united parents, in the order of `united`. parentTable may be NULL (not wanted).
//   childTable  [united x child's states]
//   parentTable [united x child's states x parent's states]
// What is impossible weighs nothing, and the child's row is that of what is left. False when it is halted.
bool MakeTables(node_bn parent, node_bn child, const Factor& a, const Factor& b, std::span<const node_bn> united,
                float* childTable, float* parentTable, LongWork& work) {
  const std::size_t n = united.size();
  const int na = a.numstates, nb = b.numstates;
  Vector<std::size_t> strideA(n), strideB(n);
  Vector<int> state(n, 0);
  for (std::size_t i = 0; i < n; ++i) {
    strideA[i] = StrideIn(*parent, na, united[i]);
    strideB[i] = StrideIn(*child, nb, united[i]);
  }
  const std::size_t strideBA = StrideIn(*child, nb, parent);
  std::size_t atA = 0, atB = 0;
  for (;;) {
    if (work.Halts(2.0 * na * nb)) return false;
    const double whole = PossibleShare(a, b, atA, atB, strideBA);
    for (int kb = 0; kb < nb; ++kb) {
      double sum = 0;
      bool possible = false;
      for (int ka = 0; ka < na; ++ka) {
        double pa = a.Weight(atA + static_cast<std::size_t>(ka));
        std::size_t ib = atB + static_cast<std::size_t>(ka) * strideBA + static_cast<std::size_t>(kb);
        double joint = pa * b.Weight(ib);
        sum += joint;
        possible = possible || (pa > 0 && b.table[ib] != IMPOS_PROB);
        if (parentTable) parentTable[ka] = static_cast<float>(joint);
      }
      if (b.utility) {
        *childTable = possible ? static_cast<float>(sum / whole) : IMPOS_PROB;
      } else {
        float entry = static_cast<float>(sum / whole);
        *childTable = entry > 1.0f && entry <= 1.000002f ? 1.0f : entry;
      }
      ++childTable;
      if (parentTable) {
        for (int ka = 0; ka < na; ++ka) {
          std::size_t ib = atB + static_cast<std::size_t>(ka) * strideBA + static_cast<std::size_t>(kb);
          double joint = a.Weight(atA + static_cast<std::size_t>(ka)) * b.Weight(ib);
          parentTable[ka] = sum != 0 ? static_cast<float>(joint / sum) : IMPOS_PROB;
        }
        parentTable += na;
      }
    }
    if (!b.utility && AllZero(childTable - nb, nb))
      for (int kb = 1; kb <= nb; ++kb) *(childTable - kb) = IMPOS_PROB;
    std::size_t i = n;
    for (;;) {
      if (i == 0) return true;
      --i;
      atA += strideA[i];
      atB += strideB[i];
      if (++state[i] < united[i]->numstates) break;
      atA -= strideA[i] * static_cast<std::size_t>(state[i]);
      atB -= strideB[i] * static_cast<std::size_t>(state[i]);
      state[i] = 0;
    }
  }
}

// The node without a usable table, said so that the user can mend it.
void WarnTableLost(const bnode& node) {
  static const char because[] = "nodes will lose their relation during link reversal, because";
  if (node.probs)
    ReportWarning(-2145, "%s not all probabilities of node '%s' are defined", because, node.name);
  else
    ReportWarning(-2145, "%s not all function values of node '%s' are defined", because, node.name);
}

void WarnMissingTables(const bnode& parent, const Factor& a, const bnode& child, const Factor& b) {
  bool parentRelated = parent.probs || parent.determin;
  bool childRelated = child.probs || child.determin || child.determinv;
  if (parentRelated && childRelated) {
    WarnTableLost(a.table ? child : parent);
  } else if (parentRelated || childRelated) {
    ReportWarning(-2145, "%s no relation table is defined for node '%s'",
                  "nodes will lose their relation during link reversal, because",
                  parentRelated ? child.name : parent.name);
  }
  if (!a.table != !b.table) {
    ReportWarning(-2147,
                  "node '%s' will lose its probabilities during link reversal, because node '%s' doesnt have any",
                  a.table ? parent.name : child.name, a.table ? child.name : parent.name);
  }
}

int ReversalWithoutMemory() {
  ReportError(-2267, "probability table removed due to lack of memory");
  return REVERSAL_NO_MEMORY;
}

void SortByNodeOrder(std::span<node_bn> nodes) {
  std::sort(nodes.begin(), nodes.end(), [](node_bn x, node_bn y) { return x->index < y->index; });
}

}  // namespace

int ReverseLink(node_bn parent, node_bn child, bool sortParents, bool dropParentTable, LongWork& work) {
  if (!BRAVIC_ASSERT_TEXT(child->innet, "bnd->innet")) return REVERSAL_NO_MEMORY;
  net_bn net = child->innet;
  if (sortParents) OrderedNodes(net);
  Factor a = FactorOf(parent), b = FactorOf(child);
  if (a.lacksMemory || b.lacksMemory) return ReversalWithoutMemory();
  if (!a.table || !b.table) WarnMissingTables(*parent, a, *child, b);

  Vector<node_bn> united;
  int mark = NewMark();
  parent->mark = child->mark = mark;
  AppendDistinct(united, Entries(parent->preds), mark);
  AppendDistinct(united, Entries(child->preds), mark);
  Vector<node_bn> parentsOfParent(united);
  parentsOfParent.push_back(child);
  if (sortParents) SortByNodeOrder(united);  // the child comes after its parents: last in the other list too

  Relation newParent, newChild;
  Block<float> childTable, parentTable;
  long long rows = NumConfigurations(united);
  if (a.table && b.table && rows != 0) {
    if (sortParents) std::copy(united.begin(), united.end(), parentsOfParent.begin());
    // With a utility node among its parents the parent's rows cannot be indexed, so it keeps no table.
    const bool wanted = !dropParentTable && !b.utility;
    constexpr double MAX_ENTRIES = 0x1p60;
    const bool countable = rows > 0 && static_cast<double>(rows) * b.numstates * a.numstates < MAX_ENTRIES;
    if (countable) {
      const std::size_t childSize = static_cast<std::size_t>(rows) * static_cast<std::size_t>(b.numstates);
      childTable = TryMakeBlock<float>(childSize);
      if (wanted) parentTable = TryMakeBlock<float>(childSize * static_cast<std::size_t>(a.numstates));
    }
    if (!childTable || (wanted && !parentTable)) {
      return ReversalWithoutMemory();
    }
    if (!MakeTables(parent, child, a, b, united, childTable.get(), parentTable.get(), work)) return REVERSAL_HALTED;
  }
  if (sortParents) std::copy(united.begin(), united.end(), parentsOfParent.begin());
  (b.utility ? newChild.determinv : newChild.probs) = childTable.release();
  newParent.probs = parentTable.release();

  bool tablesLost = parent->numcases || parent->determin || parent->determinv || child->numcases || child->determin;
  UndoGroup group(UNDO_REVERSE, net);
  SetLinkNames(parent, nullptr);
  SetLinkNames(child, nullptr);
  ChangeParents(child, united, {}, true);
  ChangeParents(parent, parentsOfParent, {}, true);
  InstallRelation(child, newChild);
  InstallRelation(parent, newParent);
  GraphChanged(net);
  for (node_bn node : {parent, child}) NotifyChange(net, node, tablesLost ? ChangeCode::TablesLost : ChangeCode::Graph);
  return REVERSED;
}

}  // namespace bravic
