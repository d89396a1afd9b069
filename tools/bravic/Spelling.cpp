#include "Spelling.h"

#include <charconv>
#include <cstdio>
#include <optional>
#include <vector>

#include "Nearest.h"

namespace {

std::string Quoted(const std::string& name) {
  return "'" + name + "'";
}

// As the comments of net files have it.
std::string IntervalText(const std::string& name, double low, double high) {
  const auto text = [](double bound) {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%g", bound);
    return std::string(digits);
  };
  if (low == high) return name + "=" + text(low);
  if (low == -inf_dbl_ns) return name + "<" + text(high);
  if (high == inf_dbl_ns) return text(low) + "<" + name;
  return text(low) + "<=" + name + "<" + text(high);
}

std::string Label(node_bn node) {
  return GetNodeText_bn(node, "label");
}

std::string SpellingOf(node_bn node, statetype state) {
  return GetNodeText_bn(node, ("state " + std::to_string(state)).c_str());
}

// "'Dysp' ('Dyspnea?')"
std::string BothSpellings(node_bn node) {
  const std::string label = Label(node), other = label.empty() ? GetNodeTitle_bn(node) : label;
  return Quoted(GetNodeName_bn(node)) + (other.empty() ? "" : " (" + Quoted(other) + ")");
}

// Those that the spelling fits. Titles, which need not tell nodes apart, count where it is no name.
std::vector<node_bn> NodesSpelled(const std::string& spelling, const Net& net) {
  std::vector<node_bn> named, titled;
  if (spelling.empty()) return named;
  for (node_bn node : Nodes(net)) {
    if (spelling == GetNodeName_bn(node) || spelling == Label(node)) named.push_back(node);
    if (spelling == GetNodeTitle_bn(node)) titled.push_back(node);
  }
  return named.empty() ? titled : named;
}

node_bn TheOnlyOne(const std::vector<node_bn>& nodes, const std::string& spelling) {
  if (nodes.size() == 1) return nodes[0];
  throw Refusal(Quoted(spelling) + " fits two nodes: " + BothSpellings(nodes[0]) + " and " + BothSpellings(nodes[1]));
}

// All that could be meant.
std::vector<std::string> SpellingsOfNodes(const Net& net) {
  std::vector<std::string> spellings;
  for (node_bn node : Nodes(net)) {
    spellings.emplace_back(GetNodeName_bn(node));
    for (const std::string& other : {Label(node), std::string(GetNodeTitle_bn(node))}) {
      if (!other.empty()) spellings.push_back(other);
    }
  }
  return spellings;
}

// The state of a number, "2" or "#2"; nothing where the text is none.
std::optional<statetype> StateOfNumber(const std::string& text) {
  const char* first = text.c_str() + (text.starts_with('#') ? 1 : 0);
  const char* last = text.c_str() + text.size();
  statetype state = -1;
  const auto [end, fault] = std::from_chars(first, last, state);
  if (first == last || end != last) return {};
  return fault == std::errc() ? state : -1;
}

[[noreturn]] void RefuseState(const std::string& spelling, node_bn node) {
  const int numstates = GetNodeNumberStates_bn(node);
  const std::string who = "node " + Quoted(GetNodeName_bn(node)) + " has ";
  if (numstates == 0) throw Refusal(who + "no states");
  if (StateOfNumber(spelling)) {
    throw Refusal(who + std::to_string(numstates) + " states, #0 to #" + std::to_string(numstates - 1) + ", and no " +
                  Quoted(spelling));
  }
  std::vector<std::string> spellings;
  for (statetype state = 0; state < numstates; ++state) {
    spellings.push_back(StateText(node, state));
    if (const std::string other = SpellingOf(node, state); !other.empty()) spellings.push_back(other);
  }
  throw Refusal(who + "no state named " + Quoted(spelling) + DidYouMean(spelling, spellings));
}

// Nothing where there is no such state.
std::optional<statetype> StateSpelled(const std::string& spelling, node_bn node) {
  const int numstates = GetNodeNumberStates_bn(node);
  std::vector<statetype> found;
  for (statetype state = 0; !spelling.empty() && state < numstates; ++state) {
    if (spelling == GetNodeStateName_bn(node, state) || spelling == SpellingOf(node, state)) found.push_back(state);
  }
  if (found.size() > 1) {
    throw Refusal(Quoted(spelling) + " fits two states of node " + Quoted(GetNodeName_bn(node)) + ": " +
                  Quoted(StateText(node, found[0])) + " and " + Quoted(StateText(node, found[1])));
  }
  if (!found.empty()) return found[0];
  for (statetype state = 0; state < numstates; ++state) {
    if (spelling == StateText(node, state)) return state;
  }
  const auto state = StateOfNumber(spelling);
  return state && *state >= 0 && *state < numstates ? state : std::nullopt;
}

struct Halves {
  std::string node, rest;
};

// At each "=" that has something on both sides, the first first.
std::vector<Halves> Splits(const std::string& assignment) {
  std::vector<Halves> splits;
  for (std::size_t at = 1; (at = assignment.find('=', at)) != std::string::npos && at + 1 < assignment.size(); ++at)
    splits.push_back({assignment.substr(0, at), assignment.substr(at + 1)});
  return splits;
}

}  // namespace

node_bn FindNode(const std::string& spelling, const Net& net) {
  const std::vector<node_bn> found = NodesSpelled(spelling, net);
  if (!found.empty()) return TheOnlyOne(found, spelling);
  throw Refusal("net " + Quoted(GetNetName_bn(net.get())) + " has no node named " + Quoted(spelling) +
                DidYouMean(spelling, SpellingsOfNodes(net)));
}

statetype FindState(const std::string& spelling, node_bn node) {
  if (const auto state = StateSpelled(spelling, node)) return *state;
  RefuseState(spelling, node);
}

std::string StateText(node_bn node, statetype state) {
  const std::string name = GetNodeStateName_bn(node, state);
  if (!name.empty()) return name;
  if (!GetNodeDiscrete_bn(node) && GetNodeLevel_bn(node, 0) != undef_dbl_ns)
    return IntervalText(GetNodeName_bn(node), GetNodeLevel_bn(node, state), GetNodeLevel_bn(node, state + 1));
  return "#" + std::to_string(state);
}

std::pair<node_bn, statetype> FindNodeAndState(const std::string& assignment, const Net& net) {
  const std::vector<Halves> splits = Splits(assignment);
  std::optional<std::pair<node_bn, statetype>> found;
  const Halves* withNode = nullptr;  // the last split at which the node is known
  for (const Halves& halves : splits) {
    const std::vector<node_bn> nodes = NodesSpelled(halves.node, net);
    if (nodes.empty()) continue;
    withNode = &halves;
    node_bn node = TheOnlyOne(nodes, halves.node);
    const auto state = StateSpelled(halves.rest, node);
    if (!state) continue;
    if (found) {
      throw Refusal(Quoted(assignment) + " can be read in two ways: as node " + BothSpellings(found->first) +
                    " and as node " + BothSpellings(node));
    }
    found.emplace(node, *state);
  }
  if (found) return *found;
  if (withNode) RefuseState(withNode->rest, FindNode(withNode->node, net));
  // What is told is about the split whose node may have been meant.
  const std::vector<std::string> spellings = SpellingsOfNodes(net);
  for (std::size_t i = splits.size(); i-- > 0;) {
    if (!NearestNames(splits[i].node, spellings).empty()) return {FindNode(splits[i].node, net), 0};
  }
  return {FindNode(assignment.substr(0, assignment.find('=')), net), 0};
}

std::pair<node_bn, std::string> FindNodeOf(const std::string& assignment, const Net& net) {
  const Halves halves = Splits(assignment).back();
  return {FindNode(halves.node, net), halves.rest};
}
