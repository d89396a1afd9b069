// The format NET, version 5 and later: blocks of attributes for the net, its nodes and their potentials. Attributes
// that mean nothing here are passed over.
#include <algorithm>
#include <cmath>

#include "formats/Formats.h"
#include "formats/Names.h"
#include "formats/NetBuilder.h"
#include "formats/NodeIndex.h"
#include "formats/NumberText.h"
#include "formats/TableCheck.h"
#include "formats/Tokenizer.h"

namespace formats {
namespace {

constexpr Grammar GRAMMAR = {.punctuation = "(){}=;|", .separators = ",", .lineComment = '%'};

// The items of an attribute's value, parentheses left out.
struct Value {
  std::vector<Token> items;

  std::string Text() const { return items.empty() ? "" : items[0].Unquoted(); }
};

class NetReader {
 public:
  NetReader(std::string_view text, NetDescription* net, Problems* problems)
      : tokens_(text, GRAMMAR, problems), net_(*net), problems_(*problems) {}
  void Read();

 private:
  void ReadBlock();
  void ReadNetBlock(bool isClass);
  void ReadNode(Kind kind, bool isContinuous);
  void ReadPotential();
  void RefuseBlock(const std::string& what);
  bool BeginBlock();
  void SkipToBlock();
  bool TakeAttribute(Token* name, Value* value);
  void SetNodeAttribute(const Token& name, const Value& value, NodeDescription* node, std::string* subtype);
  void SetLevels(const std::string& subtype, NodeDescription* node);
  std::vector<double> Numbers(const Value& value);
  template <class Visit>
  void ForEachAttribute(int line, Visit visit);

  Tokenizer tokens_;
  NetDescription& net_;
  Problems& problems_;
  std::vector<NodeDescription> relations_;
  bool hasClass_ = false;
};

void NetReader::Read() {
  while (tokens_.Peek().kind != Token::End) ReadBlock();
  const NodeIndex index(net_);
  for (NodeDescription& relation : relations_) {
    const int number = index.Find(relation.name.text);
    if (number < 0) {
      problems_.Add(UNKNOWN_NODE, relation.name.line, {relation.name.text});
      continue;
    }
    NodeDescription& node = net_.nodes[number];
    if (node.kind == Kind::Decision && relation.values.empty()) relation.table = TableState::None;
    const std::size_t perRow = node.kind == Kind::Utility ? 1 : node.states.size();
    // Until now lines are those of the numbers.
    std::vector<int> rowLines;
    for (std::size_t at = 0; perRow > 0 && at < relation.rowLines.size(); at += perRow)
      rowLines.push_back(relation.rowLines[at]);
    relation.rowLines = std::move(rowLines);
    if (relation.values.size() != relation.rowLines.size() * perRow) relation.rowLines.clear();
    AddRelation(&node, std::move(relation), &problems_);
  }
  for (NodeDescription& node : net_.nodes) {
    if (node.kind != Kind::Decision && node.table == TableState::None) node.table = TableState::Uniform;
  }
}

void NetReader::ReadBlock() {
  if (tokens_.TakeIfWord("net")) return ReadNetBlock(false);
  if (tokens_.TakeIfWord("class")) return hasClass_ ? RefuseBlock("one of several classes") : ReadNetBlock(true);
  if (tokens_.TakeIfWord("potential")) return ReadPotential();
  bool isContinuous = false;
  if (tokens_.TakeIfWord("continuous")) {
    isContinuous = true;
  } else {
    tokens_.TakeIfWord("discrete");
  }
  if (tokens_.TakeIfWord("node")) return ReadNode(Kind::Chance, isContinuous);
  if (tokens_.TakeIfWord("decision")) return ReadNode(Kind::Decision, isContinuous);
  if (tokens_.TakeIfWord("utility")) return ReadNode(Kind::Utility, false);
  if (tokens_.TakeIfWord("function")) return RefuseBlock("function node");
  if (tokens_.TakeIfWord("instance")) return RefuseBlock("instance of a class");
  if (tokens_.TakeIfWord("probability")) return RefuseBlock("probability block");
  tokens_.Refuse("net, node, decision, utility or potential");
  SkipToBlock();
}

// Behind the next block, or the next ";" before it.
void NetReader::SkipToBlock() {
  while (tokens_.Peek().kind != Token::End && !tokens_.Peek().Is('{') && !tokens_.Peek().Is(';')) tokens_.Take();
  if (tokens_.TakeIf('{')) {
    tokens_.SkipBlock();
  } else {
    tokens_.TakeIf(';');
  }
}

void NetReader::RefuseBlock(const std::string& what) {
  const Token& token = tokens_.Peek();
  problems_.Add(NOT_REPRESENTED, token.line, {what + (token.IsName() ? " '" + token.Unquoted() + "'" : "")});
  SkipToBlock();
}

bool NetReader::BeginBlock() {
  if (tokens_.Expect('{')) return true;
  SkipToBlock();
  return false;
}

// "name = value;", where a value is one word or a list in parentheses. Answers false where there is none; then nothing
// is visited, and the statement is skipped.
bool NetReader::TakeAttribute(Token* name, Value* value) {
  if (!tokens_.Peek().IsName()) return tokens_.Refuse("an attribute");
  *name = tokens_.Take();
  if (!tokens_.Expect('=')) return false;
  int depth = 0;
  for (;; tokens_.Take()) {
    const Token& token = tokens_.Peek();
    if (token.Is('(')) {
      ++depth;
    } else if (token.Is(')') && depth > 0) {
      --depth;
    } else if (token.IsName()) {
      value->items.push_back(token);
    } else if (!token.Is('=') && !token.Is('|')) {
      break;
    }
  }
  if (depth > 0) return tokens_.Refuse("\")\"");
  return tokens_.Expect(';');
}

// Calls visit(name, value) for each attribute of a block whose brace was taken.
template <class Visit>
void NetReader::ForEachAttribute(int line, Visit visit) {
  while (!tokens_.TakeIf('}')) {
    if (tokens_.Peek().kind == Token::End) return problems_.Add(UNCLOSED_BLOCK, line, {"block"});
    if (tokens_.TakeIf(';')) continue;
    Token name;
    Value value;
    if (TakeAttribute(&name, &value)) {
      visit(name, value);
    } else {
      tokens_.SkipStatement();
    }
  }
}

void NetReader::ReadNetBlock(bool isClass) {
  const int line = tokens_.Peek().line;
  if (tokens_.Peek().IsName()) net_.name = ToWord(tokens_.Take());
  if (!BeginBlock()) return;
  const auto setAttribute = [&](const Token& name, const Value& value) {
    if (name.text == "name") net_.name = {value.Text(), name.line};
    if (name.text == "label") net_.title = value.Text();
    if (name.text == "HR_Desc") net_.comment = value.Text();
  };
  if (!isClass) return ForEachAttribute(line, setAttribute);
  // A class has its nodes inside, and there is but one.
  hasClass_ = true;
  while (!tokens_.TakeIf('}')) {
    if (tokens_.Peek().kind == Token::End) return problems_.Add(UNCLOSED_BLOCK, line, {"block"});
    const Tokenizer::Place start = tokens_.Here();
    tokens_.Take();
    const bool isAttribute = tokens_.Peek().Is('=');
    tokens_.GoTo(start);
    Token name;
    Value value;
    if (!isAttribute) {
      ReadBlock();
    } else if (TakeAttribute(&name, &value)) {
      setAttribute(name, value);
    } else {
      tokens_.SkipStatement();
    }
  }
}

std::vector<double> NetReader::Numbers(const Value& value) {
  std::vector<double> numbers;
  numbers.reserve(value.items.size());
  for (const Token& item : value.items) {
    const auto number = ReadNumber(item.text);
    if (!number) problems_.Add(NO_NUMBER, item.line, {item.text});
    numbers.push_back(number.value_or(0));
  }
  return numbers;
}

void NetReader::SetNodeAttribute(const Token& name, const Value& value, NodeDescription* node, std::string* subtype) {
  if (name.text == "states") {
    node->states.clear();
    for (const Token& item : value.items) node->states.push_back(ToWord(item));
  } else if (name.text == "label" || name.text == "name") {
    node->title = value.Text();
  } else if (name.text == "HR_Desc") {
    node->comment = value.Text();
  } else if (name.text == "subtype") {
    *subtype = value.Text();
  } else if (name.text == "state_values") {
    node->levels = Numbers(value);
  } else if (name.text == "position" && value.items.size() == 2) {
    const std::vector<double> both = Numbers(value);
    if (std::isfinite(both[0]) && std::isfinite(both[1])) node->position = {both[0], both[1]};
  }
}

// Numbers of intervals make a node continuous; of other kinds of states they are levels.
void NetReader::SetLevels(const std::string& subtype, NodeDescription* node) {
  if (subtype == "interval" && !node->levels.empty()) {
    node->continuous = true;
  } else if (subtype != "number") {
    node->levels.clear();
  }
}

void NetReader::ReadNode(Kind kind, bool isContinuous) {
  NodeDescription node;
  const int line = tokens_.Peek().line;
  node.kind = kind;
  if (tokens_.Peek().IsName()) {
    node.name = ToWord(tokens_.Take());
  } else {
    tokens_.Refuse("a node's name");
  }
  if (!BeginBlock()) return;
  std::string subtype;
  ForEachAttribute(line,
                   [&](const Token& name, const Value& value) { SetNodeAttribute(name, value, &node, &subtype); });
  SetLevels(subtype, &node);
  if (isContinuous) {
    node.continuous = true;
    node.levels.clear();
  }
  // A label from which the name was made is the name's own spelling, and no title.
  if (IsOriginalOf(node.title, node.name.text, NODE_LETTER)) std::swap(node.spelling, node.title);
  net_.nodes.push_back(std::move(node));
}

void NetReader::ReadPotential() {
  NodeDescription relation;
  const int line = tokens_.Peek().line;
  relation.relationLine = line;
  if (!tokens_.Expect('(')) return SkipToBlock();
  std::vector<Word> children;
  while (tokens_.Peek().IsName()) children.push_back(ToWord(tokens_.Take()));
  if (tokens_.TakeIf('|')) {
    while (tokens_.Peek().IsName()) relation.parents.push_back(ToWord(tokens_.Take()));
  }
  if (!tokens_.Expect(')')) return SkipToBlock();
  if (children.size() != 1) {
    problems_.Add(NOT_REPRESENTED, line, {"a potential of " + std::to_string(children.size()) + " nodes"});
    return SkipToBlock();
  }
  relation.name = children[0];
  if (!BeginBlock()) return;
  bool isExpression = false;
  ForEachAttribute(line, [&](const Token& name, const Value& value) {
    if (name.text == "data") {
      if (relation.table == TableState::Given)
        problems_.Add(DOUBLED_TABLE, name.line,
                      {relation.name.text, std::to_string(relation.tableLine), std::to_string(name.line)});
      relation.table = TableState::Given;
      relation.tableLine = name.line;
      relation.values = Numbers(value);
      for (const Token& item : value.items) relation.rowLines.push_back(item.line);
    } else if (name.text == "experience") {
      relation.experience = Numbers(value);
    } else if (name.text == "model_data" || name.text == "model_nodes") {
      isExpression = true;
    }
  });
  if (relation.table == TableState::None && isExpression) {
    problems_.Add(EXPRESSION_WITHOUT_DATA, line, {relation.name.text});
    relation.table = TableState::Broken;
  }
  relations_.push_back(std::move(relation));
}

void WriteText(const char* name, const std::string& value, std::string* text) {
  if (value.empty()) return;
  *text += "    ";
  *text += name;
  *text += " = " + QuotedText(value) + ";\n";
}

void WriteLevels(const NodeDescription& node, std::string* text) {
  if (node.levels.empty()) return;
  *text +=
      node.continuous ? "    subtype = interval;\n    state_values = (" : "    subtype = number;\n    state_values = (";
  for (std::size_t i = 0; i < node.levels.size(); ++i) {
    if (i) *text += ' ';
    if (std::isinf(node.levels[i])) {
      *text += node.levels[i] < 0 ? "-infinity" : "infinity";
    } else {
      AppendDouble(node.levels[i], text);
    }
  }
  *text += ");\n";
}

void WriteNode(const NodeDescription& node, std::string* text) {
  const char* const word = node.kind == Kind::Decision  ? "decision "
                           : node.kind == Kind::Utility ? "utility "
                                                        : "node ";
  *text += word + node.name.text + "\n{\n";
  WriteText("label", node.title.empty() ? node.spelling : node.title, text);
  if (node.position) {
    *text += "    position = (";
    AppendDouble(node.position->first, text);
    *text += ' ';
    AppendDouble(node.position->second, text);
    *text += ");\n";
  }
  if (node.kind != Kind::Utility) {
    *text += "    states = (";
    for (std::size_t i = 0; i < node.states.size(); ++i) *text += (i ? " " : "") + QuotedText(node.states[i].text);
    *text += ");\n";
    WriteLevels(node, text);
  }
  WriteText("HR_Desc", node.comment, text);
  *text += "}\n";
}

// An attribute of numbers in nested parentheses, one pair around all that belongs to a state of a parent.
void WriteNested(const char* name, const std::vector<double>& values, std::vector<int> counts, std::string* text) {
  const std::size_t start = text->size();
  *text += std::string("    ") + name + " = ";
  const std::size_t column = text->size() - start;
  if (counts.empty()) counts.push_back(static_cast<int>(values.size()));
  const int depth = static_cast<int>(counts.size());
  std::vector<int> states(depth, 0);
  int opening = depth;
  for (double value : values) {
    if (opening > 0) {
      if (opening < depth) *text += "\n" + std::string(column + depth - opening, ' ');
      text->append(opening, '(');
    } else {
      *text += ' ';
    }
    AppendFloat(value, text);
    opening = 0;
    for (int i = depth - 1; i >= 0 && ++states[i] == counts[i]; --i) {
      states[i] = 0;
      ++opening;
    }
    text->append(opening, ')');
  }
  *text += ";\n";
}

void WritePotential(const NodeDescription& node, const NetDescription& net, const NodeIndex& index, std::string* text) {
  *text += "potential (" + node.name.text;
  std::vector<int> counts;
  for (const Word& parent : node.parents) {
    *text += (counts.empty() ? " | " : " ") + parent.text;
    counts.push_back(static_cast<int>(net.nodes[index.Find(parent.text)].states.size()));
  }
  *text += ")\n{\n";
  if (node.kind != Kind::Decision) {
    std::vector<int> entries = counts;
    if (node.kind == Kind::Chance) entries.push_back(static_cast<int>(node.states.size()));
    WriteNested("data", node.values, entries, text);
  }
  if (!node.experience.empty()) WriteNested("experience", node.experience, counts, text);
  *text += "}\n";
}

}  // namespace

void ReadNet(std::string* text, NetDescription* net, Problems* problems) {
  NetReader(*text, net, problems).Read();
}

void WriteNet(const NetDescription& net, std::string* text) {
  *text += "net\n{\n";
  WriteText("name", net.name.text, text);
  WriteText("label", net.title, text);
  WriteText("HR_Desc", net.comment, text);
  *text += "}\n";
  for (const NodeDescription& node : net.nodes) WriteNode(node, text);
  const NodeIndex index(net);
  for (const NodeDescription& node : net.nodes) WritePotential(node, net, index, text);
}

}  // namespace formats
