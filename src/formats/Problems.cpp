#include "formats/Problems.h"

#include <algorithm>

namespace formats {
namespace {

constexpr int MAX_PROBLEMS = 1000;                       // of one file
constexpr std::size_t WORD_LEN = 60;                     // of what a text quotes
constexpr std::size_t LIST_LEN = 300;                    // of what ends a text
constexpr std::string_view NODE = "node '";              // as the rows have it
constexpr std::size_t RECORD_LEN = 511, HEAD_LEN = 100;  // of a record, and of what heads its text

// The text, cut where it is longer than that many bytes, but within no character.
std::string Shortened(std::string_view text, std::size_t length) {
  if (text.size() <= length) return std::string(text);
  length -= 3;
  while (length > 0 && (text[length] & 0xC0) == 0x80) length--;
  return std::string(text.substr(0, length)) + "...";
}

// What lies in a folder far away keeps both ends of its path.
std::string ShortenedPath(const std::string& path, std::size_t length) {
  if (path.size() <= length || length < 8) return path.substr(0, length);
  std::size_t tail = path.size() - (length - 3) / 2;
  while (tail < path.size() && (path[tail] & 0xC0) == 0x80) tail++;
  return Shortened(path, (length - 3) / 2 + 3) + path.substr(tail);
}

}  // namespace

void Problems::Add(const ErrorRow& row, int line, std::initializer_list<std::string_view> words) {
  numErrors_ += row.danger >= ERROR_ERR;
  if (static_cast<int>(problems_.size()) >= MAX_PROBLEMS) {
    ++numLeftOut_;
    return;
  }
  std::string text;
  auto word = words.begin();
  for (const char* at = row.text; *at; ++at) {
    if (at[0] == '%' && at[1] == 's') {
      const bool endsText = at[2] == '\0';
      if (word != words.end()) text += Shortened(*word++, endsText ? LIST_LEN : WORD_LEN);
      ++at;
    } else if (std::string_view(at).starts_with(NODE)) {
      text.append(noun_).append(" '");
      at += NODE.size() - 1;
    } else {
      text += *at;
    }
  }
  problems_.push_back({&row, line, std::move(text)});
}

void Problems::Report(const std::string& function, const std::string& file, environ_ns env) const {
  std::vector<Problem> sorted = problems_;
  std::stable_sort(sorted.begin(), sorted.end(), [](const Problem& a, const Problem& b) { return a.line < b.line; });
  if (numLeftOut_ > 0) {
    Problems last;
    last.Add(TOO_MANY_PROBLEMS, 0, {std::to_string(numLeftOut_)});
    sorted.push_back(last.problems_[0]);
  }
  for (const Problem& problem : sorted) {
    std::string place = ":";
    if (problem.line > 0) place += std::to_string(problem.line) + ":";
    place += ' ';
    const std::string text = Shortened(problem.text, RECORD_LEN - HEAD_LEN);
    const std::string head = ShortenedPath(file, RECORD_LEN - function.size() - place.size() - text.size() - 2);
    ReportError_ns(env, -problem.row->number, problem.row->danger, (function + ": " + head + place + text).c_str());
  }
}

}  // namespace formats
