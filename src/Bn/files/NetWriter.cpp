#include "Bn/files/NetWriter.h"

#include <algorithm>
#include <cstring>

#include "Basic/SymbolTable.h"
#include "Bn/files/NetFields.h"
#include "Bn/files/NetPrinter.h"
#include "Bn/files/NodeWriter.h"
#include "Bn/files/TableWriter.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/TableForms.h"

namespace bravic {

format::PrintOptions printOptions;

namespace {

struct FileName {
  const char* name;
  long counted;  // the number that the last name made from this stem ends in
};

// Names that placeholders have in the file, and the stems that some of them were made from. Both lists have room for
// all placeholders: the tables point into them.
struct FileNames {
  explicit FileNames(int numPlaceholders) {
    names.reserve(numPlaceholders);
    stems.reserve(numPlaceholders);
    stemTexts.reserve(numPlaceholders);
  }
  Vector<FileName> names, stems;
  Vector<NetPrinter::NewName> stemTexts;
  SymbolTable<FileName> nameTable, stemTable;

  bool IsTaken(net_bn net, const char* name) const { return IsNameTaken(net, name) || nameTable.Find(name); }
  void Take(const char* name) {
    names.push_back({name, 0});
    nameTable.Enter(&names.back());
  }
  FileName& Stem(const NetPrinter::NewName& stem) {
    if (FileName* known = stemTable.Find(stem.text)) return *known;
    stemTexts.push_back(stem);
    stems.push_back({stemTexts.back().text, 0});
    stemTable.Enter(&stems.back());
    return stems.back();
  }
};

// A free name: another number at the end of the present one.
void RenamePlaceholder(net_bn net, FileNames& names, const bnode& stub, NetPrinter::NewName& newName) {
  const char* digits;
  long number = TrailingNumber(stub.name, &digits);
  std::size_t stem = number < 0 ? std::strlen(stub.name) : digits - stub.name;
  if (number < 0 || number > 99999999) number = 0;
  if (stem > MAX_NAME_LEN - 9) stem = MAX_NAME_LEN - 9;
  // The number goes on from where the last placeholder of the same stem stopped, so that many of them take linear time.
  char* const name = newName.text;
  std::memcpy(name, stub.name, stem);
  FileName& noted = names.Stem(newName);
  number = std::max(number, noted.counted);
  do {
    *PrintInteger(++number, name + stem) = 0;
  } while (names.IsTaken(net, name));
  noted.counted = number;
}

// Placeholders keep the names of the nodes they stand for, which a later node may have taken: in the file every name
// stands for one block.
void RenamePlaceholders(NetPrinter& printer) {
  const bnet& net = *printer.net;
  if (net.stubs.num == 0) return;
  FileNames names(net.stubs.num);
  printer.placeholderNames.resize(net.stubs.num);
  for (const node_bn stub : net.stubs) {
    NetPrinter::NewName& newName = printer.placeholderNames[stub->index];
    const bool isTaken = names.IsTaken(printer.net, stub->name);
    if (isTaken) RenamePlaceholder(printer.net, names, *stub, newName);
    names.Take(isTaken ? newName.text : stub->name);
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
  for (NetField field : ALL_NET_FIELDS) {
    if (field != NET_ELIMORDER && HasValue(*net, field)) PrintField(printer, field);
  }
  const nodelist_rec* const groups[] = {&net->defines, &net->stubs, &OrderedNodes(net)};
  for (const nodelist_rec* group : groups) {
    for (const node_bn node : *group) {
      if (work.Halts(1000)) return false;
      work.SetShare(1.0 * numPrinted++ / (net->nodes.num + 1));
      out.Put('\n');
      PrintNode(printer, *node);
    }
  }
  if (HasValue(*net, NET_ELIMORDER)) PrintField(printer, NET_ELIMORDER);
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
