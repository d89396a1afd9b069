#include "Bn/files/NodeWriter.h"

#include "Bn/files/NodeFields.h"

namespace bravic {
namespace {

// Here the file's silence counts, not the value. Of all other fields a value that the file did not give is the host's.
bool IsSilent(const bnode& node, NodeField field) {
  return (NODE_FIELD_TABLE[field].traits & DERIVED) && node.fromfile && node.fields[field] == FIELD_ABSENT;
}

// Something that a define-node gives has been taken from the node since: statements cannot take it away again, so
// the node is written whole, without its list of define-nodes.
bool CanInherit(const NetPrinter& printer, const bnode& node) {
  for (NodeField field : ALL_NODE_FIELDS) {
    const bnode* const base = Carrier(node, field);
    if (!base || !HasValue(*base, field) || !IsOffered(printer, *base, field, true)) continue;
    if (IsFindingField(field) && HasFinding(node)) continue;  // it replaces the inherited one, whatever its kind
    if (CanSayNothing(field) && IsSameValue(node, *base, field)) continue;
    if (!HasValue(node, field) || !IsOffered(printer, node, field, true)) return false;
  }
  return true;
}

// Whether names or levels that the node has in common with a define-node are there when its own statements are read:
// those for another number of states, or another kind of levels, are not taken.
bool IsTakenOver(const bnode& node, NodeField field) {
  if (field != NODE_STATES && field != NODE_LEVELS) return true;
  const bnode *const counted = Carrier(node, NODE_NUMSTATES), *const typed = Carrier(node, NODE_DISCRETE);
  return counted && counted->numstates == node.numstates &&
         (field == NODE_STATES || (typed && typed->discrete == node.discrete));
}

bool IsWritten(const NetPrinter& printer, const bnode& node, NodeField field, bool inherits) {
  if (!IsOffered(printer, node, field, inherits) || !HasValue(node, field)) return false;
  if (field == NODE_NUMSTATES && HasBoundsAlone(node)) return true;
  if (inherits) {
    const bnode* const base = Carrier(node, field);
    if (base) return !HasValue(*base, field) || !IsSameValue(node, *base, field) || !IsTakenOver(node, field);
  }
  return !IsSilent(node, field);
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
  for (NodeField field : ALL_NODE_FIELDS) {
    if (IsWritten(printer, node, field, inherits)) PrintField(printer, node, field);
  }
  printer.indent = outer;
  printer.Indent(printer.options.indentClosingBrace ? outer + 1 : outer);
  out.Put("};\n");
}

}  // namespace bravic
