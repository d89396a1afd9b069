// Rows of columns as the output has them: separated by tabs or, on a terminal, aligned.
#pragma once

#include <string>
#include <vector>

class Columns {
 public:
  // heads: the columns' names, which a terminal shows above them.
  explicit Columns(std::vector<std::string> heads) : heads_(std::move(heads)) {}
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  void Print() const;

 private:
  std::vector<std::string> heads_;
  std::vector<std::vector<std::string>> rows_;
};

// With six significant digits.
std::string NumberText(double number);
