#include "Nearest.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <utility>

namespace {

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Characters to insert, delete, replace or swap with their neighbours (optimal string alignment).
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> before, last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    before = std::exchange(last, row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = Lower(a[i - 1]) == Lower(b[j - 1]);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) && Lower(a[i - 2]) == Lower(b[j - 1]);
      if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
    }
  }
  return row[b.size()];
}

}  // namespace

std::vector<std::string> NearestNames(const std::string& text, const std::vector<std::string>& names) {
  constexpr std::size_t MAX_NAMES = 3, LONGEST = 200;
  // Of two characters none may differ, of long texts no more than four.
  const std::size_t farthest = text.size() <= 2 ? 0 : std::clamp<std::size_t>(text.size() / 3, 1, 4);
  std::vector<std::pair<std::size_t, std::string>> near;
  for (const std::string& name : names) {
    if (name.size() > LONGEST || text.size() > name.size() + farthest || name.size() > text.size() + farthest) continue;
    if (const std::size_t distance = Distance(text, name); distance <= farthest) near.emplace_back(distance, name);
  }
  std::stable_sort(near.begin(), near.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> nearest;
  for (const auto& [distance, name] : near) {
    const bool isNew = std::find(nearest.begin(), nearest.end(), name) == nearest.end();
    if (isNew && nearest.size() < MAX_NAMES) nearest.push_back(name);
  }
  return nearest;
}

std::string DidYouMean(const std::string& text, const std::vector<std::string>& names, const std::string& otherwise) {
  const std::vector<std::string> nearest = NearestNames(text, names);
  if (nearest.empty()) return otherwise;
  std::string question = "; did you mean ";
  for (std::size_t i = 0; i < nearest.size(); ++i) {
    if (i > 0) question += i + 1 == nearest.size() ? " or " : ", ";
    question += "'" + nearest[i] + "'";
  }
  return question + "?";
}
