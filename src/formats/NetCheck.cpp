// What can be wrong with a description as a whole: names, links and what is there or missing. Tables are looked into by
// TableCheck.cpp.
#include <algorithm>
#include <unordered_map>

#include "formats/NetBuilder.h"
#include "formats/NodeIndex.h"
#include "formats/TableCheck.h"

namespace formats {
namespace {

constexpr std::size_t MAX_CYCLE_TEXT = 1000;  // what is longer is cut from messages anyhow

std::string Number(long long number) {
  return std::to_string(number);
}

class Checker {
 public:
  Checker(NetDescription* net, bool rowsAreCounts, Problems* problems)
      : net_(*net), rowsAreCounts_(rowsAreCounts), problems_(*problems) {}
  void Check();

 private:
  void CheckNames();
  void CheckStates(const NodeDescription& node);
  void CheckLevels(NodeDescription* node);
  void FindParents(int number);
  void CheckCycles();
  void ReportCycle(const std::vector<int>& path, int first);
  void CheckRelation(int number);

  NetDescription& net_;
  const bool rowsAreCounts_;
  Problems& problems_;
  NodeIndex index_;
  std::vector<std::vector<int>> parents_;  // of each node those that are known, by number
  std::vector<char> sound_;                // of each node, whether its table can be judged
};

void Checker::Check() {
  sound_.assign(net_.nodes.size(), 1);
  CheckNames();
  const int count = static_cast<int>(net_.nodes.size());
  parents_.resize(count);
  for (int i = 0; i < count; ++i) FindParents(i);
  CheckCycles();
  for (int i = 0; i < count; ++i) CheckRelation(i);
}

void Checker::CheckNames() {
  for (NodeDescription& node : net_.nodes) {
    if (!index_.Add(node.name.text)) {
      const NodeDescription& first = net_.nodes[index_.Find(node.name.text)];
      problems_.Add(DOUBLED_NODE, node.name.line, {node.name.text, Number(first.name.line), Number(node.name.line)});
      sound_[&node - net_.nodes.data()] = 0;  // what is said of the name, the first one has got
    }
    CheckStates(node);
    CheckLevels(&node);
  }
}

void Checker::CheckStates(const NodeDescription& node) {
  if (node.kind == Kind::Utility) return;
  if (node.continuous && node.levels.empty()) {
    problems_.Add(CONTINUOUS_NODE, node.name.line, {node.name.text});
  } else if (node.states.empty()) {
    problems_.Add(NO_STATES, node.name.line, {node.name.text});
  }
  std::unordered_map<std::string_view, int> seen;
  for (const Word& state : node.states) {
    if (!state.text.empty() && !seen.try_emplace(state.text, 0).second)
      problems_.Add(DOUBLED_STATE, state.line, {state.text, node.name.text});
  }
}

void Checker::CheckLevels(NodeDescription* node) {
  const int wanted = static_cast<int>(node->states.size()) + node->continuous;
  const int count = static_cast<int>(node->levels.size());
  if (count == 0) return;
  const std::string counts = "there are " + Number(count) + " numbers, but " + Number(wanted) + " were wanted";
  if (!node->continuous) {
    if (count == wanted) return;
    problems_.Add(LEVELS_LEFT_OUT, node->name.line, {node->name.text, counts});
    node->levels.clear();
  } else if (count != wanted) {
    problems_.Add(BAD_INTERVALS, node->name.line, {node->name.text, counts});
  } else if (!std::is_sorted(node->levels.begin(), node->levels.end())) {
    problems_.Add(BAD_INTERVALS, node->name.line, {node->name.text, "their bounds are not in order"});
  }
}

void Checker::FindParents(int number) {
  const NodeDescription& node = net_.nodes[number];
  std::unordered_map<int, int> seen;
  for (const Word& parent : node.parents) {
    const int found = index_.Find(parent.text);
    if (found < 0) {
      problems_.Add(UNKNOWN_PARENT, parent.line, {parent.text, node.name.text});
      sound_[number] = 0;
      continue;
    }
    if (!seen.try_emplace(found, 0).second) {
      problems_.Add(DOUBLED_PARENT, parent.line, {parent.text, node.name.text});
      sound_[number] = 0;
      continue;
    }
    if (net_.nodes[found].kind == Kind::Utility) {
      problems_.Add(UTILITY_AS_PARENT, parent.line, {parent.text, node.name.text});
      sound_[number] = 0;
    }
    parents_[number].push_back(found);
  }
}

void Checker::ReportCycle(const std::vector<int>& path, int first) {
  // Told as links run, from parent to child; the path goes the other way.
  std::string text;
  const auto begin = std::find(path.begin(), path.end(), first);
  for (auto it = path.end(); it != begin && text.size() < MAX_CYCLE_TEXT;) {
    const NodeDescription& node = net_.nodes[*--it];
    text += "'" + node.name.text + "' (line " + Number(node.relationLine) + ") -> ";
  }
  text += "'" + net_.nodes[path.back()].name.text + "'";
  int line = net_.nodes[first].relationLine;
  for (auto it = begin; it != path.end(); ++it) line = std::min(line, net_.nodes[*it].relationLine);
  problems_.Add(CYCLE_OF_LINKS, line, {text});
}

// Depth first through the parents, without recursion; each cycle that is closed by a link back is told once.
void Checker::CheckCycles() {
  enum State : char { New, OnPath, Done };
  const int count = static_cast<int>(net_.nodes.size());
  std::vector<char> states(count, New);
  std::vector<int> path, next(count, 0);
  for (int start = 0; start < count; ++start) {
    if (states[start] != New) continue;
    path.assign(1, start);
    states[start] = OnPath;
    while (!path.empty()) {
      const int node = path.back();
      if (next[node] == static_cast<int>(parents_[node].size())) {
        states[node] = Done;
        path.pop_back();
        continue;
      }
      const int parent = parents_[node][next[node]++];
      if (states[parent] == OnPath) ReportCycle(path, parent);
      if (states[parent] != New) continue;
      states[parent] = OnPath;
      path.push_back(parent);
    }
  }
}

void Checker::CheckRelation(int number) {
  NodeDescription& node = net_.nodes[number];
  if (!sound_[number]) return;
  if (node.kind != Kind::Utility && node.states.empty()) return;
  std::vector<const NodeDescription*> parents;
  for (int parent : parents_[number]) {
    parents.push_back(&net_.nodes[parent]);
    if (parents.back()->states.empty()) return;  // told already
  }
  CheckTable(&node, parents, rowsAreCounts_, &problems_);
}

}  // namespace

void CheckNet(NetDescription* net, bool rowsAreCounts, Problems* problems) {
  Checker(net, rowsAreCounts, problems).Check();
}

}  // namespace formats
