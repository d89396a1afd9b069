#include "formats/comparison.h"

#include "support/test.h"

namespace bravic::testing {
namespace {

constexpr float TABLE_TOLERANCE = 1e-7F;

class Comparison {
 public:
  Comparison(const Net& is, const Net& was, const Kept& kept) : is_(Nodes(is)), was_(Nodes(was)), kept_(kept) {}

  std::string Find() {
    if (is_.size() != was_.size()) return "number of nodes";
    for (std::size_t i = 0; i < was_.size(); ++i) twins_[was_[i]] = kept_.names ? TwinOf(was_[i]) : is_[i];
    for (node_bn was : was_) {
      if (!twins_[was]) return "no " + Spelling(was);
      if (std::string what = OfNodes(twins_[was], was); !what.empty()) return what + " of " + Spelling(was);
    }
    return "";
  }

 private:
  std::string Name(node_bn node) const { return kept_.spellings ? Spelling(node) : GetNodeName_bn(node); }

  node_bn TwinOf(node_bn was) const {
    const auto found = std::find_if(is_.begin(), is_.end(), [&](node_bn is) { return Name(is) == Name(was); });
    return found == is_.end() ? nullptr : *found;
  }

  std::string OfNodes(node_bn is, node_bn was) {
    if (GetNodeKind_bn(is) != GetNodeKind_bn(was)) return "kind";
    if (NumStates(is) != NumStates(was)) return "number of states";
    const bool isSameSort = GetNodeDiscrete_bn(is) == GetNodeDiscrete_bn(was);
    for (statetype s = 0; kept_.names && isSameSort && s < NumStates(was); ++s) {
      if (*GetNodeStateName_bn(was, s) == '\0') continue;  // which a format may give a name
      if (kept_.stateSpellings ? StateSpelling(is, s) != StateSpelling(was, s)
                               : std::strcmp(GetNodeStateName_bn(is, s), GetNodeStateName_bn(was, s)) != 0)
        return "state " + std::to_string(s);
    }
    std::vector<node_bn> parents;
    for (node_bn parent : Nodes(GetNodeParents_bn(was))) parents.push_back(twins_[parent]);
    if (Nodes(GetNodeParents_bn(is)) != parents) return "parents";
    if (kept_.titles && std::strcmp(GetNodeTitle_bn(is), GetNodeTitle_bn(was)) != 0) return "title";
    if (kept_.comments && std::strcmp(GetNodeComment_bn(is), GetNodeComment_bn(was)) != 0) return "comment";
    if (kept_.positions && std::strcmp(GetNodeText_bn(is, "position"), GetNodeText_bn(was, "position")) != 0)
      return "position";
    if (kept_.levels && !SameLevels(is, was)) return "levels";
    return OfTables(is, was);
  }

  static bool SameLevels(node_bn is, node_bn was) {
    if (GetNodeDiscrete_bn(is) != GetNodeDiscrete_bn(was)) return false;
    const int count = NumStates(was) + (GetNodeDiscrete_bn(was) ? 0 : 1);
    for (int i = 0; NumStates(was) > 0 && i < count; ++i) {
      if (GetNodeLevel_bn(is, i) != GetNodeLevel_bn(was, i)) return false;
    }
    return true;
  }

  static std::string OfTables(node_bn is, node_bn was) {
    if (GetNodeKind_bn(was) == DECISION_NODE) return "";
    std::string what;
    ForEachRow(was, [&](const statetype* row) {
      if (GetNodeKind_bn(was) == UTILITY_NODE) {
        const double value = GetNodeFuncValue_bn(was, row);
        if (std::abs(GetNodeFuncValue_bn(is, row) - value) > 1e-7 * std::max(1.0, std::abs(value))) what = "utility";
        return;
      }
      const probtype *a = GetNodeProbs_bn(is, row), *b = GetNodeProbs_bn(was, row);
      if (!a || !b) {
        what = "table that is missing";
        return;
      }
      for (int s = 0; s < NumStates(was); ++s) {
        if (!(std::abs(a[s] - b[s]) <= TABLE_TOLERANCE)) what = "table";
      }
    });
    return what;
  }

  std::vector<node_bn> is_, was_;
  Kept kept_;
  std::map<node_bn, node_bn> twins_;  // of the node that was, the one that is
};

}  // namespace

std::string Spelling(node_bn node) {
  const std::string original = GetNodeText_bn(node, "label");
  return original.empty() ? GetNodeName_bn(node) : original;
}

std::string StateSpelling(node_bn node, statetype state) {
  const std::string original = GetNodeText_bn(node, ("state " + std::to_string(state)).c_str());
  return original.empty() ? GetNodeStateName_bn(node, state) : original;
}

std::string DifferenceOf(const Net& is, const Net& was, const Kept& kept) {
  return Comparison(is, was, kept).Find();
}

}  // namespace bravic::testing
