#include "Columns.h"

#include <algorithm>
#include <cstdio>

#include "Numbers.h"
#include "Terminal.h"

namespace {

void PrintRow(const std::vector<std::string>& row, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t k = 0; k < row.size(); ++k) {
    if (k > 0) line += widths.empty() ? "\t" : "  ";
    line += row[k];
    if (!widths.empty() && k + 1 < row.size()) line.append(widths[k] - std::min(widths[k], row[k].size()), ' ');
  }
  std::printf("%s\n", line.c_str());
}

}  // namespace

void Columns::Print() const {
  std::vector<std::size_t> widths;
  if (OutputIsTerminal()) {
    widths.assign(heads_.size(), 0);
    const auto widen = [&widths](const std::vector<std::string>& row) {
      for (std::size_t k = 0; k < row.size() && k < widths.size(); ++k) widths[k] = std::max(widths[k], row[k].size());
    };
    widen(heads_);
    for (const auto& row : rows_) widen(row);
    PrintRow(heads_, widths);
  }
  for (const auto& row : rows_) PrintRow(row, widths);
}

std::string NumberText(double number) {
  char text[16];
  return {text, PutNumber(number, text)};
}
