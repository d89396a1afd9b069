#include "Bn/files/TableWriter.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "Bn/model/Condition.h"
#include "Bn/model/Tables.h"

namespace bravic {
namespace {

constexpr int COLUMN = format::NUMBER_WIDTH + format::COLUMN_PADDING;

// The labels of the parents' states, and the label of the present configuration: one padded piece for each parent,
// of which a step to the next configuration rewrites the last ones.
class Conditions {
 public:
  Conditions(const NetPrinter& printer, std::span<const node_bn> parents) {
    for (const node_bn parent : parents) AddParent(*parent, printer.NameOf(*parent));
    text_.resize(length_);
    states_.resize(parents.size());
    for (int i = 0; i < columns_.size(); i++) Rewrite(i);
  }

  // To the next configuration, last parent fastest; after the last one, the first again.
  void Step() {
    for (int i = columns_.size(); i-- > 0;) {
      if (++states_[i] == columns_[i].numstates) states_[i] = 0;
      Rewrite(i);
      if (states_[i] != 0) return;
    }
  }
  // Number of parents at the end of the list that stand at their first or last state.
  int NumAtFirst() const {
    return NumAt([](const Column&) { return 0; });
  }
  int NumAtLast() const {
    return NumAt([](const Column& column) { return column.numstates - 1; });
  }
  std::string_view Text() const {
    return std::string_view(text_.data(), columns_.empty() ? 0 : columns_.back().offset + lastLength_);
  }
  int Width(int parent) const { return columns_[parent].width; }

 private:
  struct Label {
    int begin;  // in letters_
    int length;
  };
  struct Column {
    int firstLabel;  // in labels_
    int numstates;
    int width;   // of the longest label and a blank
    int offset;  // in text_
  };

  void AddParent(const bnode& parent, const char* name) {
    int longest = 0;
    const int firstLabel = labels_.size();
    for (int state = 0; state < parent.numstates; state++) {
      char buffer[128];
      const char* label = parent.states ? parent.states[state] : nullptr;
      if (HasIntervals(parent) || OrEmpty(label)[0] == 0)
        label = StateCondition(parent, name, state, buffer, sizeof buffer);
      const int begin = letters_.size();
      for (; *label; label++) {  // a line end would end the comment
        letters_.push_back(static_cast<unsigned char>(*label) < ' ' ? ' ' : *label);
      }
      labels_.push_back({begin, letters_.size() - begin});
      longest = std::max(longest, letters_.size() - begin);
    }
    columns_.push_back({firstLabel, parent.numstates, longest + 1, length_});
    length_ += longest + 1;
  }

  void Rewrite(int i) {
    const Column& column = columns_[i];
    const Label& label = labels_[column.firstLabel + states_[i]];
    char* const to = text_.data() + column.offset;
    std::memcpy(to, letters_.data() + label.begin, label.length);
    std::memset(to + label.length, ' ', static_cast<int>(column.width) - label.length);
    if (i + 1 == columns_.size()) lastLength_ = label.length;
  }

  template <class StateOf>
  int NumAt(StateOf stateOf) const {
    int n = 0;
    for (int i = columns_.size(); i-- > 0 && states_[i] == stateOf(columns_[i]);) n++;
    return n;
  }

  Vector<char> letters_;
  Vector<Label> labels_;
  Vector<Column> columns_;
  Vector<int> states_;
  Vector<char> text_;
  int length_ = 0, lastLength_ = 0;
};

// What is printed on each line.
struct TableForm {
  const bnode& node;
  long long numRows;
  int rowLength;      // entries printed in a row
  bool rowsAreLists;  // a row has parentheses of its own
};

// At least one blank, up to the width.
int Padding(int written, int width) {
  return std::clamp(width - written, 1, format::MAX_PADDING);
}

void PrintHeading(NetPrinter& printer, const TableForm& form, const Conditions& conditions, int depth, int tabs) {
  OutputChannel& out = printer.out;
  printer.Indent(tabs);
  out.Put("// ");
  out.PutRepeated(' ', depth - 3);  // entries begin after the parentheses
  if (form.rowsAreLists) {
    char number[16];
    for (int state = 0; state < form.node.numstates; state++) {
      const std::string_view name = printer.StateWord(form.node, state, number);
      out.Put(name);
      out.PutRepeated(' ', Padding(Count(name), COLUMN));
    }
  } else {
    out.PutRepeated(' ', COLUMN);
  }
  out.Put("// ");
  for (int i = 0; i < form.node.preds.num; i++) {
    const std::string_view name = printer.NameOf(*form.node.preds.ar[i]);
    out.Put(name);
    out.PutRepeated(' ', Padding(Count(name), conditions.Width(i)));
  }
  out.Put('\n');
}

// printEntry (index, at) writes the entry's text, at most NUMBER_TEXT_LEN characters, and answers its end.
template <class PrintEntry>
void PrintCommented(NetPrinter& printer, const TableForm& form, PrintEntry printEntry) {
  OutputChannel& out = printer.out;
  const int tabs = printer.indent + 1;
  const int ownLevel = form.rowsAreLists ? 1 : 0;
  const int depth = printer.options.flatTables ? 1 : form.node.preds.num + ownLevel;
  Conditions conditions(printer, Entries(form.node.preds));
  out.Put('\n');
  PrintHeading(printer, form, conditions, depth, tabs);
  for (long long row = 0; row < form.numRows; row++) {
    if (printer.work.Halts(40.0 * (form.rowLength + 1))) return;
    const bool isLast = row == form.numRows - 1;
    const int opened = printer.options.flatTables ? row == 0 : conditions.NumAtFirst() + ownLevel;
    const int closed = printer.options.flatTables ? isLast : conditions.NumAtLast() + ownLevel;
    printer.Indent(tabs);
    out.PutRepeated(' ', depth - opened);
    out.PutRepeated('(', opened);
    for (int i = 0; i < form.rowLength - 1; i++) {
      char* const start = out.Room(NUMBER_TEXT_LEN + COLUMN + 2);
      char* at = printEntry(row, i, start);
      *at++ = ',';
      std::memset(at, ' ', COLUMN);
      out.Advance(std::max(at + 1, start + COLUMN));
    }
    int width = 0;
    if (form.rowLength > 0) {
      char* const start = out.Room(NUMBER_TEXT_LEN);
      char* const end = printEntry(row, form.rowLength - 1, start);
      width = static_cast<int>(end - start);
      out.Advance(end);
    }
    out.PutRepeated(')', closed);
    out.Put(isLast ? ';' : ',');
    out.PutRepeated(' ', Padding(width + closed + 1, COLUMN));
    out.Put("// ");
    out.Put(conditions.Text());
    // The field's own ";" and line end come after the last comment, of which that ";" becomes a part.
    if (isLast) return;
    out.Put('\n');
    conditions.Step();
  }
}

template <class PrintEntry>
void PrintDense(NetPrinter& printer, const TableForm& form, PrintEntry printEntry) {
  OutputChannel& out = printer.out;
  const int ownLevel = form.rowsAreLists ? 1 : 0;
  Conditions conditions(printer, Entries(form.node.preds));
  out.Put('\n');
  printer.Indent(printer.indent + 1);
  for (long long row = 0; row < form.numRows; row++) {
    if (printer.work.Halts(40.0 * (form.rowLength + 1))) return;
    const bool isLast = row == form.numRows - 1;
    const int higher = conditions.NumAtLast();
    out.PutRepeated('(', printer.options.flatTables ? row == 0 : conditions.NumAtFirst() + ownLevel);
    for (int i = 0; i < form.rowLength; i++) {
      if (i) out.Put(", ");
      char* const start = out.Room(NUMBER_TEXT_LEN);
      char* end = printEntry(row, i, start);
      if (end - start > 1 && start[0] == '0' && start[1] == '.') {
        std::memmove(start, start + 1, static_cast<std::size_t>(end - start - 1));
        end--;
      }
      out.Advance(end);
    }
    out.PutRepeated(')', printer.options.flatTables ? isLast : higher + ownLevel);
    if (isLast) return;
    out.Put(',');
    conditions.Step();
    if (higher > 0) {
      out.Put('\n');
      printer.Indent(printer.indent + 1);
    } else if (printer.options.flatTables) {
      out.Put(' ');
    }
  }
}

template <class PrintEntry>
void PrintTable(NetPrinter& printer, const TableForm& form, PrintEntry printEntry) {
  if (printer.options.tableComments) {
    PrintCommented(printer, form, printEntry);
  } else {
    PrintDense(printer, form, printEntry);
  }
}

char* PrintWord(std::string_view word, char* to) {
  std::memcpy(to, word.data(), word.size());
  return to + word.size();
}

// An entry of probs or of a function of real values.
char* PrintValue(float value, char* to) {
  if (value == UNDEF_PROB || std::isnan(value)) return PrintWord(format::UNDEF_ESCAPE, to);
  if (value == IMPOS_PROB) return PrintWord(format::IMPOS_ESCAPE, to);
  return PrintShortest(value, to);
}

bool HasRows(const bnode& node) {
  return NumRows(node) > 0;
}

int NumPrinted(const format::PrintOptions& options, const bnode& node) {
  const bool omits = options.omitLastProb == 0 || (options.omitLastProb == 1 && node.numstates < 3);
  return omits ? node.numstates - 1 : node.numstates;
}

}  // namespace

FunctionForm FunctionFormOf(const bnode& node) {
  if (!HasRows(node)) return FunctionForm::None;
  if (node.discrete == DISCRETE) return node.determin ? FunctionForm::States : FunctionForm::None;
  return node.determinv ? FunctionForm::Numbers : FunctionForm::None;
}

bool HasProbTable(const bnode& node) {
  return node.probs && node.numstates > 0 && HasRows(node);
}

bool HasExperienceTable(const bnode& node) {
  return node.numcases && HasRows(node);
}

void PrintProbs(NetPrinter& printer, const bnode& node) {
  const TableForm form{node, NumRows(node), NumPrinted(printer.options, node), true};
  const float* const probs = node.probs;
  const long long numstates = node.numstates;
  PrintTable(printer, form, [=](long long row, int i, char* to) { return PrintValue(probs[row * numstates + i], to); });
}

void PrintFunction(NetPrinter& printer, const bnode& node) {
  const TableForm form{node, NumRows(node), 1, false};
  if (FunctionFormOf(node) == FunctionForm::Numbers) {
    PrintTable(printer, form, [&](long long row, int, char* to) { return PrintValue(node.determinv[row], to); });
    return;
  }
  PrintTable(printer, form, [&](long long row, int, char* to) {
    const statetype state = node.determin[row];
    if (state == IMPOS_STATE) return PrintWord(format::IMPOS_ESCAPE, to);
    if (state < 0 || state >= node.numstates) return PrintWord(format::UNDEF_ESCAPE, to);
    char number[16];
    return PrintWord(printer.StateWord(node, state, number), to);
  });
}

void PrintExperience(NetPrinter& printer, const bnode& node) {
  const long long numRows = NumRows(node);
  const float* const cases = node.numcases;
  if (std::all_of(cases, cases + numRows, [=](float x) { return x == cases[0]; })) {
    if (cases[0] == NO_EXPERIENCE) return printer.out.Put(format::UNDEF_ESCAPE);
    return printer.out.PutShortest(cases[0]);
  }
  PrintTable(printer, {node, numRows, 1, false}, [=](long long row, int, char* to) {
    return cases[row] == NO_EXPERIENCE ? PrintWord(format::UNDEF_ESCAPE, to) : PrintValue(cases[row], to);
  });
}

}  // namespace bravic
