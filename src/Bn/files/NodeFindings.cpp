#include "Bn/files/NodeFindings.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Bn/compiled/Likelihood.h"
#include "Bn/files/NetValues.h"
#include "Bn/model/Levels.h"

namespace bravic {
namespace {

// A finding as a node's statement, or a define-node, gives it.
struct FindingRead {
  statetype evidence = UNDEF_STATE;
  double value = UNDEF_DBL;
  Block<float> likelihood;  // [numstates], or none
  bool IsNone() const { return evidence == UNDEF_STATE && value == UNDEF_DBL && !likelihood; }
};

// A state of a discrete node has its level for a value.
void SetState(const bnode& node, statetype state, FindingRead* finding) {
  finding->evidence = state;
  finding->value = node.discrete == DISCRETE && node.levels ? node.levels[state] : UNDEF_DBL;
}

// False for a value that the node cannot have.
bool SetValue(const bnode& node, double value, FindingRead* finding) {
  const statetype state = StateOfValue(node, value, LEVEL_TOLERANCE);
  if (node.discrete == DISCRETE && state == UNDEF_STATE) return false;
  if (node.discrete != DISCRETE && !IsWithinBounds(node, value)) return false;
  finding->evidence = state;
  finding->value = value;
  return true;
}

bool StateHolds(const bnode& node, statetype state, double value) {
  if (!node.levels) return false;
  if (node.discrete == DISCRETE) {
    return node.levels[state] == value || std::fabs(node.levels[state] - value) <= LEVEL_TOLERANCE;
  }
  const auto [low, high] = std::minmax(node.levels[state], node.levels[state + 1]);
  return value >= low && value <= high;
}

bool ReadEvidence(NodeBlock& block, FindingRead* finding) {
  if (!HasStates(block, NODE_EVIDENCE)) return false;
  const std::string_view word = NextWord(block.reader);
  const statetype state = StateOfWord(block.reader, block.node, word);
  if (state == UNDEF_STATE) {
    ReadError(block.reader, UNKNOWN_FINDING_LABEL, QuoteLength(word), word.data(), FieldName(NODE_EVIDENCE),
              block.keyword, block.node.name, LineNow(block.reader));
    return false;
  }
  SetState(block.node, state, finding);
  return true;
}

bool ReadNodeValue(NodeBlock& block, FindingRead* finding) {
  const bnode& node = block.node;
  double value;
  if (!ReadNumber(block.reader, block.At(NODE_VALUE), &value)) return false;
  if (value == UNDEF_DBL) return true;
  if (node.discrete == DISCRETE && !node.levels) return BadValue(block, NODE_VALUE, "a value without levels");
  return SetValue(node, value, finding) || BadValue(block, NODE_VALUE, "a value outside all levels");
}

// A single entry that is not 0 is a state finding.
bool ReadLikelihood(NodeBlock& block, FindingRead* finding) {
  if (!ReadStateNumbers(block, NODE_LIKELIHOOD)) return false;
  const auto& numbers = block.reader.numbers;
  if (numbers.empty()) return true;
  const auto isNonZero = [](double entry) { return entry != 0; };
  const auto nonZero = std::count_if(numbers.begin(), numbers.end(), isNonZero);
  if (nonZero == 0) return BadValue(block, NODE_LIKELIHOOD, "likelihood consists of all zeroes");
  if (nonZero == 1 && numbers.size() > 1) {
    const auto place = std::find_if(numbers.begin(), numbers.end(), isNonZero);
    SetState(block.node, static_cast<statetype>(place - numbers.begin()), finding);
  } else {
    finding->likelihood = MakeLikelihood(numbers);
  }
  return true;
}

// The statement of one field; false also where it says that there is no finding.
bool ReadFinding(NodeBlock& block, NodeField field, FindingRead* finding) {
  if (!block.value[field] || StandsTooEarly(block, field)) return false;
  block.reader.in.SetPosition(block.value[field]);
  const bool good = field == NODE_EVIDENCE ? ReadEvidence(block, finding)
                    : field == NODE_VALUE  ? ReadNodeValue(block, finding)
                                           : ReadLikelihood(block, finding);
  if (good) CheckStatementEnd(block, field);
  return good && !finding->IsNone();
}

// A state and a value that lies in it are one finding.
bool Unite(const bnode& node, NodeField field, FindingRead* held, NodeField other, const FindingRead& read) {
  if (!(field == NODE_EVIDENCE && other == NODE_VALUE) && !(field == NODE_VALUE && other == NODE_EVIDENCE))
    return false;
  const FindingRead &state = field == NODE_EVIDENCE ? *held : read, &value = field == NODE_EVIDENCE ? read : *held;
  if (!StateHolds(node, state.evidence, value.value)) return false;
  held->evidence = state.evidence;
  held->value = value.value;
  return true;
}

void Install(bnode& node, FindingRead& finding) {
  node.evidence = finding.evidence;
  node.value = finding.value;
  node.likelihood = finding.likelihood.release();
}

// As the node's own states and levels have it; false where they cannot.
bool TakeFinding(const bnode& node, const bnode& define, FindingRead* finding) {
  if (define.value != UNDEF_DBL && define.discrete != DISCRETE) return SetValue(node, define.value, finding);
  if (node.numstates != define.numstates || !IsDiscretized(node)) return false;
  if (define.evidence != UNDEF_STATE) {
    SetState(node, define.evidence, finding);
    if (StateHolds(node, define.evidence, define.value)) finding->value = define.value;
    return true;
  }
  if (!define.likelihood) return false;
  finding->likelihood.reset(DupBlock(define.likelihood));  // with what stands behind the floats
  return true;
}

// From the first define-node that states any. One that the node cannot take leaves it without a finding.
void InheritFinding(NodeBlock& block) {
  for (const bnode* define : Entries(block.node.inherits)) {
    const auto carries = [&](NodeField field) { return define->fields[field] != FIELD_ABSENT; };
    if (std::none_of(std::begin(FINDINGS), std::end(FINDINGS), carries)) continue;
    FindingRead finding;
    if (!TakeFinding(block.node, *define, &finding)) return;
    Install(block.node, finding);
    for (NodeField field : FINDINGS) {
      if (carries(field)) block.Status(field) = FIELD_INHERITED;
    }
    return;
  }
}

}  // namespace

void ReadFindings(NodeBlock& block) {
  NodeField inOrder[] = {NODE_EVIDENCE, NODE_VALUE, NODE_LIKELIHOOD};
  std::sort(std::begin(inOrder), std::end(inOrder),
            [&](NodeField a, NodeField b) { return block.word[a] < block.word[b]; });
  // Each statement replaces what was held before it, with a warning, unless the two say the same thing together.
  FindingRead held;
  for (NodeField field : inOrder) {
    FindingRead read;
    if (!ReadFinding(block, field, &read)) continue;
    bool united = false;
    for (NodeField earlier : inOrder) {
      if (block.Status(earlier) != FIELD_READ) continue;
      united = Unite(block.node, earlier, &held, field, read);
      if (united) break;
      block.Status(earlier) = FIELD_ABSENT;
      ReportOverridden(block.reader, block.node, earlier, field, block.word[field]);
    }
    if (!united) held = std::move(read);
    block.Status(field) = FIELD_READ;
  }
  if (held.IsNone()) return InheritFinding(block);
  Install(block.node, held);
}

}  // namespace bravic
