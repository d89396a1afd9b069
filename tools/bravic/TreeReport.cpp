#include "TreeReport.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace {

// What stands between the brackets, which are words apart; the line goes on after them.
std::string TakeBetween(std::string& line, char open, char close) {
  const std::size_t from = line.find(open), to = line.find(close, from);
  const std::string inner = line.substr(from + 1, to - from - 1);
  line.erase(0, to + 1);
  return inner;
}

CliqueLine ParseClique(std::string line) {
  CliqueLine clique;
  std::istringstream joined(TakeBetween(line, '[', ']'));
  for (int other; joined >> other;) clique.joined.push_back(other);
  clique.size = std::strtod(line.c_str(), nullptr);
  std::string members = TakeBetween(line, '(', ')');
  std::replace(members.begin(), members.end(), ',', ' ');
  std::istringstream words(members);
  for (std::string name; words >> name;) {
    if (name[0] == '*') clique.homeOf.push_back(name.erase(0, 1));
    clique.members.push_back(name);
  }
  return clique;
}

}  // namespace

TreeReport ParseTreeReport(const std::string& text) {
  TreeReport report;
  std::istringstream lines(text);
  std::string line;
  std::getline(lines, line);  // the heading
  while (std::getline(lines, line)) {
    if (line.find('[') < line.find(']') && line.find('(') < line.find(')')) {
      report.cliques.push_back(ParseClique(line));
      report.largest = std::max(report.largest, report.cliques.back().size);
    } else if (const auto equals = line.find('='); equals != std::string::npos) {
      report.total = std::strtod(line.c_str() + equals + 1, nullptr);
    }
  }
  return report;
}
