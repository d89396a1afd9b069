// Reads the interchange format BIF, version 0.15: variables with their states, probabilities as rows that name the
// parents' states or as one table. Words may be quoted; commas and the bar are blanks.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "formats/Formats.h"
#include "formats/MemoryLimit.h"
#include "formats/NetBuilder.h"
#include "formats/NodeIndex.h"
#include "formats/NumberText.h"
#include "formats/Properties.h"
#include "formats/TableCheck.h"
#include "formats/Tokenizer.h"

namespace formats {
namespace {

constexpr Grammar GRAMMAR = {.punctuation = "{}()[];", .separators = ",|", .slashComments = true};
std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\n"), last = text.find_last_not_of(" \t\n");
  return first == std::string_view::npos ? std::string_view() : text.substr(first, last - first + 1);
}

// A property that is quoted as a whole stands for what is in the quotes.
std::string PropertyText(std::string_view text) {
  const bool hasQuotes = text.size() >= 2 && text.front() == '"' && text.back() == '"';
  if (!hasQuotes) return std::string(text);
  const std::string inside = Token{Token::Quoted, text.substr(1, text.size() - 2), 0}.Unquoted();
  return QuotedText(inside) == text ? inside : std::string(text);
}

// The rows of one node's block, in the order of the file.
struct Rows {
  std::vector<int> numbers, lines;
  std::vector<double> values, defaults;
  int defaultLine = 0;
  bool isBroken = false;  // some row was refused
};

class BifReader {
 public:
  BifReader(std::string_view text, NetDescription* net, Problems* problems)
      : tokens_(text, GRAMMAR, problems), net_(*net), problems_(*problems) {}
  void Read();

 private:
  void ReadNetwork();
  void ReadVariable();
  bool ReadType(NodeDescription* node);
  void ReadProbability();
  void ReadBlock(NodeDescription* node, int line);
  bool ReadNumbers(std::vector<double>* values);
  bool ReadRow(const NodeDescription& node, Rows* rows);
  void ReadDefault(const NodeDescription& node, int line, Rows* rows);
  void ReadTable(NodeDescription* relation, const NodeDescription& node, int line);
  void TakeRows(NodeDescription* relation, const NodeDescription& node, const Rows& rows);
  bool IsMissingRows(const NodeDescription& node, const Rows& rows, const std::vector<int>& order, int line);
  bool FindParents(const NodeDescription& relation);
  std::string TakePropertyText();
  void SkipToBlockEnd();
  bool BeginBlock();

  Tokenizer tokens_;
  NetDescription& net_;
  Problems& problems_;
  NodeIndex index_;
  std::vector<Tokenizer::Place> postponed_;  // blocks of probabilities before their variables
  bool postpones_ = true;
  std::vector<const NodeDescription*> parents_;  // of the block being read
  std::vector<int> lastStates_;                  // of each parent the state of the row before
  int numRows_ = 0;                              // -1: too many
};

void BifReader::Read() {
  const auto readBlocks = [this](bool isOne) {
    do {
      if (tokens_.TakeIfWord("network")) {
        ReadNetwork();
      } else if (tokens_.TakeIfWord("variable")) {
        ReadVariable();
      } else if (tokens_.Peek().IsWord("probability")) {
        ReadProbability();
      } else if (tokens_.Peek().kind != Token::End) {
        tokens_.Refuse("network, variable or probability");
        SkipToBlockEnd();
      }
    } while (!isOne && tokens_.Peek().kind != Token::End);
  };
  readBlocks(false);
  postpones_ = false;
  for (const Tokenizer::Place& place : postponed_) {
    tokens_.GoTo(place);
    readBlocks(true);
  }
}

void BifReader::SkipToBlockEnd() {
  while (tokens_.Peek().kind != Token::End && !tokens_.Peek().Is('{')) tokens_.Take();
  if (tokens_.TakeIf('{')) tokens_.SkipBlock();
}

// Up to the brace that opens the block; what else stands there is refused, and the block skipped.
bool BifReader::BeginBlock() {
  if (tokens_.Expect('{')) return true;
  SkipToBlockEnd();
  return false;
}

// Behind the word "property".
std::string BifReader::TakePropertyText() {
  if (tokens_.TakeIf(';')) return {};
  if (const auto text = tokens_.TakeRaw(';')) return PropertyText(Trimmed(*text));
  tokens_.Refuse("\";\"");
  while (tokens_.Peek().kind != Token::End) tokens_.Take();
  return {};
}

void BifReader::ReadNetwork() {
  const int line = tokens_.Peek().line;
  net_.name.line = line;
  while (tokens_.Peek().IsName()) {
    if (!net_.name.text.empty()) net_.name.text += ' ';
    net_.name.text += tokens_.Take().Unquoted();
  }
  if (!BeginBlock()) return;
  while (!tokens_.TakeIf('}')) {
    if (tokens_.Peek().kind == Token::End) return problems_.Add(UNCLOSED_BLOCK, line, {"block"});
    if (tokens_.TakeIfWord("property")) {
      for (const std::string& text : LinesOf(TakePropertyText())) AddLine(net_.comment, text);
    } else if (!tokens_.TakeIf(';')) {
      tokens_.Refuse("property or \"}\"");
      tokens_.SkipStatement();
    }
  }
}

void BifReader::ReadVariable() {
  NodeDescription node;
  const int line = tokens_.Peek().line;
  if (tokens_.Peek().IsName()) {
    node.name = ToWord(tokens_.Take());
  } else {
    tokens_.Refuse("a variable's name");
  }
  if (!BeginBlock()) return;
  while (!tokens_.TakeIf('}')) {
    if (tokens_.Peek().kind == Token::End) return problems_.Add(UNCLOSED_BLOCK, line, {"block"});
    if (tokens_.TakeIfWord("property")) {
      TakeProperty(node, TakePropertyText());
    } else if (tokens_.TakeIfWord("type")) {
      if (!ReadType(&node)) tokens_.SkipStatement();
    } else if (!tokens_.TakeIf(';')) {
      tokens_.Refuse("type, property or \"}\"");
      tokens_.SkipStatement();
    }
  }
  index_.Add(node.name.text);
  net_.nodes.push_back(std::move(node));
}

// Behind the word "type". Answers false where the statement is to be skipped.
bool BifReader::ReadType(NodeDescription* node) {
  if (tokens_.TakeIfWord("continuous")) {
    node->continuous = true;
    return false;
  }
  if (!tokens_.TakeIfWord("discrete")) return tokens_.Refuse("discrete");
  std::string count;
  if (tokens_.TakeIf('[')) {
    count = tokens_.Take().text;
    if (!ReadCount(count)) {
      problems_.Add(NO_NUMBER, tokens_.Peek().line, {count});
      count.clear();
    }
    if (!tokens_.Expect(']')) return false;
  }
  tokens_.TakeIfWord("=");
  const int line = tokens_.Peek().line;
  if (!tokens_.Expect('{')) return false;
  while (tokens_.Peek().IsName()) node->states.push_back(ToWord(tokens_.Take()));
  if (!tokens_.Expect('}')) {
    if (tokens_.Peek().kind != Token::End) tokens_.SkipBlock();
    return false;
  }
  tokens_.TakeIf(';');
  const int listed = static_cast<int>(node->states.size());
  if (!count.empty() && *ReadCount(count) != listed)
    problems_.Add(STATES_COUNTED_WRONG, line, {node->name.text, count, std::to_string(listed)});
  return true;
}

bool BifReader::FindParents(const NodeDescription& relation) {
  parents_.clear();
  for (const Word& parent : relation.parents) {
    const int number = index_.Find(parent.text);
    if (number < 0) return false;
    parents_.push_back(&net_.nodes[number]);
  }
  lastStates_.assign(parents_.size(), 0);
  return true;
}

void BifReader::ReadProbability() {
  const Tokenizer::Place start = tokens_.Here();
  const int line = tokens_.Take().line;
  NodeDescription relation;
  if (!tokens_.Expect('(') || (!tokens_.Peek().IsName() && !tokens_.Refuse("a variable's name"))) {
    return SkipToBlockEnd();
  }
  relation.name = ToWord(tokens_.Take());
  while (tokens_.Peek().IsName()) relation.parents.push_back(ToWord(tokens_.Take()));
  if (!tokens_.Expect(')')) return SkipToBlockEnd();
  if (!BeginBlock()) return;
  const bool knowsParents = FindParents(relation);
  const int number = index_.Find(relation.name.text);
  if ((number < 0 || !knowsParents) && postpones_) {
    postponed_.push_back(start);
    return tokens_.SkipBlock();
  }
  if (number < 0) {
    problems_.Add(UNKNOWN_NODE, relation.name.line, {relation.name.text});
    return tokens_.SkipBlock();
  }
  relation.relationLine = line;
  NodeDescription& node = net_.nodes[number];
  const int perRow = static_cast<int>(node.states.size());
  numRows_ = CountRows(parents_, std::max(perRow, 1));
  if (!knowsParents || numRows_ < 0) {  // of unknown parents the builder tells
    relation.table = TableState::Broken;
    if (numRows_ < 0) problems_.Add(TABLE_TOO_LARGE, line, {node.name.text});
    tokens_.SkipBlock();
  } else {
    ReadBlock(&relation, line);
  }
  AddRelation(&node, std::move(relation), &problems_);
}

void BifReader::ReadBlock(NodeDescription* relation, int line) {
  NodeDescription& node = net_.nodes[index_.Find(relation->name.text)];
  Rows rows;
  while (!tokens_.TakeIf('}')) {
    const Token& token = tokens_.Peek();
    if (token.kind == Token::End) return problems_.Add(UNCLOSED_BLOCK, line, {"block"});
    const int statementLine = token.line;
    if (token.Is('(')) {
      if (!ReadRow(node, &rows)) tokens_.SkipStatement();
    } else if (tokens_.TakeIfWord("table")) {
      ReadTable(relation, node, statementLine);
    } else if (tokens_.TakeIfWord("default")) {
      ReadDefault(node, statementLine, &rows);
      relation->tableLine = relation->tableLine > 0 ? relation->tableLine : statementLine;
    } else if (tokens_.TakeIfWord("property")) {
      TakeProperty(node, TakePropertyText());
    } else if (!tokens_.TakeIf(';')) {
      tokens_.Refuse("a row, table, default, property or \"}\"");
      tokens_.SkipStatement();
    }
  }
  const bool hasRows = !rows.numbers.empty() || !rows.defaults.empty();
  if (rows.isBroken) {
    relation->table = TableState::Broken;
  } else if (hasRows && relation->table == TableState::Given) {
    const auto [first, second] =
        std::minmax({relation->tableLine, rows.lines.empty() ? rows.defaultLine : rows.lines[0]});
    problems_.Add(DOUBLED_TABLE, second, {node.name.text, std::to_string(first), std::to_string(second)});
  } else if (hasRows) {
    TakeRows(relation, node, rows);
  }
}

// Up to the ";".
bool BifReader::ReadNumbers(std::vector<double>* values) {
  while (tokens_.Peek().kind == Token::Word) {
    const Token token = tokens_.Take();
    if (const auto value = ReadNumber(token.text)) {
      values->push_back(*value);
    } else {
      problems_.Add(NO_NUMBER, token.line, {token.text});
      values->push_back(0);
    }
  }
  if (tokens_.Peek().Is('}') || tokens_.TakeIf(';')) return true;
  tokens_.Expect(';');
  tokens_.SkipStatement();
  return false;
}

// "(a, b) 0.1, 0.9;": a row that is counted from the states that it names.
bool BifReader::ReadRow(const NodeDescription& node, Rows* rows) {
  const int line = tokens_.Take().line, numParents = static_cast<int>(parents_.size());
  int row = 0, named = 0;
  bool known = true;
  for (; tokens_.Peek().IsName(); ++named) {
    const Word word = ToWord(tokens_.Take());
    if (named >= numParents) continue;
    const std::vector<Word>& states = parents_[named]->states;
    const int count = static_cast<int>(states.size());
    int tried = 0, state = lastStates_[named];  // rows mostly follow one another
    for (; tried < count && states[state].text != word.text; ++tried) state = state + 1 == count ? 0 : state + 1;
    if (tried == count) {
      problems_.Add(ROW_OF_UNKNOWN_STATE, word.line, {word.text, parents_[named]->name.text});
      known = false;
      continue;
    }
    lastStates_[named] = state;
    row = row * count + state;
  }
  if (!tokens_.Expect(')')) {
    rows->isBroken = true;
    return false;
  }
  if (named != numParents) {
    problems_.Add(ROW_OF_WRONG_LENGTH, line, {node.name.text, std::to_string(named), std::to_string(numParents)});
    rows->isBroken = true;
    return false;
  }
  const std::size_t before = rows->values.size(), perRow = node.states.size();
  if (!ReadNumbers(&rows->values)) known = false;
  const std::size_t count = rows->values.size() - before;
  if (count != perRow && known)
    problems_.Add(WRONG_ROW_COUNT, line, {node.name.text, std::to_string(count), std::to_string(perRow)});
  if (count != perRow || !known) {
    rows->isBroken = true;
    rows->values.resize(before);
    return true;
  }
  rows->numbers.push_back(row);
  rows->lines.push_back(line);
  return true;
}

// Whether a table, one node's states slowest, has rows that sum to 1 when it is read the other way.
bool SumsToOne(const std::vector<double>& values, int rows, int perRow, bool isOwnFastest) {
  for (int row = 0; row < rows; ++row) {
    double sum = 0;
    for (int state = 0; state < perRow; ++state)
      sum += values[isOwnFastest ? static_cast<std::size_t>(row) * perRow + state
                                 : static_cast<std::size_t>(state) * rows + row];
    if (!(std::fabs(sum - 1) <= NEAR_SUM)) return false;
  }
  return true;
}

// Behind the word "default": the row for all configurations that are not named.
void BifReader::ReadDefault(const NodeDescription& node, int line, Rows* rows) {
  std::vector<double> values;
  if (!ReadNumbers(&values)) {
    rows->isBroken = true;
  } else if (values.size() != node.states.size()) {
    problems_.Add(WRONG_ROW_COUNT, line,
                  {node.name.text, std::to_string(values.size()), std::to_string(node.states.size())});
    rows->isBroken = true;
  } else if (!rows->defaults.empty()) {
    problems_.Add(values == rows->defaults ? SAME_ROW_TWICE : DOUBLED_ROW, line,
                  {node.name.text, std::to_string(rows->defaultLine)});
  } else {
    rows->defaults = std::move(values);
    rows->defaultLine = line;
  }
}

// Behind the word "table": the node's own states slowest, the last parent fastest.
void BifReader::ReadTable(NodeDescription* relation, const NodeDescription& node, int line) {
  const int perRow = static_cast<int>(node.states.size());
  if (relation->table == TableState::Given)
    problems_.Add(DOUBLED_TABLE, line, {node.name.text, std::to_string(relation->tableLine), std::to_string(line)});
  relation->table = TableState::Given;
  relation->tableLine = line;
  std::vector<double> values;
  ReadNumbers(&values);
  if (parents_.empty() || values.size() != static_cast<std::size_t>(numRows_) * perRow) {
    relation->values = std::move(values);  // where they are too many or too few, the builder tells
    return;
  }
  if (!SumsToOne(values, numRows_, perRow, false) && SumsToOne(values, numRows_, perRow, true)) {
    problems_.Add(TABLE_OTHER_WAY_ROUND, line, {node.name.text});
    relation->values = std::move(values);
    return;
  }
  relation->values.resize(values.size());
  for (int state = 0; state < perRow; ++state) {
    for (int row = 0; row < numRows_; ++row)
      relation->values[static_cast<std::size_t>(row) * perRow + state] =
          values[static_cast<std::size_t>(state) * numRows_ + row];
  }
}

// Reports rows given twice, and rows that are missing; order: the rows' places in the file, sorted by their numbers.
bool BifReader::IsMissingRows(const NodeDescription& node, const Rows& rows, const std::vector<int>& order, int line) {
  const std::size_t perRow = node.states.size();
  int distinct = 0, firstMissing = 0;
  for (std::size_t i = 0; i < order.size(); ++i) {
    const int row = rows.numbers[order[i]];
    if (i == 0 || row != rows.numbers[order[i - 1]]) {
      firstMissing += row == firstMissing;
      ++distinct;
      continue;
    }
    const auto first = rows.values.begin() + static_cast<std::ptrdiff_t>(order[i - 1] * perRow);
    const auto second = rows.values.begin() + static_cast<std::ptrdiff_t>(order[i] * perRow);
    const bool same = std::equal(first, first + static_cast<std::ptrdiff_t>(perRow), second);
    problems_.Add(same ? SAME_ROW_TWICE : DOUBLED_ROW, rows.lines[order[i]],
                  {node.name.text, std::to_string(rows.lines[order[i - 1]])});
  }
  if (distinct == numRows_ || !rows.defaults.empty()) return false;
  problems_.Add(
      MISSING_ROWS, line,
      {std::to_string(numRows_ - distinct), std::to_string(numRows_), node.name.text, RowName(firstMissing, parents_)});
  return true;
}

// Rows mostly stand in the file as they do in tables; else they are brought there.
void BifReader::TakeRows(NodeDescription* relation, const NodeDescription& node, const Rows& rows) {
  const std::size_t perRow = node.states.size();
  std::vector<int> order(rows.numbers.size());
  std::iota(order.begin(), order.end(), 0);
  relation->table = TableState::Given;
  if (numRows_ > 0 && rows.numbers.size() == static_cast<std::size_t>(numRows_) && rows.numbers == order) {
    relation->tableLine = rows.lines[0];
    relation->values = rows.values;
    relation->rowLines = rows.lines;
    return;
  }
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return rows.numbers[a] < rows.numbers[b]; });
  if (IsMissingRows(node, rows, order, relation->relationLine)) {
    relation->table = TableState::Broken;
    return;
  }
  if (relation->tableLine == 0) relation->tableLine = rows.lines[0];
  ClaimNumbers(static_cast<double>(numRows_) * static_cast<double>(perRow));
  relation->rowLines.assign(numRows_, relation->tableLine);
  relation->values.reserve(numRows_ * perRow);
  std::size_t next = 0;
  for (int row = 0; row < numRows_; ++row) {
    const bool isGiven = next < order.size() && rows.numbers[order[next]] == row;
    const auto from =
        isGiven ? rows.values.begin() + static_cast<std::ptrdiff_t>(order[next] * perRow) : rows.defaults.begin();
    relation->values.insert(relation->values.end(), from, from + static_cast<std::ptrdiff_t>(perRow));
    if (isGiven) relation->rowLines[row] = rows.lines[order[next]];
    while (next < order.size() && rows.numbers[order[next]] == row) next++;
  }
}

}  // namespace

void ReadBif(std::string* text, NetDescription* net, Problems* problems) {
  BifReader(*text, net, problems).Read();
}

}  // namespace formats
