// The format of the UAI competitions: numbers alone. "BAYES", the numbers of states, for each table its variables with
// the child last, then the tables, the last variable fastest. Variables become nodes "X0", "X1" ..., and are written in
// the order of these names where a net has just these.
#include "formats/Uai.h"

#include <algorithm>

#include "formats/Formats.h"
#include "formats/NodeIndex.h"
#include "formats/NumberText.h"
#include "formats/Tokenizer.h"

namespace formats {
namespace {

constexpr Grammar GRAMMAR = {.punctuation = "", .separators = "", .lineComment = '#', .quotes = false};

std::string Number(std::size_t number) {
  return std::to_string(number);
}

class UaiReader {
 public:
  UaiReader(const std::string& text, NetDescription* net, Problems* problems)
      : tokens_(text, GRAMMAR, problems), limit_(text.size()), net_(*net), problems_(*problems) {}
  void Read();

 private:
  std::optional<int> TakeCount(std::string_view wanted);
  bool ReadVariables();
  bool ReadScopes();
  bool ReadTables();

  Tokenizer tokens_;
  const std::size_t limit_;  // of the numbers of states together: each of them has a number in a table
  NetDescription& net_;
  Problems& problems_;
  std::vector<int> children_;  // of each table; -1 where it has none of its own
};

// A number of 0 or more that has to stand here.
std::optional<int> UaiReader::TakeCount(std::string_view wanted) {
  const Token& token = tokens_.Peek();
  const auto count = token.kind == Token::Word ? ReadCount(token.text) : std::nullopt;
  if (!count) {
    tokens_.Refuse(wanted);
    return std::nullopt;
  }
  tokens_.Take();
  return count;
}

bool UaiReader::ReadVariables() {
  const auto count = TakeCount("the number of variables");
  if (!count) return false;
  std::size_t numStates = 0;
  for (int i = 0; i < *count; ++i) {
    NodeDescription node;
    node.name = {"X" + Number(i), tokens_.Peek().line};
    const auto states = TakeCount("a number of states");
    if (!states) return false;
    numStates += static_cast<std::size_t>(*states);
    if (numStates > limit_) {  // the tables would be longer than the file
      problems_.Add(TABLE_TOO_LARGE, node.name.line, {node.name.text});
      return false;
    }
    for (int j = 0; j < *states; ++j) node.states.push_back({"s" + Number(j), node.name.line});
    net_.nodes.push_back(std::move(node));
  }
  return true;
}

bool UaiReader::ReadScopes() {
  const auto count = TakeCount("the number of tables");
  if (!count) return false;
  const int numVariables = static_cast<int>(net_.nodes.size());
  std::vector<int> numTables(numVariables, 0);
  for (int i = 0; i < *count; ++i) {
    const int line = tokens_.Peek().line;
    const auto size = TakeCount("a table's number of variables");
    if (!size) return false;
    std::vector<int> scope;
    for (int j = 0; j < *size; ++j) {
      const auto variable = TakeCount("a variable");
      if (!variable) return false;
      scope.push_back(*variable);
      if (*variable < numVariables) continue;
      problems_.Add(NO_SUCH_VARIABLE, line, {Number(*variable), Number(numVariables)});
      return false;
    }
    children_.push_back(scope.empty() ? -1 : scope.back());
    if (scope.empty()) continue;
    NodeDescription& child = net_.nodes[scope.back()];
    if (++numTables[scope.back()] > 1) children_.back() = -1;
    if (numTables[scope.back()] > 1) continue;
    child.relationLine = line;
    scope.pop_back();
    for (int parent : scope) child.parents.push_back({net_.nodes[parent].name.text, line});
  }
  for (int i = 0; i < numVariables; ++i) {
    if (numTables[i] == 1) continue;
    const NodeDescription& node = net_.nodes[i];
    problems_.Add(CHILD_WITHOUT_ONE_TABLE, numTables[i] ? node.relationLine : node.name.line,
                  {Number(i), Number(numTables[i])});
  }
  return true;
}

bool UaiReader::ReadTables() {
  for (int child : children_) {
    const int line = tokens_.Peek().line;
    const auto count = TakeCount("a table's number of entries");
    if (!count) return false;
    std::vector<double> values;
    std::vector<int> lines;
    for (int i = 0; i < *count; ++i) {
      const Token token = tokens_.Peek();
      const auto value = token.kind == Token::Word ? ReadNumber(token.text) : std::nullopt;
      if (!value)
        return tokens_.Refuse("a number of " + Number(*count) + " in the table that begins in line " + Number(line));
      tokens_.Take();
      values.push_back(*value);
      lines.push_back(token.line);
    }
    if (child < 0) continue;
    NodeDescription& node = net_.nodes[child];
    node.table = TableState::Given;
    node.tableLine = line;
    node.values = std::move(values);
    const std::size_t perRow = node.states.size();
    for (std::size_t at = 0; perRow > 0 && at < lines.size(); at += perRow) node.rowLines.push_back(lines[at]);
    if (lines.size() != node.rowLines.size() * perRow) node.rowLines.clear();
  }
  return true;
}

void UaiReader::Read() {
  if (tokens_.Peek().IsWord("MARKOV")) return problems_.Add(MARKOV_FIELD, tokens_.Peek().line);
  if (!tokens_.TakeIfWord("BAYES")) {
    tokens_.Refuse("BAYES");
    return;
  }
  if (!ReadVariables() || !ReadScopes() || !ReadTables()) return net_.nodes.clear();  // what is missing says no more
  if (tokens_.Peek().kind != Token::End) problems_.Add(MORE_AFTER_END, tokens_.Peek().line, {tokens_.Peek().text});
}

// The nodes in the order in which they are written: by their names where these are X0, X1 ...
std::vector<int> WrittenOrder(const NetDescription& net) {
  const NodeIndex index(net);
  std::vector<int> byName, byPlace;
  for (int i = 0; i < static_cast<int>(net.nodes.size()); ++i) {
    byPlace.push_back(i);
    byName.push_back(index.Find("X" + Number(i)));
  }
  return std::find(byName.begin(), byName.end(), -1) == byName.end() ? byName : byPlace;
}

void WriteTable(const NodeDescription& node, std::string* text) {
  *text += "\n" + Number(node.values.size()) + "\n";
  for (std::size_t i = 0; i < node.values.size(); ++i) {
    *text += ' ';
    AppendFloat(node.values[i], text);
    if ((i + 1) % node.states.size() == 0) *text += '\n';
  }
}

}  // namespace

bool HasUaiNames(const NetDescription& net) {
  for (const NodeDescription& node : net.nodes) {
    for (std::size_t i = 0; i < node.states.size(); ++i) {
      if (node.states[i].text != "s" + Number(i)) return false;
    }
  }
  const NodeIndex index(net);
  for (std::size_t i = 0; i < net.nodes.size(); ++i) {
    if (index.Find("X" + Number(i)) < 0) return false;
  }
  return true;
}

void ReadUai(std::string* text, NetDescription* net, Problems* problems) {
  UaiReader(*text, net, problems).Read();
}

void WriteUai(const NetDescription& net, std::string* text) {
  const NodeIndex index(net);
  const std::vector<int> order = WrittenOrder(net);
  std::vector<int> numbers(order.size());  // of each node, as written
  for (std::size_t i = 0; i < order.size(); ++i) numbers[order[i]] = static_cast<int>(i);
  const std::string count = Number(order.size());
  *text += "BAYES\n" + count + "\n";
  for (std::size_t i = 0; i < order.size(); ++i) *text += (i ? " " : "") + Number(net.nodes[order[i]].states.size());
  *text += "\n" + count + "\n";
  for (int number : order) {
    const NodeDescription& node = net.nodes[number];
    *text += Number(node.parents.size() + 1);
    for (const Word& parent : node.parents) *text += " " + Number(numbers[index.Find(parent.text)]);
    *text += " " + Number(numbers[number]) + "\n";
  }
  for (int number : order) WriteTable(net.nodes[number], text);
}

}  // namespace formats
