// What is wrong in a file, in the order in which it was found; each becomes an error record of the environment, its
// text beginning with the file's name and the line. What there is to report stands in ErrorTable.inc.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "bravic.h"
#include "formats/ErrorRows.h"

namespace formats {

struct Problem {
  const ErrorRow* row = nullptr;
  int line = 0;  // 0: the file as a whole
  std::string text;
};

class Problems {
 public:
  // words: what stands for each "%s" of the row's text, in order; long ones are cut.
  void Add(const ErrorRow& row, int line, std::initializer_list<std::string_view> words = {});
  // What the format calls a node ("VARIABLE"), in place of that word in texts.
  void CallNodes(const char* noun) { noun_ = noun; }
  bool HasErrors() const { return numErrors_ > 0; }
  const std::vector<Problem>& All() const { return problems_; }
  // Records them all, "function: file:line: text", in the order of their lines.
  void Report(const std::string& function, const std::string& file, environ_ns env) const;

 private:
  std::string_view noun_ = "node";
  std::vector<Problem> problems_;
  int numErrors_ = 0;
  int numLeftOut_ = 0;
};

}  // namespace formats
