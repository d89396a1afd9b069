// The junction tree, as the library's report tells it.
#pragma once

#include <string>
#include <vector>

struct CliqueLine {
  double size = 0;  // in table entries
  std::vector<int> joined;
  std::vector<std::string> members, homeOf;  // homeOf: those whose table went into this clique
};

struct TreeReport {
  std::vector<CliqueLine> cliques;
  double largest = 0, total = 0;
};

// Of a text with a heading, a line per clique, " 0  [1 2]   8  (*A, B)", and "Total state space = 24".
TreeReport ParseTreeReport(const std::string& text);
