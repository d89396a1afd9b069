// Writes the interchange format BIF, version 0.15: rows that name the parents' states, and names as they are spelled,
// in quotes where other programs need them.
#include <algorithm>

#include "formats/Formats.h"
#include "formats/NodeIndex.h"
#include "formats/NumberText.h"
#include "formats/Properties.h"
#include "formats/RowStates.h"
#include "formats/Tokenizer.h"

namespace formats {
namespace {

// Words that other programs take without quotes.
std::string Spelled(const std::string& name) {
  const auto isPlain = [](char c) {
    return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9') || c == '_' || c == '-' ||
           c == '.';
  };
  return !name.empty() && std::all_of(name.begin(), name.end(), isPlain) ? name : QuotedText(name);
}

// A property as it stands where it reads back so.
void WriteProperty(const std::string& line, std::string* text) {
  // Separators and blanks before it would be taken for none of it.
  const bool isPlain = line.find_first_of(",|\f\v") != 0 && line.find_first_of(";\"{}") == std::string::npos &&
                       line.find("//") == std::string::npos && line.find("/*") == std::string::npos;
  *text += "  property ";
  *text += isPlain ? line : QuotedText(line);
  *text += " ;\n";
}

void WriteVariable(const NodeDescription& node, std::string* text) {
  *text +=
      "variable " + Spelled(node.name.text) + " {\n  type discrete [ " + std::to_string(node.states.size()) + " ] { ";
  for (std::size_t i = 0; i < node.states.size(); ++i) *text += (i ? ", " : "") + Spelled(node.states[i].text);
  *text += " };\n";
  for (const std::string& line : PropertiesOf(node)) WriteProperty(line, text);
  *text += "}\n";
}

void WriteNumbers(const double* values, std::size_t count, std::string* text) {
  for (std::size_t i = 0; i < count; ++i) {
    *text += i ? ", " : " ";
    AppendFloat(values[i], text);
  }
  *text += ";\n";
}

void WriteProbability(const NodeDescription& node, const NetDescription& net, const NodeIndex& index,
                      std::string* text) {
  *text += "probability ( " + Spelled(node.name.text);
  std::vector<std::vector<std::string>> states;  // of each parent, as spelled
  for (const Word& parent : node.parents) {
    *text += (states.empty() ? " | " : ", ") + Spelled(parent.text);
    states.emplace_back();
    for (const Word& state : net.nodes[index.Find(parent.text)].states) states.back().push_back(Spelled(state.text));
  }
  *text += " ) {\n";
  std::vector<int> counts;
  for (const auto& names : states) counts.push_back(static_cast<int>(names.size()));
  RowStates row(counts);
  for (std::size_t at = 0; at < node.values.size(); at += node.states.size(), row.Next()) {
    *text += states.empty() ? "  table" : "  (";
    for (std::size_t i = 0; i < states.size(); ++i) {
      if (i) *text += ", ";
      *text += states[i][row.Get()[i]];
    }
    if (!states.empty()) *text += ')';
    WriteNumbers(&node.values[at], node.states.size(), text);
  }
  *text += "}\n";
}

}  // namespace

void WriteBif(const NetDescription& net, std::string* text) {
  *text += "network " + Spelled(net.name.text) + " {\n";
  for (const std::string& line : LinesOf(net.comment)) WriteProperty(line, text);
  *text += "}\n";
  for (const NodeDescription& node : net.nodes) WriteVariable(node, text);
  const NodeIndex index(net);
  for (const NodeDescription& node : net.nodes) WriteProbability(node, net, index, text);
}

}  // namespace formats
