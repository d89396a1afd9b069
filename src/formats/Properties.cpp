#include "formats/Properties.h"

#include <algorithm>
#include <cmath>

#include "formats/NumberText.h"

namespace formats {
namespace {

constexpr std::string_view BLANKS = " \t\r\n";

std::string_view Trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
  text.remove_suffix(text.size() - 1 - text.find_last_not_of(BLANKS));
  return text;
}

// Takes the mark off the text's beginning, with the blanks before it; answers whether it stood there.
bool Take(std::string_view& text, std::string_view mark) {
  const std::string_view rest = Trimmed(text);
  if (!rest.starts_with(mark)) return false;
  text = rest.substr(mark.size());
  return true;
}

// A number and the mark after it.
bool TakeNumber(std::string_view& text, char mark, double& number) {
  const std::size_t end = text.find(mark);
  if (end == std::string_view::npos) return false;
  const std::optional<double> found = ReadNumber(Trimmed(text.substr(0, end)));
  if (!found || !std::isfinite(*found)) return false;
  number = *found;
  text.remove_prefix(end + 1);
  return true;
}

bool IsPosition(std::string_view text, std::pair<double, double>& position) {
  return Take(text, "position") && Take(text, "=") && Take(text, "(") && TakeNumber(text, ',', position.first) &&
         TakeNumber(text, ')', position.second) && Trimmed(text).empty();
}

}  // namespace

void AddLine(std::string& comment, std::string_view line) {
  if (!comment.empty()) comment += '\n';
  comment += line;
}

void TakeProperty(NodeDescription& node, std::string_view property) {
  std::pair<double, double> position;
  if (!node.position && IsPosition(property, position)) {
    node.position = position;
    return;
  }
  for (const std::string& line : LinesOf(property)) AddLine(node.comment, line);
}

std::vector<std::string> LinesOf(std::string_view comment) {
  std::vector<std::string> lines;
  while (!comment.empty()) {
    const std::size_t end = std::min(comment.find('\n'), comment.size());
    if (const std::string_view line = Trimmed(comment.substr(0, end)); !line.empty()) lines.emplace_back(line);
    comment.remove_prefix(std::min(end + 1, comment.size()));
  }
  return lines;
}

std::vector<std::string> PropertiesOf(const NodeDescription& node) {
  std::vector<std::string> properties;
  if (node.position) {
    std::string text = "position = (";
    AppendDouble(node.position->first, &text);
    text += ", ";
    AppendDouble(node.position->second, &text);
    properties.push_back(text + ")");
  }
  for (std::string& line : LinesOf(node.comment)) properties.push_back(std::move(line));
  return properties;
}

}  // namespace formats
