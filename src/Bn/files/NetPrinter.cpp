// The pieces of text that every statement of a net file is made of. Numbers get as many digits as it takes to read the
// same number back, but for tables that are asked for with six; long texts are broken into lines after a word.
#include "Bn/files/NetPrinter.h"

#include <cmath>

#include "Bn/model/Attributes.h"

namespace bravic {

const char* NetPrinter::NameOf(const bnode& node) const {
  if (IsStub(node) && !placeholderNames.empty()) {
    const char* name = placeholderNames[node.index].text;
    if (*name) return name;
  }
  return OrEmpty(node.name);
}

void NetPrinter::PutNumber(double value) {
  if (value == UNDEF_DBL || std::isnan(value)) {
    out.Put(format::UNDEF_ESCAPE);
  } else if (value == IMPOS_DBL) {
    out.Put(format::IMPOS_ESCAPE);
  } else if (value == INF_DBL || value == -INF_DBL) {
    out.Put(value < 0 ? "-inf" : "inf");
  } else {
    out.PutShortest(value);
  }
}

void NetPrinter::PutNames(const char* const* names, int count) {
  out.Put('(');
  for (int i = 0; i < count; ++i) {
    if (i) out.Put(", ");
    out.Put(OrEmpty(names[i]));
  }
  out.Put(')');
}

void NetPrinter::PutNodeNames(const nodelist_rec& nodes) {
  out.Put('(');
  for (int i = 0; i < nodes.num; ++i) {
    if (i) out.Put(", ");
    out.Put(NameOf(*nodes.ar[i]));
  }
  out.Put(')');
}

void NetPrinter::PutNumbers(std::span<const double> numbers) {
  out.Put('(');
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i) out.Put(", ");
    out.PutShortest(numbers[i]);
  }
  out.Put(')');
}

void NetPrinter::PutNumbers(const float* numbers, int count, bool exact) {
  out.Put('(');
  for (int i = 0; i < count; ++i) {
    if (i) out.Put(", ");
    exact ? out.PutShortest(numbers[i]) : out.PutGeneral(numbers[i]);
  }
  out.Put(')');
}

const char* NetPrinter::StateWord(const bnode& node, statetype state, char* buffer) const {
  const char* word = StateText(node, state, buffer);
  if (word == buffer) *PrintInteger(state, buffer + 1, options.hexNumbers ? 16 : 10) = 0;
  return word;
}

void NetPrinter::PutState(const bnode& node, statetype state) {
  char number[16];
  out.Put(StateWord(node, state, number));
}

void NetPrinter::OpenStatement(const char* field) {
  Indent(indent);
  out.Put(field);
  out.Put(" = ");
}

namespace {

// A character of a quoted text as it stands in the file. A multi-byte character is kept whole.
struct Unit {
  int length;  // bytes of the text
  int width;   // characters in the file
};

// A blank that begins a continued line is escaped, since the blanks there stand for nothing.
Unit UnitAt(const char* at, bool beginsContinuation) {
  switch (*at) {
    case '"':
    case '\\':
    case '\n':
    case '\r':
    case '\t':
      return {1, 2};
    case ' ':
      return {1, beginsContinuation ? 2 : 1};
    default:
      break;
  }
  // Bytes 10xxxxxx continue a character of UTF-8.
  int length = 1;
  while (length < 4 && (static_cast<unsigned char>(at[length]) & 0xC0) == 0x80) ++length;
  return {length, length};
}

// Where the line that begins at `at` ends: after a line end of the text, else after the last word that fits. A line
// that is not the last needs room for the backslash that breaks it.
const char* EndOfLine(const char* at, bool continues) {
  const char* const begin = at;
  const char* afterBlank = nullptr;
  for (int width = 0; *at;) {
    const Unit unit = UnitAt(at, continues && at == begin);
    width += unit.width;
    const bool isLast = at[unit.length] == 0;
    if (width > format::TEXT_LINE_LEN - (isLast ? 0 : 1)) return afterBlank ? afterBlank : at;
    at += unit.length;
    if (at[-1] == '\n') break;
    if (at[-1] == ' ' && *at != ' ') afterBlank = at;
  }
  return at;
}

void PutEscaped(OutputChannel& out, const char* at, const char* end, bool continues) {
  if (continues && at < end && *at == ' ') out.Put('\\');
  for (; at < end; ++at) {
    switch (*at) {
      case '"':
        out.Put("\\\"");
        break;
      case '\\':
        out.Put("\\\\");
        break;
      case '\n':
        out.Put("\\n");
        break;
      case '\r':
        out.Put("\\r");
        break;
      case '\t':
        out.Put("\\t");
        break;
      default:
        out.Put(*at);
    }
  }
}

}  // namespace

void NetPrinter::PutText(const char* text) {
  out.Put('"');
  const char* at = OrEmpty(text);
  for (bool continues = false; *at; continues = true) {
    const char* const end = EndOfLine(at, continues);
    PutEscaped(out, at, end, continues);
    at = end;
    if (*at) {
      out.Put("\\\n");
      Indent(indent + 1);
    }
  }
  out.Put('"');
}

template <class Record>
void NetPrinter::PutField(const FieldRow<Record>& row, const Record& record) {
  switch (row.form) {
    case FieldForm::Own:
      return;
    case FieldForm::Text:
      return PutText(record.*row.text);
    case FieldForm::Number:
      return PutInteger(record.*row.number);
    case FieldForm::Seconds:
      return PutInteger(record.*row.seconds);
    case FieldForm::Flag:
      return PutBoolean(record.*row.number);
    case FieldForm::Word:
      return out.Put(row.words[record.*row.number]);
  }
}

template void NetPrinter::PutField(const FieldRow<bnet>& row, const bnet& record);
template void NetPrinter::PutField(const FieldRow<bnode>& row, const bnode& record);

}  // namespace bravic
