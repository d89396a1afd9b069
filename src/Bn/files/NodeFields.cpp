#include "Bn/files/NodeFields.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/compiled/Likelihood.h"
#include "Bn/files/NetValues.h"
#include "Bn/files/NodeStatements.h"
#include "Bn/files/TableReader.h"
#include "Bn/files/TableWriter.h"
#include "Bn/files/UserTexts.h"
#include "Bn/model/Levels.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Texts.h"

namespace bravic {
namespace {

// --- What a field holds, and whether two nodes hold the same

template <class T>
bool SameArray(const T* a, const T* b, long long count) {
  if (!a || !b) return a == b;
  return std::memcmp(a, b, static_cast<std::size_t>(count) * sizeof(T)) == 0;
}

// Whether a table of one node has the shape of one of the other's.
bool SameRows(const bnode& a, const bnode& b) {
  const auto same = [](const bnode* x, const bnode* y) { return x->numstates == y->numstates; };
  return std::equal(a.preds.begin(), a.preds.end(), b.preds.begin(), b.preds.end(), same);
}

bool SameTableShape(const bnode& a, const bnode& b) {
  return a.numstates == b.numstates && SameRows(a, b) && FunctionFormOf(a) == FunctionFormOf(b);
}

// Of a node, or beside levels, silence would be understood as one or the other.
bool HasDiscrete(const bnode& node) {
  return node.discrete != UNKNOWN_DISCRETE || node.levels || !(IsStub(node) || node.isdefine);
}

bool HasNumStates(const bnode& node) {
  return node.numstates != 0 || HasBoundsAlone(node);
}

bool HasStateNames(const bnode& node) {
  return HasAnyName(node.states, node.numstates);
}

bool SameStates(const bnode& a, const bnode& b) {
  return a.numstates == b.numstates && SameNames(a.states, b.states, a.numstates);
}

bool HasLevels(const bnode& node) {
  return node.levels && NumLevels(node) > 0;
}

bool SameLevels(const bnode& a, const bnode& b) {
  return a.discrete == b.discrete && a.numstates == b.numstates && SameArray(a.levels, b.levels, NumLevels(a));
}

bool HasInputs(const bnode& node) {
  return HasAnyName(node.inputs, node.preds.num);
}

bool SameInputs(const bnode& a, const bnode& b) {
  return a.preds.num == b.preds.num && SameNames(a.inputs, b.inputs, a.preds.num);
}

// A node that a host made is told to have none, too.
bool HasParents(const bnode& node) {
  return node.preds.num > 0 || !node.fromfile || node.fields[NODE_PARENTS] != FIELD_ABSENT;
}

bool SameParents(const bnode& a, const bnode& b) {
  return std::equal(a.preds.begin(), a.preds.end(), b.preds.begin(), b.preds.end());
}

bool HasChildren(const bnode& node) {
  return node.succs.num > 0;
}

bool HasFunction(const bnode& node) {
  return FunctionFormOf(node) != FunctionForm::None;
}

bool SameFunction(const bnode& a, const bnode& b) {
  if (!SameTableShape(a, b)) return false;
  return FunctionFormOf(a) == FunctionForm::States ? SameArray(a.determin, b.determin, NumRows(a))
                                                   : SameArray(a.determinv, b.determinv, NumRows(a));
}

bool SameProbs(const bnode& a, const bnode& b) {
  return SameTableShape(a, b) && SameArray(a.probs, b.probs, NumRows(a) * a.numstates);
}

bool SameExperience(const bnode& a, const bnode& b) {
  return SameRows(a, b) && SameArray(a.numcases, b.numcases, NumRows(a));
}

bool HasUserTexts(const bnode& node) {
  return HasTexts(node.texts);
}

bool SameUserTexts(const bnode& a, const bnode& b) {
  return SameTexts(a.texts, b.texts);
}

bool HasEvidence(const bnode& node) {
  return node.evidence >= 0 && node.evidence < node.numstates;
}

bool HasNodeValue(const bnode& node) {
  return node.value != UNDEF_DBL;
}

bool HasLikelihood(const bnode& node) {
  return node.likelihood && node.numstates > 0;
}

// Whether the node would have the define-node's finding without a statement of its own.
bool SameFinding(const bnode& node, const bnode& define) {
  const bool isPlaced =
      node.discrete == DISCRETE || node.value == UNDEF_DBL || node.evidence == StateOfValue(node, node.value, 0);
  const bool isAlike = (node.discrete == DISCRETE) == (define.discrete == DISCRETE);
  return isPlaced && isAlike && node.numstates == define.numstates && node.evidence == define.evidence &&
         node.value == define.value && SameArray(node.likelihood, define.likelihood, node.numstates);
}

// Beliefs of an uncompiled net are those its file gave, as long as nothing has changed since.
bool HasValidBelief(const bnode& node) {
  const net_bn net = node.innet;
  if (!node.belief || !net || node.numstates == 0) return false;
  if (net->compiled) return HasBelief(node);
  return node.fromfile && node.fields[NODE_BELIEF] == FIELD_READ && !net->dirty;
}

// --- Whether a field is written whatever it holds

// What others inherit, or what replaces something inherited, is written all the same.
bool OffersMeasure(const NetPrinter&, const bnode& node, bool inherits) {
  return !(node.discrete == CONTINUOUS && node.measure == ORDINAL) || node.isdefine ||
         (inherits && Carrier(node, NODE_MEASURE));
}

bool OffersNumStates(const NetPrinter&, const bnode& node, bool) {
  return !HasStateNames(node) && (!node.levels || HasBoundsAlone(node));
}

bool OffersChildren(const NetPrinter& printer, const bnode&, bool) {
  return printer.options.derivedCounts;
}

bool OffersWhenChanged(const NetPrinter& printer, const bnode&, bool) {
  return printer.options.changeTimes || printer.options.derivedCounts;
}

bool OffersProbs(const NetPrinter&, const bnode& node, bool) {
  return !HasFunction(node);
}

// --- Printing

void PrintDiscrete(NetPrinter& printer, const bnode& node) {
  if (node.discrete == UNKNOWN_DISCRETE) {
    printer.out.Put(DISCRETE_NAMES[UNKNOWN_DISCRETE]);
  } else {
    printer.PutBoolean(node.discrete == DISCRETE);
  }
}

void PrintStates(NetPrinter& printer, const bnode& node) {
  printer.PutNames(node.states, node.numstates);
}

void PrintLevels(NetPrinter& printer, const bnode& node) {
  printer.out.Put('(');
  for (int i = 0; i < NumLevels(node); ++i) {
    if (i) printer.out.Put(", ");
    printer.PutNumber(node.levels[i]);
  }
  printer.out.Put(')');
}

void PrintInputs(NetPrinter& printer, const bnode& node) {
  printer.PutNames(node.inputs, node.preds.num);
}

void PrintParents(NetPrinter& printer, const bnode& node) {
  printer.PutNodeNames(node.preds);
}

void PrintChildren(NetPrinter& printer, const bnode& node) {
  printer.PutNodeNames(node.succs);
}

void PrintUser(NetPrinter& printer, const bnode& node) {
  PrintTexts(printer, node.texts);
}

void PrintEvidence(NetPrinter& printer, const bnode& node) {
  printer.PutState(node, node.evidence);
}

void PrintNodeValue(NetPrinter& printer, const bnode& node) {
  printer.PutNumber(node.value);
}

void PrintLikelihood(NetPrinter& printer, const bnode& node) {
  if (IsBeyondFloats(node)) {
    printer.PutNumbers(LikelihoodNumbers(node));
  } else {
    printer.PutNumbers(node.likelihood, node.numstates, true);
  }
}

void PrintBelief(NetPrinter& printer, const bnode& node) {
  printer.PutNumbers(node.belief, node.numstates, false);
}

// --- What a node takes from a define-node

bool InheritStates(const bnode& define, bnode& node) {
  if (!define.states || node.numstates != define.numstates) return false;
  node.states = DupNames(define.states, define.numstates);
  return true;
}

bool InheritLevels(const bnode& define, bnode& node) {
  if (!define.levels || node.numstates != define.numstates || node.discrete != define.discrete) return false;
  node.levels = DupBlock(define.levels);
  return true;
}

bool InheritUser(const bnode& define, bnode& node) {
  node.texts = CopyTexts(define.texts);
  return node.texts != nullptr;
}

bool InheritInputs(const bnode& define, bnode& node) {
  node.inputs = DupNames(define.inputs, node.preds.num);
  return node.inputs != nullptr;
}

template <class T>
bool InheritTable(const T* from, T*& to) {
  return from && TryCopyTable(from, to);
}

bool InheritFunction(const bnode& define, bnode& node) {
  if (!FitsTable(node, NODE_FUNCTABLE) || node.fields[NODE_PROBS] == FIELD_READ) return false;
  if (node.discrete != DISCRETE) {
    return define.discrete != DISCRETE && InheritTable(define.determinv, node.determinv);
  }
  return node.numstates == define.numstates && InheritTable(define.determin, node.determin);
}

bool InheritProbs(const bnode& define, bnode& node) {
  if (!FitsTable(node, NODE_PROBS) || node.fields[NODE_FUNCTABLE] != FIELD_ABSENT) return false;
  if (node.numstates != define.numstates) return false;
  node.probsokay = -1;
  return InheritTable(define.probs, node.probs);
}

bool InheritExperience(const bnode& define, bnode& node) {
  return FitsTable(node, NODE_NUMCASES) && InheritTable(define.numcases, node.numcases);
}

// --- The table

// NULL stands for what the form of the field says; of the form Own, for a field that is never read, set, inherited ...
struct Rules {
  bool (*read)(NodeBlock& block, NodeField field) = nullptr;
  bool (*inherit)(const bnode& define, bnode& node) = nullptr;
  bool (*inheritRelation)(const bnode& define, bnode& node) = nullptr;
  bool (*isSet)(const bnode& node) = nullptr;
  bool (*isSame)(const bnode& a, const bnode& b) = nullptr;
  bool (*offers)(const NetPrinter& printer, const bnode& node, bool inherits) = nullptr;  // NULL: always
  void (*print)(NetPrinter& printer, const bnode& node) = nullptr;
};

// clang-format off
constexpr struct { NodeField field; Rules rules; } ROWS[] = {
  {NODE_KIND,        {.read = ReadKind}},
  {NODE_DISCRETE,    {.read = ReadDiscrete, .isSet = HasDiscrete, .print = PrintDiscrete}},
  {NODE_MEASURE,     {.offers = OffersMeasure}},
  {NODE_NUMSTATES,   {.read = ReadNumStates, .isSet = HasNumStates, .offers = OffersNumStates}},
  {NODE_STATES,      {.read = ReadStates, .inherit = InheritStates, .isSet = HasStateNames, .isSame = SameStates,
                      .print = PrintStates}},
  {NODE_LEVELS,      {.read = Postpone, .inherit = InheritLevels, .isSet = HasLevels, .isSame = SameLevels,
                      .print = PrintLevels}},
  {NODE_INPUTS,      {.read = Postpone, .inheritRelation = InheritInputs, .isSet = HasInputs, .isSame = SameInputs,
                      .print = PrintInputs}},
  {NODE_NUMPARENTS,  {.read = ReadNumParents}},
  {NODE_PARENTS,     {.read = ReadParents, .isSet = HasParents, .isSame = SameParents, .print = PrintParents}},
  {NODE_NUMCHILDREN, {.read = ReadNumChildren}},
  {NODE_CHILDREN,    {.read = ReadChildren, .isSet = HasChildren, .offers = OffersChildren, .print = PrintChildren}},
  {NODE_FUNCTABLE,   {.read = ReadTableStatement, .inheritRelation = InheritFunction, .isSet = HasFunction,
                      .isSame = SameFunction, .print = PrintFunction}},
  {NODE_PROBS,       {.read = ReadTableStatement, .inheritRelation = InheritProbs, .isSet = HasProbTable,
                      .isSame = SameProbs, .offers = OffersProbs, .print = PrintProbs}},
  {NODE_NUMCASES,    {.read = ReadTableStatement, .inheritRelation = InheritExperience, .isSet = HasExperienceTable,
                      .isSame = SameExperience, .print = PrintExperience}},
  {NODE_USER,        {.read = ReadUser, .inherit = InheritUser, .isSet = HasUserTexts, .isSame = SameUserTexts,
                      .print = PrintUser}},
  {NODE_WHENCHANGED, {.offers = OffersWhenChanged}},
  {NODE_EVIDENCE,    {.read = Postpone, .isSet = HasEvidence, .isSame = SameFinding, .print = PrintEvidence}},
  {NODE_VALUE,       {.read = Postpone, .isSet = HasNodeValue, .isSame = SameFinding, .print = PrintNodeValue}},
  {NODE_LIKELIHOOD,  {.read = Postpone, .isSet = HasLikelihood, .isSame = SameFinding, .print = PrintLikelihood}},
  {NODE_BELIEF,      {.read = Postpone, .isSet = HasValidBelief, .print = PrintBelief}},
};
// clang-format on

constexpr auto RULES = [] {
  std::array<Rules, NUM_NODE_FIELDS> rules;
  for (const auto& row : ROWS) rules[row.field] = row.rules;
  return rules;
}();

}  // namespace

bool ReadValue(NodeBlock& block, NodeField field) {
  if (RULES[field].read) return RULES[field].read(block, field);
  const FieldRow<bnode>& row = NODE_FIELD_TABLE[field];
  if (row.form == FieldForm::Own) return CannotRead(block, field);
  return ReadField(block.reader, block.At(field), row, block.node);
}

bool InheritValue(const bnode& define, bnode& node, NodeField field) {
  if (RULES[field].inherit) return RULES[field].inherit(define, node);
  return NODE_FIELD_TABLE[field].Copy(define, node);
}

bool InheritRelationValue(const bnode& define, bnode& node, NodeField field) {
  return SameRows(node, define) && RULES[field].inheritRelation(define, node);
}

bool IsFindingField(NodeField field) {
  return std::find(std::begin(FINDINGS), std::end(FINDINGS), field) != std::end(FINDINGS);
}

bool CanSayNothing(NodeField field) {
  const FieldForm form = NODE_FIELD_TABLE[field].form;
  return form != FieldForm::Own && form != FieldForm::Seconds;
}

bool HasValue(const bnode& node, NodeField field) {
  if (node.isdefine && CanSayNothing(field) && node.fields[field] != FIELD_ABSENT) return true;
  return RULES[field].isSet ? RULES[field].isSet(node) : NODE_FIELD_TABLE[field].IsSet(node);
}

bool IsSameValue(const bnode& a, const bnode& b, NodeField field) {
  return RULES[field].isSame ? RULES[field].isSame(a, b) : NODE_FIELD_TABLE[field].IsSame(a, b);
}

bool IsOffered(const NetPrinter& printer, const bnode& node, NodeField field, bool inherits) {
  const bool isNeeded = !IsStub(node) || (NODE_FIELD_TABLE[field].traits & SHAPE);
  if (!isNeeded && !(node.fromfile && node.fields[field] == FIELD_READ)) return false;
  return !RULES[field].offers || RULES[field].offers(printer, node, inherits);
}

const bnode* Carrier(const bnode& node, NodeField field) {
  for (const node_bn define : node.inherits) {
    if (IsFindingField(field) ? HasFinding(*define) : define->fields[field] != FIELD_ABSENT) return define;
  }
  return nullptr;
}

bool HasBoundsAlone(const bnode& node) {
  return node.discrete != DISCRETE && node.levels && node.numstates == 0;
}

void PrintField(NetPrinter& printer, const bnode& node, NodeField field) {
  printer.OpenStatement(FieldName(field));
  if (RULES[field].print) {
    RULES[field].print(printer, node);
  } else {
    printer.PutField(NODE_FIELD_TABLE[field], node);
  }
  printer.CloseStatement();
}

}  // namespace bravic
