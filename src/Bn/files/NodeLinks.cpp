#include "Bn/files/NodeLinks.h"

#include <algorithm>

#include "Basic/Text.h"
#include "Bn/files/NetValues.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"

namespace bravic {
namespace {

bool UnknownParent(NetReader& reader, const NodeEntry& entry, std::string_view word) {
  reader.in.ReportAt(UNDEFINED_NODE, entry.parentsAt, word);
  const char* keyword = IsStub(*entry.node) ? format::PARAM_WORD : format::NODE_WORD;
  return ReportFault(reader, Statement{FieldName(NODE_PARENTS), keyword, entry.node->name});
}

// Of doubled links only the first has a name of its own.
void DropRepeatedNames(NetReader& reader, const bnode& node, NameRange range) {
  const int numNames = std::min(range.count, node.preds.num);
  node_bn* const parents = node.preds.ar;
  std::string_view* const words = reader.words.data() + range.first;
  const int mark = NewMark();
  for (int i = 0; i < numNames; ++i) {
    const bool isDoubled = parents[i]->mark == mark;
    parents[i]->mark = mark;
    for (int k = 0; isDoubled && k < i; ++k) {
      if (parents[k] == parents[i] && words[k] == words[i]) words[i] = {};
    }
  }
}

}  // namespace

node_bn FindEntry(const NetReader& reader, std::string_view word) {
  char name[MAX_NAME_LEN + 1];
  LegalName(word, name);
  node_bn found = reader.names.Find(name);
  if (!found || word == name) return found;
  return reader.entries[found->index].written == word ? found : nullptr;
}

bool LinkParents(NetReader& reader, NodeEntry& entry, bool final) {
  if (entry.linked || !entry.hasParents) return true;
  bnode& node = *entry.node;
  const int count = entry.parents.count;
  auto* family = NewArray<node_bn>(count + 1);
  bool known = true;
  for (int i = 0; i < count && known; ++i) {
    const std::string_view word = reader.words[entry.parents.first + i];
    family[i] = FindEntry(reader, word);
    if (!family[i]) {
      known = final && UnknownParent(reader, entry, word);
    } else if (family[i]->isdefine && final) {
      ReadError(reader, DEFINE_NODE_AMONG_PARENTS, format::NODE_WORD, family[i]->name, FieldName(NODE_PARENTS),
                format::NODE_WORD, node.name, reader.in.LineOf(entry.parentsAt));
      known = false;
    } else {
      known = !family[i]->isdefine && (final || family[i] != &node);
    }
  }
  if (known) {
    family[count] = &node;
    Free(node.preds.ar);
    node.preds.ar = family;
    node.preds.num = count;
    entry.linked = true;
    return true;
  }
  Free(family);
  if (final) {
    entry.hasParents = false;
    node.fields[NODE_PARENTS] = FIELD_ABSENT;
  }
  return false;
}

void ReadInputs(NetReader& reader, NodeEntry& entry) {
  bnode& node = *entry.node;
  if (!entry.inputsAt) return;
  const Statement at = {FieldName(NODE_INPUTS), format::NODE_WORD, node.name};
  const int numWords = reader.words.size();
  reader.in.SetPosition(entry.inputsAt);
  NameRange range;
  char** names = nullptr;
  bool good = ReadNames(reader, at, true, &range);
  if (good) DropRepeatedNames(reader, node, range);
  if (good && range.count != node.preds.num) {
    ReadError(reader, LINK_NAMES_MISCOUNTED, node.preds.num, range.count, at.field, at.keyword, at.owner,
              LineNow(reader));
    good = false;
  }
  good = good && MakeNames(reader, at, range, &names);
  reader.words.resize(numWords);
  if (!good) return;
  if (HasAnyName(names, range.count)) {
    node.inputs = names;
    node.fields[NODE_INPUTS] = FIELD_READ;
  } else {
    FreeNames(names);
  }
}

}  // namespace bravic
