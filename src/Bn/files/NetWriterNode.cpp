// The block of a node, a define-node or a placeholder, and which of its fields are written.
#include <algorithm>
#include <cstring>

#include "Bn/compiled/CompiledNet.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/files/NetWriter.h"
#include "Bn/model/Tables.h"

namespace bravic {
namespace {

bool IsStub(const bnode& node) {
  return TagOf(&node) == STUB_TAG;
}

bool HasAnyName(char* const* names, int count) {
  if (!names) return false;
  for (int i = 0; i < count; i++) {
    if (OrEmpty(names[i])[0]) return true;
  }
  return false;
}

bool SameNames(char* const* a, char* const* b, int count) {
  for (int i = 0; i < count; i++) {
    if (!EqualText(OrEmpty(a ? a[i] : nullptr), OrEmpty(b ? b[i] : nullptr))) return false;
  }
  return true;
}

int NumLevels(const bnode& node) {
  return node.discrete == DISCRETE ? node.numstates : std::max(node.numstates + 1, 2);
}

template <class T>
bool SameArray(const T* a, const T* b, long long count) {
  if (!a || !b) return a == b;
  return std::memcmp(a, b, static_cast<std::size_t>(count) * sizeof(T)) == 0;
}

// Beliefs of an uncompiled net are those its file gave, as long as nothing has changed since.
bool HasValidBelief(const bnode& node) {
  const net_bn net = node.innet;
  if (!node.belief || !net || node.numstates == 0) return false;
  if (net->compiled) return HasBelief(node);
  return node.fromfile && node.fields[NODE_BELIEF] == FIELD_READ && !net->dirty;
}

bool IsFindingField(int field) {
  return field == NODE_EVIDENCE || field == NODE_VALUE || field == NODE_LIKELIHOOD;
}

bool HasFinding(const bnode& node) {
  return node.evidence != UNDEF_STATE || node.value != UNDEF_DBL || node.likelihood;
}

// Whether the node would have the define-node's finding without a statement of its own.
bool SameFinding(const bnode& node, const bnode& define) {
  const bool isPlaced =
      node.discrete == DISCRETE || node.value == UNDEF_DBL || node.evidence == StateOfValue(node, node.value, 0);
  const bool isAlike = (node.discrete == DISCRETE) == (define.discrete == DISCRETE);
  return isPlaced && isAlike && node.numstates == define.numstates && node.evidence == define.evidence &&
         node.value == define.value && SameArray(node.likelihood, define.likelihood, node.numstates);
}

// Two bounds without an interval between them, which by themselves would stand for one.
bool HasBoundsAlone(const bnode& node) {
  return node.discrete != DISCRETE && node.levels && node.numstates == 0;
}

// Fields of which a statement can say what a new node holds anyway.
bool IsPlainField(int field) {
  switch (field) {
    case NODE_KIND:
    case NODE_DISCRETE:
    case NODE_MEASURE:
    case NODE_CHANCE:
    case NODE_NUMSTATES:
    case NODE_UNITS:
    case NODE_TITLE:
    case NODE_COMMENT:
    case NODE_AUTHOR:
    case NODE_WHOCHANGED:
    case NODE_LOCKED:
      return true;
    default:
      return false;
  }
}

// Whether the field holds anything but what a new node holds. What a define-node states hides what others would give.
bool HasValue(const bnode& node, int field) {
  if (node.isdefine && IsPlainField(field) && node.fields[field] != FIELD_ABSENT) return true;
  switch (field) {
    case NODE_KIND:
      return node.kind != UNKNOWN_KIND;
    case NODE_DISCRETE:
      // Of a node, or beside levels, silence would be understood as one or the other.
      return node.discrete != UNKNOWN_DISCRETE || node.levels || !(IsStub(node) || node.isdefine);
    case NODE_MEASURE:
      return node.measure != UNKNOWN_MEASURE;
    case NODE_CHANCE:
      return node.chance != UNKNOWN_CHANCE;
    case NODE_NUMSTATES:
      return node.numstates != 0 || HasBoundsAlone(node);
    case NODE_STATES:
      return HasAnyName(node.states, node.numstates);
    case NODE_LEVELS:
      return node.levels && NumLevels(node) > 0;
    case NODE_UNITS:
      return OrEmpty(node.units)[0] != 0;
    case NODE_INPUTS:
      return HasAnyName(node.inputs, node.preds.num);
    case NODE_PARENTS:
      return node.preds.num > 0 || !node.fromfile || node.fields[NODE_PARENTS] != FIELD_ABSENT;
    case NODE_CHILDREN:
      return node.succs.num > 0;
    case NODE_FUNCTABLE:
      return FunctionFormOf(node) != FunctionForm::None;
    case NODE_PROBS:
      return HasProbTable(node);
    case NODE_NUMCASES:
      return HasExperienceTable(node);
    case NODE_TITLE:
      return OrEmpty(node.title)[0] != 0;
    case NODE_COMMENT:
      return OrEmpty(node.comment)[0] != 0;
    case NODE_AUTHOR:
      return OrEmpty(node.author)[0] != 0;
    case NODE_WHOCHANGED:
      return OrEmpty(node.whochanged)[0] != 0;
    case NODE_WHENCHANGED:
      return node.whenchanged != 0;
    case NODE_LOCKED:
      return node.locked != 0;
    case NODE_EVIDENCE:
      return node.evidence >= 0 && node.evidence < node.numstates;
    case NODE_VALUE:
      return node.value != UNDEF_DBL;
    case NODE_LIKELIHOOD:
      return node.likelihood != nullptr && node.numstates > 0;
    case NODE_BELIEF:
      return HasValidBelief(node);
    default:
      return false;
  }
}

// Whether two nodes hold the same; both have a value.
bool SameValue(const bnode& a, const bnode& b, int field) {
  const auto sameRows = [&] {
    const auto same = [](const bnode* x, const bnode* y) { return x->numstates == y->numstates; };
    return std::equal(a.preds.begin(), a.preds.end(), b.preds.begin(), b.preds.end(), same);
  };
  const auto sameTables = [&] {
    return a.numstates == b.numstates && sameRows() && FunctionFormOf(a) == FunctionFormOf(b);
  };
  switch (field) {
    case NODE_KIND:
      return a.kind == b.kind;
    case NODE_DISCRETE:
      return a.discrete == b.discrete;
    case NODE_MEASURE:
      return a.measure == b.measure;
    case NODE_CHANCE:
      return a.chance == b.chance;
    case NODE_NUMSTATES:
      return a.numstates == b.numstates;
    case NODE_STATES:
      return a.numstates == b.numstates && SameNames(a.states, b.states, a.numstates);
    case NODE_LEVELS:
      return a.discrete == b.discrete && a.numstates == b.numstates && SameArray(a.levels, b.levels, NumLevels(a));
    case NODE_UNITS:
      return EqualText(OrEmpty(a.units), OrEmpty(b.units));
    case NODE_INPUTS:
      return a.preds.num == b.preds.num && SameNames(a.inputs, b.inputs, a.preds.num);
    case NODE_PARENTS:
      return std::equal(a.preds.begin(), a.preds.end(), b.preds.begin(), b.preds.end());
    case NODE_CHILDREN:
      return std::equal(a.succs.begin(), a.succs.end(), b.succs.begin(), b.succs.end());
    case NODE_FUNCTABLE:
      return sameTables() &&
             (FunctionFormOf(a) == FunctionForm::States ? SameArray(a.determin, b.determin, NumRows(a))
                                                        : SameArray(a.determinv, b.determinv, NumRows(a)));
    case NODE_PROBS:
      return sameTables() && SameArray(a.probs, b.probs, NumRows(a) * a.numstates);
    case NODE_NUMCASES:
      return sameRows() && SameArray(a.numcases, b.numcases, NumRows(a));
    case NODE_TITLE:
      return EqualText(OrEmpty(a.title), OrEmpty(b.title));
    case NODE_COMMENT:
      return EqualText(OrEmpty(a.comment), OrEmpty(b.comment));
    case NODE_AUTHOR:
      return EqualText(OrEmpty(a.author), OrEmpty(b.author));
    case NODE_WHOCHANGED:
      return EqualText(OrEmpty(a.whochanged), OrEmpty(b.whochanged));
    case NODE_WHENCHANGED:
      return a.whenchanged == b.whenchanged;
    case NODE_LOCKED:
      return a.locked == b.locked;
    case NODE_EVIDENCE:
    case NODE_VALUE:
    case NODE_LIKELIHOOD:
      return SameFinding(a, b);
    default:
      return false;
  }
}

// The first of the node's define-nodes that carries the field; a finding is carried whole.
const bnode* Carrier(const bnode& node, int field) {
  for (const node_bn define : node.inherits) {
    if (IsFindingField(field) ? HasFinding(*define) : define->fields[field] != FIELD_ABSENT) return define;
  }
  return nullptr;
}

// Rules of the fields that do not depend on values.
bool IsFieldEnabled(const NetPrinter& printer, const bnode& node, int field, bool inherits) {
  if (IsStub(node)) {
    switch (field) {  // what the tables of its children need
      case NODE_KIND:
      case NODE_DISCRETE:
      case NODE_MEASURE:
      case NODE_NUMSTATES:
      case NODE_STATES:
      case NODE_LEVELS:
      case NODE_UNITS:
        break;
      default:
        if (!node.fromfile || node.fields[field] != FIELD_READ) return false;
    }
  }
  switch (field) {
    case NODE_MEASURE:  // what others inherit, or what replaces something inherited, is written all the same
      return !(node.discrete == CONTINUOUS && node.measure == ORDINAL) || node.isdefine ||
             (inherits && Carrier(node, field));
    case NODE_NUMSTATES:
      return !HasAnyName(node.states, node.numstates) && (!node.levels || HasBoundsAlone(node));
    case NODE_CHILDREN:
      return printer.options.derivedCounts;
    case NODE_WHENCHANGED:
      return printer.options.changeTimes || printer.options.derivedCounts;
    case NODE_PROBS:
      return FunctionFormOf(node) == FunctionForm::None;
    default:
      return true;
  }
}

// Fields whose value the library itself may find out: here the file's silence counts, not the value. Of all others a
// value that the file did not give is the host's own.
bool IsSilent(const bnode& node, int field) {
  switch (field) {
    case NODE_DISCRETE:
    case NODE_MEASURE:
    case NODE_CHANCE:
    case NODE_NUMSTATES:
    case NODE_BELIEF:
      return node.fromfile && node.fields[field] == FIELD_ABSENT;
    default:
      return false;
  }
}

// Something that a define-node gives has been taken from the node since: statements cannot take it away again, so
// the node is written whole, without its list of define-nodes.
bool CanInherit(const NetPrinter& printer, const bnode& node) {
  for (int field = 0; field <= format::LAST_NODE_FIELD; field++) {
    const bnode* const base = Carrier(node, field);
    if (!base || !HasValue(*base, field) || !IsFieldEnabled(printer, *base, field, true)) continue;
    if (IsFindingField(field) && HasFinding(node)) continue;  // it replaces the inherited one, whatever its kind
    if (IsPlainField(field) && SameValue(node, *base, field)) continue;
    if (!HasValue(node, field) || !IsFieldEnabled(printer, node, field, true)) return false;
  }
  return true;
}

// Whether names or levels that the node has in common with a define-node are there when its own statements are read:
// those for another number of states, or another kind of levels, are not taken.
bool IsTakenOver(const bnode& node, int field) {
  if (field != NODE_STATES && field != NODE_LEVELS) return true;
  const bnode *const counted = Carrier(node, NODE_NUMSTATES), *const typed = Carrier(node, NODE_DISCRETE);
  return counted && counted->numstates == node.numstates &&
         (field == NODE_STATES || (typed && typed->discrete == node.discrete));
}

bool IsWritten(const NetPrinter& printer, const bnode& node, int field, bool inherits) {
  if (!IsFieldEnabled(printer, node, field, inherits) || !HasValue(node, field)) return false;
  if (field == NODE_NUMSTATES && HasBoundsAlone(node)) return true;
  if (inherits) {
    const bnode* const base = Carrier(node, field);
    if (base) return !HasValue(*base, field) || !SameValue(node, *base, field) || !IsTakenOver(node, field);
  }
  return !IsSilent(node, field);
}

void PrintField(NetPrinter& printer, const bnode& node, int field) {
  printer.OpenStatement(NODE_FIELD_NAMES[field]);
  switch (field) {
    case NODE_KIND:
      printer.out.Put(KIND_NAMES[node.kind]);
      break;
    case NODE_DISCRETE:
      if (node.discrete == UNKNOWN_DISCRETE) {
        printer.out.Put(DISCRETE_NAMES[UNKNOWN_DISCRETE]);
      } else {
        printer.PutBoolean(node.discrete == DISCRETE);
      }
      break;
    case NODE_MEASURE:
      printer.out.Put(MEASURE_NAMES[node.measure]);
      break;
    case NODE_CHANCE:
      printer.out.Put(CHANCE_NAMES[node.chance]);
      break;
    case NODE_NUMSTATES:
      printer.PutInteger(node.numstates);
      break;
    case NODE_STATES:
      printer.PutNames(node.states, node.numstates);
      break;
    case NODE_LEVELS:
      printer.out.Put('(');
      for (int i = 0; i < NumLevels(node); i++) {
        if (i) printer.out.Put(", ");
        printer.PutNumber(node.levels[i]);
      }
      printer.out.Put(')');
      break;
    case NODE_UNITS:
      printer.PutText(node.units);
      break;
    case NODE_INPUTS:
      printer.PutNames(node.inputs, node.preds.num);
      break;
    case NODE_PARENTS:
      printer.PutNodeNames(node.preds);
      break;
    case NODE_CHILDREN:
      printer.PutNodeNames(node.succs);
      break;
    case NODE_FUNCTABLE:
      PrintFunction(printer, node);
      break;
    case NODE_PROBS:
      PrintProbs(printer, node);
      break;
    case NODE_NUMCASES:
      PrintExperience(printer, node);
      break;
    case NODE_TITLE:
      printer.PutText(node.title);
      break;
    case NODE_COMMENT:
      printer.PutText(node.comment);
      break;
    case NODE_AUTHOR:
      printer.PutText(node.author);
      break;
    case NODE_WHOCHANGED:
      printer.PutText(node.whochanged);
      break;
    case NODE_WHENCHANGED:
      printer.PutInteger(node.whenchanged);
      break;
    case NODE_LOCKED:
      printer.PutBoolean(node.locked);
      break;
    case NODE_EVIDENCE:
      printer.PutState(node, node.evidence);
      break;
    case NODE_VALUE:
      printer.PutNumber(node.value);
      break;
    case NODE_LIKELIHOOD:
      if (IsBeyondFloats(node))
        printer.PutNumbers(LikelihoodNumbers(node));
      else
        printer.PutNumbers(node.likelihood, node.numstates, true);
      break;
    case NODE_BELIEF:
      printer.PutNumbers(node.belief, node.numstates, false);
      break;
    default:
      ReportError(-2021, "Unable to print a bnode field");
  }
  printer.CloseStatement();
}

}  // namespace

void PrintNode(NetPrinter& printer, const bnode& node) {
  OutputChannel& out = printer.out;
  const int outer = printer.indent;
  const bool inherits = printer.options.inheritanceLists && node.inherits.num > 0 && CanInherit(printer, node);
  printer.Indent(outer);
  if (node.isdefine) {
    out.Put(format::DEFINE_WORD);
    out.Put(' ');
  }
  out.Put(IsStub(node) ? format::PARAM_WORD : format::NODE_WORD);
  out.Put(' ');
  out.Put(printer.NameOf(node));
  if (inherits) {
    out.Put(' ');
    printer.PutNodeNames(node.inherits);
  }
  out.Put(" {\n");
  printer.indent = outer + 1;
  for (int field = 0; field <= format::LAST_NODE_FIELD; field++) {
    if (IsWritten(printer, node, field, inherits)) PrintField(printer, node, field);
  }
  printer.indent = outer;
  printer.Indent(printer.options.indentClosingBrace ? outer + 1 : outer);
  out.Put("};\n");
}

}  // namespace bravic
