// A net as other programs' files describe it: spellings as the file has them, numbers as they were read, and the line
// of each thing. Readers fill it, one builder makes a net of it and reports what is wrong (NetBuilder.h), one describer
// makes it of a net (NetDescriber.h), writers print it. A format is one reader and one writer between text and this.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace formats {

// A spelling in a file, and its line, counted from 1; 0 where there is none.
struct Word {
  std::string text;
  int line = 0;
};

enum class Kind { Chance, Decision, Utility };

// What a format says of the numbers of a node's relation.
enum class TableState {
  None,     // nothing was said of it
  Given,    // values hold it
  Uniform,  // left out where the format allows it
  Broken,   // what was wrong with it was told already
};

struct NodeDescription {
  Word name;             // as spelled; line of its declaration
  std::string spelling;  // the original spelling, where names are identifiers and it was told beside; else empty
  Kind kind = Kind::Chance;
  bool continuous = false;     // with intervals: bounds in levels, one more than states
  std::vector<Word> states;    // as spelled; empty for utilities
  std::vector<double> levels;  // one a state, or bounds; empty where there are none
  std::string title, comment;
  std::optional<std::pair<double, double>> position;  // centre
  std::vector<Word> parents;                          // as spelled, first slowest; line of each mention
  int relationLine = 0;                               // of the definition with the parents; 0 where there was none
  TableState table = TableState::None;
  int tableLine = 0;  // where the numbers begin
  // One row after the other, first parent slowest; in a row the node's own states, or a utility's one number.
  std::vector<double> values;
  std::vector<int> rowLines;       // of each row, where rows have lines of their own; else empty
  std::vector<double> experience;  // one a row, or empty
};

struct NetDescription {
  Word name;
  std::string title, comment;
  std::vector<NodeDescription> nodes;
};

}  // namespace formats
