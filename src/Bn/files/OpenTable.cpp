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
  ReadError(table.reader, NOT_ENOUGH_TABLE_ENTRIES, Whereabouts(table).text);
  return false;
}

bool TooManyItems(OpenTable& table) {
  ReadError(table.reader, TOO_MANY_TABLE_ITEMS, FlatPrefix(table), Whereabouts(table).text);
  return false;
}

bool MissingComma(OpenTable& table) {
  ReadError(table.reader, NO_COMMA_IN_TABLE, Whereabouts(table).text);
  return false;
}

bool UnexpectedPunctuation(OpenTable& table, int c) {
  ReadError(table.reader, PUNCTUATION_IN_TABLE, c, FlatPrefix(table), Whereabouts(table).text);
  return false;
}

bool TooFewClosed(OpenTable& table) {
  ReadError(table.reader, TOO_FEW_CLOSED_IN_TABLE, table.closed, table.closed + table.open, FlatPrefix(table),
            Whereabouts(table).text);
  return false;
}

bool TooManyOpen(OpenTable& table, int opened, int allowed) {
  ReadError(table.reader, TOO_MANY_OPEN_IN_TABLE, opened, allowed, FlatPrefix(table), Whereabouts(table).text);
  return false;
}

bool TooManyClosed(OpenTable& table) {
  ReadError(table.reader, TOO_MANY_CLOSED_IN_TABLE, table.closed, FlatPrefix(table), Whereabouts(table).text);
  return false;
}

bool BadEntry(OpenTable& table, const char* reason) {
  ReadError(table.reader, BAD_TABLE_ROW, reason, Whereabouts(table).text);
  return false;
}

bool UnknownEscape(OpenTable& table, std::string_view word) {
  ReadError(table.reader, UNKNOWN_ESCAPE_IN_TABLE, QuoteLength(word), word.data(), Whereabouts(table).text);
  return false;
}

bool UnknownState(OpenTable& table, std::string_view word) {
  ReadError(table.reader, UNKNOWN_STATE_IN_TABLE, QuoteLength(word), word.data(), Whereabouts(table).text);
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
