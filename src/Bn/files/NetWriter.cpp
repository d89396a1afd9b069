#include "Bn/files/NetWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "Basic/SymbolTable.h"
#include "Bn/compiled/Beliefs.h"
#include "Bn/model/Attributes.h"
#include "Bn/model/Tables.h"

namespace bravic {

format::PrintOptions printOptions;

const char* NetPrinter::NameOf(const bnode& node) const {
  if (TagOf(&node) == STUB_TAG && !placeholderNames.empty()) {
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
  for (int i = 0; i < count; i++) {
    if (i) out.Put(", ");
    out.Put(OrEmpty(names[i]));
  }
  out.Put(')');
}

void NetPrinter::PutNodeNames(const nodelist_rec& nodes) {
  out.Put('(');
  for (int i = 0; i < nodes.num; i++) {
    if (i) out.Put(", ");
    out.Put(NameOf(*nodes.ar[i]));
  }
  out.Put(')');
}

void NetPrinter::PutNumbers(std::span<const double> numbers) {
  out.Put('(');
  for (std::size_t i = 0; i < numbers.size(); i++) {
    if (i) out.Put(", ");
    out.PutShortest(numbers[i]);
  }
  out.Put(')');
}

void NetPrinter::PutNumbers(const float* numbers, int count, bool exact) {
  out.Put('(');
  for (int i = 0; i < count; i++) {
    if (i) out.Put(", ");
    exact ? out.PutShortest(numbers[i]) : out.PutGeneral(static_cast<double>(numbers[i]));
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
  int length = 1;
  while (length < 4 && (static_cast<unsigned char>(at[length]) & 0xC0) == 0x80) length++;
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
  for (; at < end; at++) {
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

namespace {

bool NetFieldDiffersFromDefault(const bnet& net, int field) {
  switch (field) {
    case NET_NUMDIMENSIONS:
      return net.numdimensions != 0;
    case NET_AUTOUPDATE:
      return net.autoupdate != 0;
    case NET_ELIMORDER:
      return net.elimorder.num >= 0;
    case NET_TITLE:
      return OrEmpty(net.title)[0] != 0;
    case NET_COMMENT:
      return OrEmpty(net.comment)[0] != 0;
    case NET_AUTHOR:
      return OrEmpty(net.author)[0] != 0;
    case NET_WHOCHANGED:
      return OrEmpty(net.whochanged)[0] != 0;
    case NET_WHENCHANGED:
      return net.whenchanged != 0;
    case NET_LOCKED:
      return net.locked != 0;
    case NET_BACKCOMMENTS:
      return OrEmpty(net.backcomments)[0] != 0;
    default:
      return false;  // "name" heads the block; "user" is the host's own
  }
}

void PrintNetField(NetPrinter& printer, int field) {
  const bnet& net = *printer.net;
  if (!NetFieldDiffersFromDefault(net, field)) return;
  printer.OpenStatement(NET_FIELD_NAMES[field]);
  switch (field) {
    case NET_NUMDIMENSIONS:
      printer.PutInteger(net.numdimensions);
      break;
    case NET_AUTOUPDATE:
      printer.PutBoolean(net.autoupdate);
      break;
    case NET_ELIMORDER:
      printer.PutNodeNames(net.elimorder);
      break;
    case NET_TITLE:
      printer.PutText(net.title);
      break;
    case NET_COMMENT:
      printer.PutText(net.comment);
      break;
    case NET_AUTHOR:
      printer.PutText(net.author);
      break;
    case NET_WHOCHANGED:
      printer.PutText(net.whochanged);
      break;
    case NET_WHENCHANGED:
      printer.PutInteger(net.whenchanged);
      break;
    case NET_LOCKED:
      printer.PutBoolean(net.locked);
      break;
    case NET_BACKCOMMENTS:
      printer.out.Put(net.backcomments);
      break;
    default:
      ReportError(-2072, "Unable to print a bnet field");
  }
  printer.CloseStatement();
}

// Names that placeholders have in the file, and how far the numbers behind each stem have been counted.
struct FileNames {
  explicit FileNames(int numPlaceholders) { stems.reserve(static_cast<std::size_t>(numPlaceholders)); }
  SymbolTable* const taken = NewSymbolTable(64, nullptr, false, false, 0.7, 2.0);
  SymbolTable* const counted = NewSymbolTable(64, nullptr, false, true, 0.7, 2.0);
  Vector<NetPrinter::NewName> stems;  // the tables keep pointers into it
  ~FileNames() {
    FreeSymbolTable(taken);
    FreeSymbolTable(counted);
  }
  bool IsTaken(net_bn net, const char* name) const { return IsNameTaken(net, name) || FindName(taken, name, 0) >= 0; }
};

// A free name: another number at the end of the present one.
void RenamePlaceholder(net_bn net, FileNames& names, const bnode& stub, NetPrinter::NewName& newName) {
  const char* digits;
  long number = TrailingNumber(stub.name, &digits);
  std::size_t stem = number < 0 ? std::strlen(stub.name) : static_cast<std::size_t>(digits - stub.name);
  if (number < 0 || number > 99999999) number = 0;
  if (stem > MAX_NAME_LEN - 9) stem = MAX_NAME_LEN - 9;
  char* const name = newName.text;
  std::memcpy(name, stub.name, stem);
  int slot = FindName(names.counted, name, 0);
  if (slot < 0) {
    names.stems.push_back(newName);
    slot = InsertName(names.counted, names.stems.back().text, 0, nullptr, true);
  }
  void*& counted = names.counted->values[slot];
  number = std::max(number, static_cast<long>(reinterpret_cast<std::intptr_t>(counted)));
  do {
    *PrintInteger(++number, name + stem) = 0;
  } while (names.IsTaken(net, name));
  counted = reinterpret_cast<void*>(static_cast<std::intptr_t>(number));
}

// Placeholders keep the names of the nodes they stand for, which a later node may have taken: in the file every name
// stands for one block.
void RenamePlaceholders(NetPrinter& printer) {
  const bnet& net = *printer.net;
  if (net.stubs.num == 0) return;
  FileNames names(net.stubs.num);
  printer.placeholderNames.resize(static_cast<std::size_t>(net.stubs.num));
  for (const node_bn stub : net.stubs) {
    NetPrinter::NewName& newName = printer.placeholderNames[stub->index];
    const bool isTaken = names.IsTaken(printer.net, stub->name);
    if (isTaken) RenamePlaceholder(printer.net, names, *stub, newName);
    InsertName(names.taken, isTaken ? newName.text : stub->name, true);
  }
}

}  // namespace

bool PrintNet(net_bn net, const format::PrintOptions& options, OutputChannel& out) {
  LongWork work("Writing net", 0, Showing::Always);
  int numPrinted = 0;
  NetPrinter printer{out, options, net, work, 0, {}};
  RenamePlaceholders(printer);

  out.Put("// ");
  out.Put(format::INDICATOR_START);
  out.Put(format::NET_TYPE);
  out.Put('-');
  out.PutInteger(options.version);
  out.Put(format::INDICATOR_END);
  out.Put("\n\n");
  if (options.hexNumbers) {
    out.Put(format::HEX_WORD);
    out.Put(" = TRUE;\n\n");
  }

  out.Put(format::NET_WORD);
  out.Put(' ');
  out.Put(OrEmpty(net->name));
  out.Put(" {\n");
  printer.indent = options.extraNetIndent ? 1 : 0;
  for (int field = 0; field <= format::LAST_NET_FIELD; field++) {
    if (field != NET_ELIMORDER) PrintNetField(printer, field);
  }
  const nodelist_rec* const groups[] = {&net->defines, &net->stubs, &OrderedNodes(net)};
  for (const nodelist_rec* group : groups) {
    for (const node_bn node : *group) {
      if (work.Halts(1000)) return false;
      work.SetShare(static_cast<double>(numPrinted++) / (net->nodes.num + 1));
      out.Put('\n');
      PrintNode(printer, *node);
    }
  }
  PrintNetField(printer, NET_ELIMORDER);
  out.Put("};\n");
  return !work.IsHalted();
}

Failure PrepareNet(net_bn net) {
  OrderedNodes(net);
  for (const node_bn node : net->nodes) {
    const FunctionForm form = FunctionFormOf(*node);
    if (form != FunctionForm::None) continue;
    // Counts become probabilities; a function that the form of `functable` cannot say becomes probabilities too.
    const bool isUnsayable = !node->probs && node->numstates > 0 && (node->determin || node->determinv);
    if (node->probs && !node->normalized) {
      if (Failure failure = NormalizeTable(node)) return failure;
    } else if (isUnsayable) {
      if (Failure failure = MakeProbs(node)) return failure;
    }
  }
  return nullptr;
}

}  // namespace bravic
