#include "formats/TableCheck.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "formats/MemoryLimit.h"
#include "formats/NumberText.h"

namespace formats {
namespace {

class TableChecker {
 public:
  TableChecker(NodeDescription* node, const std::vector<const NodeDescription*>& parents, Problems* problems)
      : node_(*node), parents_(parents), problems_(*problems) {}
  void CheckProbs(int rows, bool rowsAreCounts);
  void CheckUtilities();
  void CheckExperience(int rows);
  bool HasNumbers(long long wanted);

 private:
  int LineOf(int row) const { return node_.rowLines.empty() ? node_.tableLine : node_.rowLines[row]; }
  bool CheckEntries(int row, const double* probs, int count);

  NodeDescription& node_;
  const std::vector<const NodeDescription*>& parents_;
  Problems& problems_;
};

bool TableChecker::HasNumbers(long long wanted) {
  const long long count = static_cast<long long>(node_.values.size());
  if (count == wanted) return true;
  problems_.Add(WRONG_NUMBER_COUNT, node_.tableLine, {node_.name.text, std::to_string(count), std::to_string(wanted)});
  return false;
}

bool TableChecker::CheckEntries(int row, const double* probs, int count) {
  for (int i = 0; i < count; ++i) {
    if (probs[i] >= 0 && probs[i] <= DBL_MAX) continue;
    problems_.Add(BAD_PROBABILITY, LineOf(row), {RowName(row, parents_), node_.name.text, NumberText(probs[i])});
    return false;
  }
  return true;
}

void TableChecker::CheckProbs(int rows, bool rowsAreCounts) {
  const int count = static_cast<int>(node_.states.size());
  int numNormalized = 0, firstRow = 0;
  double firstSum = 0;
  for (int row = 0; row < rows; ++row) {
    double* const probs = node_.values.data() + static_cast<std::size_t>(row) * count;
    double sum = 0, least = 0;
    for (int i = 0; i < count; ++i) {
      sum += probs[i];
      least = std::min(least, probs[i]);
    }
    const double off = std::fabs(sum - 1);
    if (off <= EXACT_SUM && least >= 0) continue;
    if (!CheckEntries(row, probs, count)) continue;
    if (!(sum > 0 && sum <= DBL_MAX) || (off > NEAR_SUM && !rowsAreCounts)) {
      problems_.Add(ROW_SUM_OFF, LineOf(row), {RowName(row, parents_), node_.name.text, NumberText(sum)});
      continue;
    }
    if (off > NEAR_SUM && numNormalized++ == 0) firstRow = row, firstSum = sum;
    for (int i = 0; i < count; ++i) probs[i] /= sum;
  }
  if (numNormalized == 0) return;
  problems_.Add(ROWS_NORMALIZED, LineOf(firstRow),
                {std::to_string(numNormalized), std::to_string(rows), node_.name.text, RowName(firstRow, parents_),
                 NumberText(firstSum)});
}

void TableChecker::CheckUtilities() {
  for (int row = 0; row < static_cast<int>(node_.values.size()); ++row) {
    if (std::fabs(node_.values[row]) <= FLT_MAX) continue;
    problems_.Add(BAD_UTILITY, LineOf(row), {node_.name.text, NumberText(node_.values[row])});
    return;
  }
}

void TableChecker::CheckExperience(int rows) {
  const std::vector<double>& experience = node_.experience;
  const char* fault = nullptr;
  if (!experience.empty() && static_cast<int>(experience.size()) != rows)
    fault = "there is not one number for each row";
  for (double number : experience) {
    if (!(number >= 0 && number <= FLT_MAX)) fault = "a number is negative or infinite";
  }
  if (!fault) return;
  problems_.Add(EXPERIENCE_LEFT_OUT, node_.tableLine, {node_.name.text, fault});
  node_.experience.clear();
}

}  // namespace

int CountRows(const std::vector<const NodeDescription*>& parents, int perRow) {
  long long rows = 1;
  for (const NodeDescription* parent : parents) {
    rows *= static_cast<long long>(parent->states.size());
    if (rows * perRow > MAX_ENTRIES) return -1;
  }
  return static_cast<int>(rows);
}

std::string RowName(int row, const std::vector<const NodeDescription*>& parents) {
  std::string name;
  for (auto it = parents.rbegin(); it != parents.rend(); ++it) {
    const std::vector<Word>& states = (*it)->states;
    const int count = static_cast<int>(states.size());
    name = states[row % count].text + (name.empty() ? "" : ", ") + name;
    row /= count;
  }
  return "(" + name + ")";
}

void CheckTable(NodeDescription* node, const std::vector<const NodeDescription*>& parents, bool rowsAreCounts,
                Problems* problems) {
  const int line = node->relationLine > 0 ? node->relationLine : node->name.line;
  if (node->kind == Kind::Decision) {
    if (node->table == TableState::Given)
      problems->Add(LEFT_OUT, node->tableLine, {"the table of decision node '" + node->name.text + "'"});
    return;
  }
  const bool isUtility = node->kind == Kind::Utility;
  const int perRow = isUtility ? 1 : static_cast<int>(node->states.size());
  const int rows = CountRows(parents, perRow);
  if (rows < 0) {
    problems->Add(TABLE_TOO_LARGE, line, {node->name.text});
    return;
  }
  TableChecker checker(node, parents, problems);
  switch (node->table) {
    case TableState::Broken:
      return;
    case TableState::None:
      problems->Add(MISSING_TABLE, line, {node->name.text});
      return;
    case TableState::Uniform:
      problems->Add(TABLE_TAKEN_AS_UNIFORM, line, {node->name.text});
      if (!isUtility) return;
      ClaimNumbers(rows);
      node->values.assign(rows, 0);
      return;
    case TableState::Given:
      if (!checker.HasNumbers(static_cast<long long>(rows) * perRow)) return;
      isUtility ? checker.CheckUtilities() : checker.CheckProbs(rows, rowsAreCounts);
      checker.CheckExperience(rows);
  }
}

}  // namespace formats
