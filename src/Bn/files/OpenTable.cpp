#include "Bn/files/OpenTable.h"

#include <algorithm>

#include "Basic/Format.h"
#include "Bn/model/Condition.h"

namespace bravic {
namespace {

// The configuration of the element at hand; parents below the open levels show any value.
const char* Condition(OpenTable& table, char* buffer, std::size_t size) {
  auto& states = table.reader.condition;
  node_bn* const parents = table.node.preds.ar;
  states.assign(table.numparents + 1, EVERY_STATE);
  if (table.flat) {
    long long rest = std::min(table.flatCell / table.rowLength, table.rows - 1);
    for (int i = table.numparents; i-- > 0; rest /= parents[i]->numstates) {
      states[i] = static_cast<statetype>(rest % parents[i]->numstates);
    }
  } else {
    const int lists = std::min(table.open - (table.inRow ? 1 : 0), table.numparents);
    for (int i = 0; i < lists; ++i) states[i] = std::min(table.index[i + 1], parents[i]->numstates - 1);
  }
  return ConditionText(table.node, states.data(), buffer, size);
}

constexpr std::size_t CONDITION_LEN = 200;

// Where the element at hand stands, as messages end: "`probs` statement for [smoke=yes] of node 'x', line 3".
struct Whereabouts {
  explicit Whereabouts(OpenTable& table) {
    char condition[CONDITION_LEN];
    FormatText(text, sizeof text, "`%s` statement for [%s] of %s '%s', line %ld", FieldName(table.field),
               Condition(table, condition, sizeof condition), format::NODE_WORD, table.node.name,
               LineNow(table.reader));
  }
  char text[MAX_ERR_LEN];
};

}  // namespace

const char* FlatPrefix(const OpenTable& table) {
  return table.flat ? "FLAT " : "";
}

bool NotEnoughEntries(OpenTable& table) {
  ReadError(table.reader, -1049, "not enough entries in %s", Whereabouts(table).text);
  return false;
}

bool TooManyItems(OpenTable& table) {
  ReadError(table.reader, -1089, "too many items in list, or missing ')', within %s%s", FlatPrefix(table),
            Whereabouts(table).text);
  return false;
}

bool MissingComma(OpenTable& table) {
  ReadError(table.reader, -1050, "missing comma (,) in %s", Whereabouts(table).text);
  return false;
}

bool UnexpectedPunctuation(OpenTable& table, int c) {
  ReadError(table.reader, -1040, "unexpected punctuation '%c' in %s%s", c, FlatPrefix(table), Whereabouts(table).text);
  return false;
}

bool TooFewClosed(OpenTable& table) {
  ReadError(table.reader, -1048, "only %d close parenthesis (but should be %d) within %s%s", table.closed,
            table.closed + table.open, FlatPrefix(table), Whereabouts(table).text);
  return false;
}

bool TooManyOpen(OpenTable& table, int opened, int allowed) {
  ReadError(table.reader, -1039, "too many open parenthesis (are %d, but should be %d) within %s%s", opened, allowed,
            FlatPrefix(table), Whereabouts(table).text);
  return false;
}

bool TooManyClosed(OpenTable& table) {
  ReadError(table.reader, -1051, "too many close parenthesis (should be %d) within %s%s", table.closed,
            FlatPrefix(table), Whereabouts(table).text);
  return false;
}

bool BadEntry(OpenTable& table, const char* reason) {
  ReadError(table.reader, -1042, "%s in %s", reason, Whereabouts(table).text);
  return false;
}

bool UnknownEscape(OpenTable& table, std::string_view word) {
  ReadError(table.reader, -1087, "unknown escape name '%.*s' in %s", QuoteLength(word), word.data(),
            Whereabouts(table).text);
  return false;
}

bool UnknownState(OpenTable& table, std::string_view word) {
  ReadError(table.reader, -1088, "unknown state name '%.*s' in %s", QuoteLength(word), word.data(),
            Whereabouts(table).text);
  return false;
}

bool EntryFault(OpenTable& table, const ErrorRow& error, std::string_view word) {
  char condition[CONDITION_LEN], context[MAX_ERR_LEN];
  FormatText(context, sizeof context, " in `%s` statement for [%s] of %s '%s'", FieldName(table.field),
             Condition(table, condition, sizeof condition), format::NODE_WORD, table.node.name);
  table.reader.in.Report(error, word);
  ReportFault(table.reader, context);
  return false;
}

}  // namespace bravic
