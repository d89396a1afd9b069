#include "Bn/model/Condition.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "Basic/Format.h"
#include "Basic/Text.h"

namespace bravic {
namespace {

// Text appended to a fixed buffer; what does not fit is dropped. Numbers keep their point in every locale.
struct Line {
  char* buffer;
  std::size_t size, length = 0;

  void Add(std::string_view text) {
    const std::size_t n = std::min(text.size(), size - 1 - length);
    std::copy_n(text.begin(), n, buffer + length);
    length += n;
    buffer[length] = 0;
  }
  void Add(int number) {
    char digits[16];
    const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    Add(std::string_view(digits, end - digits));
  }
  void Add(double number) {
    char digits[32];
    const char* end = std::to_chars(digits, digits + sizeof digits, number, std::chars_format::general, 6).ptr;
    Add(std::string_view(digits, end - digits));
  }
  void AddText(const char* text) { Add(text ? std::string_view(text) : std::string_view()); }
};

// As an inequality; a bound at infinity is left out.
void AddInterval(Line& line, const bnode& parent, const char* name, double low, double high) {
  if (low == high) {
    line.AddText(name), line.Add("="), line.Add(low), line.AddText(parent.units);
  } else if (low == -INF_DBL) {
    line.AddText(name), line.Add("<"), line.Add(high), line.AddText(parent.units);
  } else if (high == INF_DBL) {
    line.Add(low), line.AddText(parent.units), line.Add("<"), line.AddText(name);
  } else {
    line.Add(low), line.Add("<="), line.AddText(name), line.Add("<"), line.Add(high), line.AddText(parent.units);
  }
}

void AddState(Line& line, const bnode& parent, const char* name, statetype state) {
  const bool inRange = state >= 0 && state < parent.numstates;
  if (inRange && HasIntervals(parent)) {
    AddInterval(line, parent, name, parent.levels[state], parent.levels[state + 1]);
    return;
  }
  line.AddText(name);
  line.Add("=");
  if (state == EVERY_STATE) {
    line.Add("any-value");
  } else if (inRange && parent.states && parent.states[state] && parent.states[state][0]) {
    line.AddText(parent.states[state]);
  } else {
    line.Add(state);
  }
}

}  // namespace

const char* StateCondition(const bnode& parent, const char* name, statetype state, char* buffer, std::size_t size) {
  Line line{buffer, size};
  buffer[0] = 0;
  AddState(line, parent, name, state);
  return buffer;
}

const char* ConditionText(const bnode& node, const statetype* parentstates, char* buffer, std::size_t size) {
  Line line{buffer, size};
  buffer[0] = 0;
  for (int i = 0; i < node.preds.num; ++i) {
    if (i) line.Add(", ");
    AddState(line, *node.preds.ar[i], node.preds.ar[i]->name, parentstates[i]);
  }
  return buffer;
}

const char* RowText(const bnode& node, const statetype* parentstates, const float* probs, char* buffer) {
  char condition[240];
  ConditionText(node, parentstates, condition, sizeof condition);
  // Entries that are undefined or impossible are no part of the sum.
  double sum = 0;
  for (const float* prob = probs; prob < probs + node.numstates; ++prob)
    if (*prob != UNDEF_PROB && *prob != IMPOS_PROB) sum += *prob;
  FormatText(buffer, ROW_TEXT_LEN, "node '%s'%s%s; sum %.7g", OrEmpty(node.name), *condition ? " given " : "",
             condition, sum);
  return buffer;
}

}  // namespace bravic
