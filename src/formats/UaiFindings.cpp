// Findings of the UAI competitions (.evid): "count var state var state ...", once; or that many times after a line with
// the number of cases.
#include <algorithm>

#include "formats/NumberText.h"
#include "formats/Tokenizer.h"
#include "formats/Uai.h"

namespace formats {
namespace {

constexpr Grammar GRAMMAR = {.punctuation = "", .separators = "", .lineComment = '#', .quotes = false};

struct Numbers {
  std::vector<int> values, lines;
};

// Takes cases off the numbers, from a place on to their end, each from a line of its own where that is wanted; answers
// false where they do not fit.
bool TakeCases(const Numbers& numbers, std::size_t at, std::size_t count, bool onLines, std::vector<UaiCase>* cases) {
  cases->clear();
  const std::vector<int>& values = numbers.values;
  for (; count > 0; --count) {
    if (at >= values.size() || (onLines && numbers.lines[at] == numbers.lines[at - 1])) return false;
    std::size_t left = static_cast<std::size_t>(values[at++]);
    if (left > (values.size() - at) / 2) return false;
    cases->emplace_back();
    for (; left > 0; --left, at += 2) cases->back().push_back({values[at], values[at + 1], numbers.lines[at]});
  }
  return at == values.size();
}

}  // namespace

std::vector<UaiCase> ReadUaiFindings(const std::string& text, Problems* problems) {
  Tokenizer tokens(text, GRAMMAR, problems);
  Numbers numbers;
  std::vector<UaiCase> cases;
  while (tokens.Peek().kind != Token::End) {
    const Token token = tokens.Take();
    const auto value = ReadCount(token.text);
    if (!value) {
      problems->Add(NO_NUMBER, token.line, {token.text});
      return cases;
    }
    numbers.values.push_back(*value);
    numbers.lines.push_back(token.line);
  }
  if (numbers.values.empty()) {
    problems->Add(EMPTY_CONTENT, 0);
    return cases;
  }
  // The first number can be that of cases as well as of findings.
  const std::size_t first = static_cast<std::size_t>(numbers.values[0]);
  if ((first > 0 && TakeCases(numbers, 1, first, true, &cases)) || TakeCases(numbers, 0, 1, false, &cases) ||
      TakeCases(numbers, 1, first, false, &cases)) {
    return cases;
  }
  problems->Add(FINDINGS_COUNTED_WRONG, numbers.lines[0]);
  return cases;
}

}  // namespace formats
