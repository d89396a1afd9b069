// Reads XDSL: smile/nodes with an element for each node, named by its kind, and what a drawing program adds in
// extensions/genie: names, comments, positions. What kinds have beyond tables (noisy-max, states named for each row,
// weighted sums of utilities) is worked out once all nodes are known.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <numeric>

#include "formats/Formats.h"
#include "formats/MemoryLimit.h"
#include "formats/Names.h"
#include "formats/NodeIndex.h"
#include "formats/NoisyMax.h"
#include "formats/NumberText.h"
#include "formats/TableCheck.h"
#include "formats/Xdsl.h"
#include "formats/Xml.h"

namespace formats {
namespace {

struct KindName {
  const char* name;
  Kind kind;
  const char* numbers;  // the element with the table's numbers, NULL where there is none
};
constexpr KindName KINDS[] = {{"cpt", Kind::Chance, "probabilities"},
                              {"deterministic", Kind::Chance, nullptr},
                              {"noisymax", Kind::Chance, nullptr},
                              {"decision", Kind::Decision, nullptr},
                              {"utility", Kind::Utility, "utilities"}};

// What nodes may have beside; of those that nets have no room for the table means the same without them.
constexpr const char* PARTS[] = {"state",    "parents",   "probabilities", "resultingstates", "strengths", "parameters",
                                 "property", "utilities", "cost"};

bool Is(pugi::xml_node element, const char* name) {
  return std::strcmp(element.name(), name) == 0;
}

class Reader {
 public:
  Reader(std::string_view text, NetDescription* net, Problems* problems)
      : file_(text, problems), net_(net), problems_(problems) {}

  void Read() {
    problems_->CallNodes("element");
    if (!file_.Parse("smile")) return;
    const pugi::xml_node root = file_.Root();
    net_->name = {root.attribute("id").value(), file_.LineOf(root)};
    if (const pugi::xml_node dynamic = root.child("dynamic"))
      file_.Report(NOT_REPRESENTED, dynamic, {"element 'dynamic', a net that goes through time,"});
    const pugi::xml_node nodes = file_.OnlyChild(root, "nodes", "smile");
    for (pugi::xml_node element : nodes) {
      if (element.type() == pugi::node_element) ReadNode(element);
    }
    index_ = NodeIndex(*net_);
    for (const Made& made : made_) {
      if (Is(made.element, "noisymax")) {
        FillNoisyMax(made.element, net_->nodes[made.node]);
      } else {
        FillDeterministic(made.element, net_->nodes[made.node]);
      }
    }
    WeighUtilities();
    if (const pugi::xml_node genie = root.child("extensions").child("genie")) ReadGenie(genie);
  }

 private:
  // A node whose table is made of something else.
  struct Made {
    std::size_t node;
    pugi::xml_node element;
  };

  struct Sum {
    std::string name, owner;
    pugi::xml_node element;
    std::vector<Word> parents;
    std::vector<double> weights;
  };

  void ReadNode(pugi::xml_node element) {
    const char* id = element.attribute("id").value();
    if (!*id) {
      file_.Report(ELEMENT_MISSING, element, {element.name(), "id"});
      return;
    }
    const std::string owner = NamedElement(element.name(), id);
    if (Is(element, "mau")) {
      ReadSum(element, owner);
      return;
    }
    const auto kind = std::find_if(std::begin(KINDS), std::end(KINDS),
                                   [&](const KindName& known) { return Is(element, known.name); });
    if (kind == std::end(KINDS)) {
      file_.Report(NOT_REPRESENTED, element, {owner});
      return;
    }
    NodeDescription node;
    node.kind = kind->kind;
    node.name = {id, file_.LineOf(element)};
    node.relationLine = node.name.line;
    ReadParts(element, owner, &node);
    if (kind->numbers) {
      ReadTable(file_.OptionalChild(element, kind->numbers, owner), owner, &node);
    } else if (node.kind == Kind::Chance) {
      made_.push_back({net_->nodes.size(), element});
    }
    net_->nodes.push_back(std::move(node));
  }

  void ReadParts(pugi::xml_node element, const std::string& owner, NodeDescription* node) {
    for (pugi::xml_node part : element) {
      if (Is(part, "state")) {
        const char* id = part.attribute("id").value();
        if (!*id) file_.Report(ELEMENT_MISSING, part, {"a state of " + owner, "id"});
        node->states.push_back({id, file_.LineOf(part)});
      } else if (part.type() == pugi::node_element &&
                 std::none_of(std::begin(PARTS), std::end(PARTS), [&](const char* name) { return Is(part, name); })) {
        file_.Report(ELEMENT_PASSED_OVER, part, {owner, part.name()});
      }
    }
    if (const pugi::xml_node parents = file_.OptionalChild(element, "parents", owner)) {
      node->parents = file_.WordsIn(parents);
      node->relationLine = file_.LineOf(parents);
    }
  }

  void ReadTable(pugi::xml_node numbers, const std::string& owner, NodeDescription* node) {
    if (!numbers) return;
    node->tableLine = file_.LineOf(numbers);
    const bool isRead = file_.ReadNumbers(numbers, owner, std::max<std::size_t>(node->states.size(), 1), &node->values,
                                          &node->rowLines);
    node->table = isRead ? TableState::Given : TableState::Broken;
  }

  // Of each parent the number of states. Answers false where parents are unknown, or the table would be too large.
  bool FindShape(const NodeDescription& node, std::vector<std::size_t>* shape) {
    double entries = static_cast<double>(node.states.size());
    for (const Word& parent : node.parents) {
      const int found = index_.Find(parent.text);
      if (found < 0) return false;
      shape->push_back(net_->nodes[static_cast<std::size_t>(found)].states.size());
      entries *= static_cast<double>(shape->back());
    }
    if (entries > static_cast<double>(MAX_ENTRIES)) problems_->Add(TABLE_TOO_LARGE, node.tableLine, {node.name.text});
    return entries > 0 && entries <= static_cast<double>(MAX_ENTRIES);
  }

  bool HasEntries(pugi::xml_node element, const std::string& owner, std::size_t numEntries, std::size_t wanted) {
    if (numEntries == wanted) return true;
    file_.Report(WRONG_ENTRY_COUNT, element,
                 {owner, element.name(), std::to_string(numEntries), std::to_string(wanted)});
    return false;
  }

  void FillDeterministic(pugi::xml_node element, NodeDescription& node) {
    const std::string owner = NamedElement(element.name(), node.name.text);
    const pugi::xml_node results = element.child("resultingstates");
    if (!results) return;
    node.table = TableState::Broken;
    node.tableLine = file_.LineOf(results);
    const std::vector<Word> words = file_.WordsIn(results);
    std::vector<std::size_t> shape;
    if (!FindShape(node, &shape)) return;
    const std::size_t numRows =
        std::accumulate(shape.begin(), shape.end(), std::size_t{1}, std::multiplies<std::size_t>());
    if (!HasEntries(results, owner, words.size(), numRows)) return;
    std::unordered_map<std::string_view, std::size_t> states;
    for (std::size_t s = 0; s < node.states.size(); ++s) states.try_emplace(node.states[s].text, s);
    ClaimNumbers(static_cast<double>(numRows * node.states.size()));
    std::vector<double> values(numRows * node.states.size());
    for (std::size_t row = 0; row < numRows; ++row) {
      const auto state = states.find(words[row].text);
      if (state == states.end()) {
        problems_->Add(ROW_OF_UNKNOWN_STATE, words[row].line, {words[row].text, node.name.text});
        return;
      }
      values[row * node.states.size() + state->second] = 1;
    }
    node.values = std::move(values);
    node.table = TableState::Given;
  }

  void FillNoisyMax(pugi::xml_node element, NodeDescription& node) {
    const std::string owner = NamedElement(element.name(), node.name.text);
    const pugi::xml_node parameters = file_.OnlyChild(element, "parameters", owner);
    const pugi::xml_node strengths =
        node.parents.empty() ? pugi::xml_node() : file_.OnlyChild(element, "strengths", owner);
    node.table = TableState::Broken;
    node.tableLine = file_.LineOf(parameters);
    std::vector<std::size_t> shape;
    NoisyMax model;
    model.numStates = static_cast<int>(node.states.size());
    std::vector<int> lines;
    if (!parameters || (!strengths && !node.parents.empty()) ||
        !file_.ReadNumbers(parameters, owner, std::max<std::size_t>(node.states.size(), 1), &model.parameters,
                           &lines) ||
        !FindShape(node, &shape) || !ReadStrengths(strengths, owner, node, shape, &model)) {
      return;
    }
    const std::size_t numColumns = std::accumulate(shape.begin(), shape.end(), std::size_t{1});
    if (!HasEntries(parameters, owner, model.parameters.size(), numColumns * node.states.size())) return;
    for (std::size_t column = 0; column < numColumns; ++column) {
      if (!IsDistribution(&model.parameters[column * node.states.size()], node.states.size())) {
        problems_->Add(BAD_PARAMETERS, lines[column], {owner, std::to_string(column + 1)});
        return;
      }
    }
    node.values = NoisyMaxTable(model);
    node.table = TableState::Given;
  }

  bool ReadStrengths(pugi::xml_node element, const std::string& owner, const NodeDescription& node,
                     const std::vector<std::size_t>& shape, NoisyMax* model) {
    std::vector<double> numbers;
    std::vector<int> lines;
    if (!file_.ReadNumbers(element, owner, 1, &numbers, &lines) ||
        !HasEntries(element, owner, numbers.size(), std::accumulate(shape.begin(), shape.end(), std::size_t{0}))) {
      return false;
    }
    std::size_t at = 0;
    for (std::size_t k = 0; k < shape.size(); ++k) {
      std::vector<bool> seen(shape[k]);
      std::vector<int>& order = model->strengths.emplace_back();
      for (std::size_t i = 0; i < shape[k]; ++i, ++at) {
        const double state = numbers[at];
        if (!(state >= 0 && state < static_cast<double>(shape[k])) || state != std::floor(state) ||
            seen[static_cast<std::size_t>(state)]) {
          problems_->Add(BAD_STRENGTHS, lines[at], {owner, node.parents[k].text});
          return false;
        }
        seen[static_cast<std::size_t>(state)] = true;
        order.push_back(static_cast<int>(state));
      }
    }
    return true;
  }

  static bool IsDistribution(const double* column, std::size_t size) {
    const auto isProbability = [](double p) { return p >= 0 && p <= 1; };
    return std::all_of(column, column + size, isProbability) &&
           std::abs(std::accumulate(column, column + size, 0.0) - 1) <= NEAR_SUM;
  }

  void ReadSum(pugi::xml_node element, const std::string& owner) {
    Sum sum{element.attribute("id").value(), owner, element, {}, {}};
    if (element.child("expression")) {
      file_.Report(NOT_REPRESENTED, element.child("expression"), {"the expression of " + owner});
      return;
    }
    const pugi::xml_node parents = file_.OnlyChild(element, "parents", owner);
    const pugi::xml_node weights = file_.OnlyChild(element, "weights", owner);
    if (!parents || !weights) return;
    sum.parents = file_.WordsIn(parents);
    std::vector<int> lines;
    if (!file_.ReadNumbers(weights, owner, 1, &sum.weights, &lines) ||
        !HasEntries(weights, owner, sum.weights.size(), sum.parents.size())) {
      return;
    }
    sums_.push_back(std::move(sum));
  }

  // Utilities add up by themselves, so a weighted sum is no node of ours: its weights go into the tables. Sums of sums
  // are gone through from the outermost inward.
  void WeighUtilities() {
    std::unordered_map<std::string_view, std::size_t> numbers;
    std::vector<int> numMentions(sums_.size());
    for (std::size_t i = 0; i < sums_.size(); ++i) {
      const auto [first, isNew] = numbers.try_emplace(sums_[i].name, i);
      const int node = index_.Find(sums_[i].name);
      if (isNew && node < 0) continue;
      const int line =
          node < 0 ? file_.LineOf(sums_[first->second].element) : net_->nodes[static_cast<std::size_t>(node)].name.line;
      file_.Report(DOUBLED_NODE, sums_[i].element,
                   {sums_[i].name, std::to_string(line), std::to_string(file_.LineOf(sums_[i].element))});
    }
    for (const Sum& sum : sums_) {
      for (const Word& parent : sum.parents) {
        if (const auto found = numbers.find(parent.text); found != numbers.end()) ++numMentions[found->second];
      }
    }
    std::vector<double> weights(net_->nodes.size()), sumWeights(sums_.size());
    std::vector<bool> isWeighted(net_->nodes.size());
    std::vector<std::size_t> ready;
    for (std::size_t i = 0; i < sums_.size(); ++i) {
      if (numMentions[i] > 0) continue;
      sumWeights[i] = 1;
      ready.push_back(i);
    }
    std::size_t numDone = 0;
    for (; numDone < ready.size(); ++numDone) {
      const std::size_t at = ready[numDone];
      const Sum& sum = sums_[at];
      file_.Report(WEIGHTS_MULTIPLIED, sum.element, {sum.owner});
      for (std::size_t k = 0; k < sum.parents.size(); ++k) {
        const double weight = sumWeights[at] * sum.weights[k];
        if (const auto found = numbers.find(sum.parents[k].text); found != numbers.end()) {
          sumWeights[found->second] += weight;
          if (--numMentions[found->second] == 0) ready.push_back(found->second);
          continue;
        }
        const int node = index_.Find(sum.parents[k].text);
        if (node < 0 || net_->nodes[static_cast<std::size_t>(node)].kind != Kind::Utility) {
          problems_->Add(NO_UTILITY, sum.parents[k].line, {sum.owner, sum.parents[k].text});
          continue;
        }
        weights[static_cast<std::size_t>(node)] += weight;
        isWeighted[static_cast<std::size_t>(node)] = true;
      }
    }
    for (std::size_t i = 0; i < sums_.size() && numDone < sums_.size(); ++i) {
      if (numMentions[i] > 0) file_.Report(CYCLE_OF_LINKS, sums_[i].element, {"through " + sums_[i].owner});
    }
    for (std::size_t i = 0; i < net_->nodes.size(); ++i) {
      if (!isWeighted[i]) continue;
      for (double& value : net_->nodes[i].values) value *= weights[i];
    }
  }

  // What a drawing program adds stands at any depth of its submodels.
  void ReadGenie(pugi::xml_node genie) {
    net_->title = Unescaped(genie.attribute("name").value());
    net_->comment = Unescaped(file_.TextOf(genie.child("comment")).text);
    std::vector<pugi::xml_node> open{genie};
    while (!open.empty()) {
      const pugi::xml_node parent = open.back();
      open.pop_back();
      for (pugi::xml_node element : parent) {
        if (Is(element, "submodel")) open.push_back(element);
        if (Is(element, "node")) ReadLook(element);
      }
    }
  }

  void ReadLook(pugi::xml_node element) {
    const int found = index_.Find(element.attribute("id").value());
    if (found < 0) return;
    NodeDescription& node = net_->nodes[static_cast<std::size_t>(found)];
    std::string title = Unescaped(file_.TextOf(element.child("name")).text);
    (IsOriginalOf(title, node.name.text, NODE_LETTER) ? node.spelling : node.title) = std::move(title);
    node.comment = Unescaped(file_.TextOf(element.child("comment")).text);
    const pugi::xml_node position = element.child("position");
    if (!position) return;
    const std::vector<Word> edges = file_.WordsIn(position);  // left, top, right, bottom
    std::vector<double> numbers;
    for (const Word& edge : edges) {
      const std::optional<double> number = ReadNumber(edge.text);
      if (number && std::isfinite(*number)) numbers.push_back(*number);
    }
    if (edges.size() == 4 && numbers.size() == 4) {
      node.position = {(numbers[0] + numbers[2]) / 2, (numbers[1] + numbers[3]) / 2};
    } else {
      file_.Report(LEFT_OUT, position, {"the position of " + NamedElement("node", node.name.text)});
    }
  }

  XmlFile file_;
  NetDescription* net_;
  Problems* problems_;
  NodeIndex index_;
  std::vector<Made> made_;
  std::vector<Sum> sums_;
};

}  // namespace

void ReadXdsl(std::string* text, NetDescription* net, Problems* problems) {
  Reader(*text, net, problems).Read();
}

}  // namespace formats
