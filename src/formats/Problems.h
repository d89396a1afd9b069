// What is wrong in a file, in the order in which it was found; each becomes an error record of the environment, its
// text beginning with the file's name and the line.
#pragma once

#include <string>
#include <vector>

#include "bravic.h"

namespace formats {

struct Problem {
  int number = 0;  // negative, of the error record
  bool isWarning = false;
  int line = 0;  // 0: the file as a whole
  std::string text;
};

class Problems {
 public:
  void Error(int number, int line, std::string text) { Add({number, false, line, std::move(text)}); }
  void Warn(int number, int line, std::string text) { Add({number, true, line, std::move(text)}); }
  bool HasErrors() const { return numErrors_ > 0; }
  const std::vector<Problem>& All() const { return problems_; }
  // Records them all, "file:line: text".
  void Report(const std::string& file, environ_ns env) const;

 private:
  void Add(Problem problem);

  std::vector<Problem> problems_;
  int numErrors_ = 0;
};

}  // namespace formats
