#include "formats/NetBuilder.h"

#include <algorithm>
#include <cmath>

#include "formats/Guards.h"
#include "formats/Names.h"
#include "formats/NodeIndex.h"
#include "formats/RowStates.h"
#include "formats/Texts.h"

namespace formats {
namespace {

constexpr char NET_LETTER = 'n';

class Builder {
 public:
  Builder(const NetDescription& description, net_bn net, const ErrorsSince& errors)
      : description_(description), net_(net), errors_(errors), index_(description) {}
  void Build();

 private:
  void MakeNodes();
  void NameStates(int number);
  void SetLevels(int number);
  void SetTexts(int number);
  void AddLinks(int number);
  void SetProbs(int number);
  void SetUtilities(int number);
  void SetExperience(int number);
  std::vector<int> ParentStateCounts(int number) const;

  const NetDescription& description_;
  const net_bn net_;
  const ErrorsSince& errors_;
  const NodeIndex index_;
  std::vector<node_bn> nodes_;
};

double ToLevel(double value) {
  if (std::isinf(value)) return value < 0 ? -inf_dbl_ns : inf_dbl_ns;
  return value;
}

std::vector<int> Builder::ParentStateCounts(int number) const {
  std::vector<int> counts;
  for (const Word& parent : description_.nodes[number].parents)
    counts.push_back(static_cast<int>(description_.nodes[index_.Find(parent.text)].states.size()));
  return counts;
}

void Builder::MakeNodes() {
  std::vector<std::string_view> spellings;
  for (const NodeDescription& node : description_.nodes) spellings.push_back(node.name.text);
  const std::vector<std::string> names = LegalNames(spellings, NODE_LETTER);
  for (int i = 0; i < static_cast<int>(names.size()); ++i) {
    const NodeDescription& node = description_.nodes[i];
    const bool hasStates = node.kind != Kind::Utility && !node.continuous;
    nodes_.push_back(NewNode_bn(names[i].c_str(), hasStates ? static_cast<int>(node.states.size()) : 0, net_));
    if (!nodes_.back()) return;
    if (node.kind == Kind::Utility) SetNodeKind_bn(nodes_.back(), UTILITY_NODE);
    if (node.kind == Kind::Decision) SetNodeKind_bn(nodes_.back(), DECISION_NODE);
    const std::string& spelling = node.spelling.empty() ? node.name.text : node.spelling;
    if (spelling != names[i]) KeepSpelling(nodes_.back(), spelling);
  }
}

void Builder::SetLevels(int number) {
  const NodeDescription& node = description_.nodes[number];
  if (node.levels.empty()) return;
  std::vector<double> levels;
  for (double level : node.levels) levels.push_back(ToLevel(level));
  SetNodeLevels_bn(nodes_[number], static_cast<int>(node.states.size()), levels.data());
}

void Builder::NameStates(int number) {
  const NodeDescription& node = description_.nodes[number];
  if (node.kind == Kind::Utility) return;
  std::vector<std::string_view> spellings;
  for (const Word& state : node.states) spellings.push_back(state.text);
  const std::vector<std::string> names = LegalNames(spellings, STATE_LETTER);
  for (int i = 0; i < static_cast<int>(names.size()); ++i) {
    SetNodeStateName_bn(nodes_[number], i, names[i].c_str());
    if (names[i] != spellings[i]) KeepStateSpelling(nodes_[number], i, node.states[i].text);
  }
}

void Builder::SetTexts(int number) {
  const NodeDescription& node = description_.nodes[number];
  if (!node.title.empty()) SetNodeTitle_bn(nodes_[number], node.title.c_str());
  if (!node.comment.empty()) SetNodeComment_bn(nodes_[number], node.comment.c_str());
  if (node.position) KeepPosition(nodes_[number], node.position->first, node.position->second);
}

void Builder::AddLinks(int number) {
  for (const Word& parent : description_.nodes[number].parents)
    AddLink_bn(nodes_[index_.Find(parent.text)], nodes_[number]);
}

void Builder::SetProbs(int number) {
  const NodeDescription& node = description_.nodes[number];
  const int count = static_cast<int>(node.states.size());
  std::vector<probtype> probs(count, 1.0f / static_cast<float>(count));
  if (node.table == TableState::Uniform) {
    const std::vector<statetype> every(node.parents.size() + 1, EVERY_STATE);
    SetNodeProbs_bn(nodes_[number], every.data(), probs.data());
    return;
  }
  RowStates states(ParentStateCounts(number));
  for (std::size_t at = 0; at < node.values.size(); at += count) {
    for (int i = 0; i < count; ++i) probs[i] = static_cast<probtype>(node.values[at + i]);
    SetNodeProbs_bn(nodes_[number], states.Get(), probs.data());
    if (at == 0 && errors_.Any()) return;  // there was no memory for the table
    states.Next();
  }
}

void Builder::SetUtilities(int number) {
  RowStates states(ParentStateCounts(number));
  for (double value : description_.nodes[number].values) {
    SetNodeFuncValue_bn(nodes_[number], states.Get(), value);
    states.Next();
  }
}

void Builder::SetExperience(int number) {
  RowStates states(ParentStateCounts(number));
  for (double experience : description_.nodes[number].experience) {
    SetNodeExperience_bn(nodes_[number], states.Get(), experience);
    states.Next();
  }
}

void Builder::Build() {
  if (!description_.title.empty()) SetNetTitle_bn(net_, description_.title.c_str());
  if (!description_.comment.empty()) SetNetComment_bn(net_, description_.comment.c_str());
  MakeNodes();
  const int count = static_cast<int>(description_.nodes.size());
  if (static_cast<int>(nodes_.size()) < count || (count > 0 && !nodes_.back())) return;
  for (int i = 0; i < count && !errors_.Any(); ++i) {
    SetLevels(i);
    NameStates(i);
    SetTexts(i);
  }
  for (int i = 0; i < count && !errors_.Any(); ++i) AddLinks(i);
  KeepNetOrder_bn(net_);
  for (int i = 0; i < count && !errors_.Any(); ++i) {
    if (description_.nodes[i].kind == Kind::Decision) continue;
    description_.nodes[i].kind == Kind::Utility ? SetUtilities(i) : SetProbs(i);
    if (description_.nodes[i].kind == Kind::Chance) SetExperience(i);
  }
}

}  // namespace

net_bn BuildNet(const NetDescription& description, const std::string& defaultName, environ_ns env) {
  const std::string& spelling = description.name.text.empty() ? defaultName : description.name.text;
  const std::string name = LegalName(spelling, NET_LETTER);
  const ErrorsSince errors(env);
  FreedNet net(NewNet_bn(name.c_str(), env));
  if (!net) return nullptr;
  const NoUndo noUndo(net.get());
  if (!description.name.text.empty() && spelling != name) KeepSpelling(net.get(), spelling);
  Builder(description, net.get(), errors).Build();
  return errors.Any() ? nullptr : net.release();
}

void AddRelation(NodeDescription* node, NodeDescription&& relation, Problems* problems) {
  if (node->relationLine > 0) {
    const auto spelledAlike = [](const Word& a, const Word& b) { return a.text == b.text; };
    const bool same = node->table == relation.table && node->values == relation.values &&
                      node->experience == relation.experience &&
                      std::equal(node->parents.begin(), node->parents.end(), relation.parents.begin(),
                                 relation.parents.end(), spelledAlike);
    problems->Add(same ? SAME_TABLE_TWICE : DOUBLED_TABLE, relation.relationLine,
                  {node->name.text, std::to_string(node->relationLine), std::to_string(relation.relationLine)});
    return;
  }
  node->parents = std::move(relation.parents);
  node->relationLine = relation.relationLine;
  node->table = relation.table;
  node->tableLine = relation.tableLine;
  node->values = std::move(relation.values);
  node->rowLines = std::move(relation.rowLines);
  node->experience = std::move(relation.experience);
}

}  // namespace formats
