#include "formats/NetDescriber.h"

#include <cmath>
#include <limits>
#include <unordered_map>

#include "formats/Guards.h"
#include "formats/Names.h"
#include "formats/NumberText.h"
#include "formats/RowStates.h"
#include "formats/TableCheck.h"
#include "formats/Texts.h"
#include "formats/Uai.h"

namespace formats {
namespace {

double FromLevel(double level) {
  constexpr double INFINITE = std::numeric_limits<double>::infinity();
  return level == inf_dbl_ns ? INFINITE : level == -inf_dbl_ns ? -INFINITE : level;
}

// Original spellings where they are known and differ from each other and from all names; else the names.
void PreferSpellings(const std::vector<std::string>& spellings, std::vector<Word>* words) {
  std::unordered_map<std::string, int> uses;
  for (const Word& word : *words) uses[word.text]++;
  for (const std::string& spelling : spellings) uses[spelling]++;
  for (std::size_t i = 0; i < words->size(); ++i) {
    if (!spellings[i].empty() && uses[spellings[i]] == 1) (*words)[i].text = spellings[i];
  }
}

class Describer {
 public:
  Describer(net_bn net, const Format& format, NetDescription* description, Problems* problems)
      : net_(net), format_(format), description_(*description), problems_(*problems) {}
  void Describe();

 private:
  bool Holds(unsigned what) const { return (format_.holds & what) != 0; }
  // Whether the format holds it; else it is listed as lost.
  bool Keeps(unsigned what, const char* lost);
  void DescribeTexts(net_bn net);
  bool DescribeKind(node_bn node, NodeDescription* description);
  void DescribeNode(node_bn node, NodeDescription* description);
  void DescribeStates(node_bn node, NodeDescription* description);
  void DescribeLevels(node_bn node, NodeDescription* description);
  void DescribeTexts(node_bn node, NodeDescription* description);
  bool DescribeParents(node_bn node, NodeDescription* description);
  void DescribeTable(node_bn node, NodeDescription* description);
  void DescribeExperience(node_bn node, int rows, NodeDescription* description);
  std::vector<int> StateCounts() const;
  void NameNodes();

  const net_bn net_;
  const Format& format_;
  NetDescription& description_;
  Problems& problems_;
  std::vector<node_bn> nodes_;
  std::unordered_map<node_bn, int> numbers_;
  std::vector<std::vector<int>> parents_;
  std::vector<std::string> lost_;
  bool refusesDecisions_ = false;  // and has said so
};

bool Describer::Keeps(unsigned what, const char* lost) {
  if (Holds(what)) return true;
  for (const std::string& one : lost_) {
    if (one == lost) return false;
  }
  lost_.push_back(lost);
  return false;
}

void Describer::DescribeTexts(net_bn net) {
  description_.name.text = KeptSpelling(net);
  if (description_.name.text.empty()) description_.name.text = GetNetName_bn(net);
  const std::string title = GetNetTitle_bn(net), comment = GetNetComment_bn(net);
  if (!title.empty() && Keeps(HOLDS_NET_TITLE, "the net's title")) description_.title = title;
  if (!comment.empty() && Keeps(HOLDS_NET_COMMENT, "the net's comment")) description_.comment = comment;
}

bool Describer::DescribeKind(node_bn node, NodeDescription* description) {
  switch (GetNodeKind_bn(node)) {
    case NATURE_NODE:
      description->kind = Kind::Chance;
      break;
    case DECISION_NODE:
      description->kind = Kind::Decision;
      break;
    case UTILITY_NODE:
      description->kind = Kind::Utility;
      break;
    default:
      problems_.Add(KIND_NOT_WRITTEN, 0, {GetNodeName_bn(node), format_.shownName});
      return false;
  }
  if (description->kind == Kind::Chance || Holds(HOLDS_DECISIONS)) return true;
  if (refusesDecisions_) return false;
  refusesDecisions_ = true;
  problems_.Add(NO_DECISION_NETWORKS, 0,
                {format_.shownName, description->kind == Kind::Utility ? "utility" : "decision", GetNodeName_bn(node)});
  return false;
}

void Describer::DescribeLevels(node_bn node, NodeDescription* description) {
  const int states = GetNodeNumberStates_bn(node);
  const bool isDiscrete = GetNodeDiscrete_bn(node) != 0;
  std::vector<double> levels;
  bool any = false, all = true;
  for (int i = 0; i < states + !isDiscrete; ++i) {
    const double level = GetNodeLevel_bn(node, i);
    any |= level != undef_dbl_ns;
    all &= level != undef_dbl_ns;
    levels.push_back(FromLevel(level));
  }
  if (!isDiscrete) {
    description->continuous = Keeps(HOLDS_INTERVALS, "intervals (written as states)");
    description->levels = std::move(levels);
  } else if (any && Keeps(all ? HOLDS_LEVELS : 0u, "numbers of states")) {
    description->levels = std::move(levels);
  }
}

// States without names get some: intervals their bounds, others their numbers.
void Describer::DescribeStates(node_bn node, NodeDescription* description) {
  std::vector<std::string> spellings;
  for (int i = 0; i < GetNodeNumberStates_bn(node); ++i) {
    Word word{GetNodeStateName_bn(node, i)};
    if (word.text.empty() && GetNodeDiscrete_bn(node)) {
      word.text = STATE_LETTER + std::to_string(i);
    } else if (word.text.empty()) {
      AppendDouble(description->levels[i], &word.text);
      word.text += "..";
      AppendDouble(description->levels[i + 1], &word.text);
    }
    description->states.push_back(std::move(word));
    spellings.push_back(KeptStateSpelling(node, i));
    if (!spellings.back().empty() && Holds(HOLDS_NAMES)) Keeps(HOLDS_STATE_SPELLINGS, "original spellings of states");
  }
  if (!description->continuous && !GetNodeDiscrete_bn(node)) description->levels.clear();
  if (Holds(HOLDS_STATE_SPELLINGS)) return PreferSpellings(spellings, &description->states);
  std::vector<std::string_view> names;
  for (const Word& state : description->states) names.push_back(state.text);
  const std::vector<std::string> legal = LegalNames(names, STATE_LETTER);
  for (std::size_t i = 0; i < legal.size(); ++i) description->states[i].text = legal[i];
}

void Describer::DescribeTexts(node_bn node, NodeDescription* description) {
  const std::string title = GetNodeTitle_bn(node), comment = GetNodeComment_bn(node);
  const bool saysNothing = title.empty() || (title == description->name.text && !Holds(HOLDS_TITLES));
  if (!saysNothing && Keeps(HOLDS_TITLES, "titles")) description->title = title;
  if (!comment.empty() && Keeps(HOLDS_COMMENTS, "comments")) description->comment = comment;
  double x = 0, y = 0;
  if (KeptPosition(node, &x, &y) && Keeps(HOLDS_POSITIONS, "positions")) description->position = {x, y};
  if (description->kind != Kind::Utility && GetNodeFinding_bn(node) != NO_FINDING) Keeps(0, "findings");
}

bool Describer::DescribeParents(node_bn node, NodeDescription* description) {
  const nodelist_bn parents = GetNodeParents_bn(node);
  for (int i = 0; i < LengthNodeList_bn(parents); ++i) {
    const node_bn parent = NthNode_bn(parents, i);
    const auto found = numbers_.find(parent);
    if (found == numbers_.end()) {
      problems_.Add(PLACEHOLDER_NOT_WRITTEN, 0, {GetNodeName_bn(node)});
      return false;
    }
    parents_.back().push_back(found->second);
    const std::string name = GetNodeName_bn(parent);
    if (GetLinkName_bn(node, i) != name) Keeps(0, "names of links");
    description->parents.push_back({name});
  }
  return true;
}

// Rows whose experience is known, all of them or none.
void Describer::DescribeExperience(node_bn node, int rows, NodeDescription* description) {
  RowStates states(StateCounts());
  std::vector<double> experience;
  for (int row = 0; row < rows; ++row, states.Next()) {
    const double known = GetNodeExperience_bn(node, states.Get());
    if (known != undef_dbl_ns) experience.push_back(known);
  }
  if (experience.empty()) return;
  const bool isWhole = static_cast<int>(experience.size()) == rows;
  if (Keeps(isWhole ? HOLDS_EXPERIENCE : 0u, "experience")) description->experience = std::move(experience);
}

// The numbers of states of the last node's parents.
std::vector<int> Describer::StateCounts() const {
  std::vector<int> counts;
  for (int parent : parents_.back()) counts.push_back(GetNodeNumberStates_bn(nodes_[parent]));
  return counts;
}

void Describer::DescribeTable(node_bn node, NodeDescription* description) {
  if (description->kind == Kind::Decision) {
    if (HasRelation_bn(node)) Keeps(0, "decision tables");
    return;
  }
  const auto refuse = [&](const std::string& reason) {
    problems_.Add(TABLE_NOT_WRITTEN, 0, {GetNodeName_bn(node), reason});
  };
  if (!HasRelation_bn(node)) return refuse("none was given");
  const bool isUtility = description->kind == Kind::Utility;
  const int perRow = isUtility ? 1 : GetNodeNumberStates_bn(node);
  long long rows = 1;
  const std::vector<int> counts = StateCounts();
  for (int count : counts) {
    rows *= count;
    if (rows * perRow > MAX_ENTRIES) return refuse("it is too large");
  }
  RowStates states(counts);
  description->values.reserve(static_cast<std::size_t>(rows) * perRow);
  for (int row = 0; row < rows; ++row, states.Next()) {
    if (isUtility) {
      const double value = GetNodeFuncValue_bn(node, states.Get());
      if (value == undef_dbl_ns || !(std::fabs(value) <= std::numeric_limits<float>::max()))
        return refuse("row " + std::to_string(row + 1) + " has no value");
      description->values.push_back(value);
      continue;
    }
    const probtype* const probs = GetNodeProbs_bn(node, states.Get());
    if (!probs) return refuse("none was given");
    for (int i = 0; i < perRow; ++i) {
      if (!(probs[i] >= 0)) return refuse("row " + std::to_string(row + 1) + " is not given");
      description->values.push_back(probs[i]);
    }
  }
  description->table = TableState::Given;
  if (!isUtility) DescribeExperience(node, static_cast<int>(rows), description);
}

void Describer::DescribeNode(node_bn node, NodeDescription* description) {
  parents_.emplace_back();
  description->name.text = GetNodeName_bn(node);
  if (!DescribeKind(node, description)) return;
  if (description->kind != Kind::Utility) {
    if (GetNodeNumberStates_bn(node) == 0) {
      problems_.Add(CONTINUOUS_NODE, 0, {description->name.text});
      return;
    }
    DescribeLevels(node, description);
    DescribeStates(node, description);
  }
  DescribeTexts(node, description);
  if (DescribeParents(node, description)) DescribeTable(node, description);
}

// Original spellings take the place of names where the format has them so; else they stand beside.
void Describer::NameNodes() {
  std::vector<std::string> spellings;
  std::vector<Word> names;
  for (int i = 0; i < static_cast<int>(nodes_.size()); ++i) {
    spellings.push_back(KeptSpelling(nodes_[i]));
    names.push_back(description_.nodes[i].name);
  }
  if (Holds(HOLDS_NODE_SPELLINGS)) PreferSpellings(spellings, &names);
  for (int i = 0; i < static_cast<int>(nodes_.size()); ++i) {
    NodeDescription& node = description_.nodes[i];
    node.name = names[i];
    if (!Holds(HOLDS_NODE_SPELLINGS)) node.spelling = spellings[i];
    for (std::size_t j = 0; j < parents_[i].size(); ++j) node.parents[j] = names[parents_[i][j]];
  }
}

void Describer::Describe() {
  DescribeTexts(net_);
  const nodelist_bn nodes = GetNetNodes_bn(net_);
  const int count = LengthNodeList_bn(nodes);
  for (int i = 0; i < count; ++i) {
    nodes_.push_back(NthNode_bn(nodes, i));
    numbers_[nodes_.back()] = i;
  }
  description_.nodes.resize(nodes_.size());
  for (std::size_t i = 0; i < nodes_.size(); ++i) DescribeNode(nodes_[i], &description_.nodes[i]);
  if (problems_.HasErrors()) return;
  NameNodes();
  if (!Holds(HOLDS_NAMES) && !HasUaiNames(description_)) lost_.insert(lost_.begin(), "names of nodes and states");
  if (lost_.empty()) return;
  std::string list;
  for (const std::string& one : lost_) list += (list.empty() ? "" : ", ") + one;
  problems_.Add(LOST_IN_FORMAT, 0, {format_.shownName, list});
}

}  // namespace

void DescribeNet(net_bn net, const Format& format, NetDescription* description, Problems* problems) {
  Describer(net, format, description, problems).Describe();
}

}  // namespace formats
