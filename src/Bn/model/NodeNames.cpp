// Nodes by name within their net, and names that no node of it has yet.
#include "Bn/model/NodeNames.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "Basic/Errors.h"
#include "Basic/Text.h"

namespace bravic {
namespace {

constexpr char EXCLUDED_LETTERS[] = "IOP";
long nameCounter = 0;  // for names outside any net

// FNV-1a, and its upper half folded into the lower, which picks the slot.
unsigned HashOf(std::string_view name) {
  std::uint32_t hash = 2166136261u;
  for (char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  return hash ^ (hash >> 15);
}

// The slot of the name, or the empty one where it would go. The table must not be full.
unsigned FindSlot(const NameTable& table, const char* name, unsigned hash) {
  unsigned i = hash & (table.size - 1);
  while (table.slots[i].node && (table.slots[i].hash != hash || std::strcmp(table.slots[i].node->name, name) != 0)) {
    i = (i + 1) & (table.size - 1);
  }
  return i;
}

void Grow(NameTable& table) {
  const NameTable old = table;
  table.size = old.size ? 2 * old.size : 64;
  table.slots = static_cast<NameSlot*>(AllocateCleared(table.size, sizeof(NameSlot)));
  for (unsigned i = 0; i < old.size; ++i) {
    const NameSlot& slot = old.slots[i];
    if (slot.node) table.slots[FindSlot(table, slot.node->name, slot.hash)] = slot;
  }
  Free(old.slots);
}

bool IsFree(net_bn net, const char* name) {
  return !IsNameTaken(net, name);
}

// The next letter of the same case that no node uses; 0 when the walk comes round to where it began.
char FreeLetter(net_bn net, char start) {
  const char first = AsciiUpper(start) == start ? 'A' : 'a';
  char letter = start;
  do {
    const char name[2] = {letter, 0};
    if (!std::strchr(EXCLUDED_LETTERS, letter) && IsFree(net, name)) return letter;
    letter = static_cast<char>(first + (letter - first + 1) % 26);
  } while (letter != start);
  return 0;
}

// The stem, cut so that the number fits, then the number.
void Compose(const char* stem, std::size_t length, long number, char* buffer) {
  char digits[24];
  const auto numDigits = static_cast<std::size_t>(std::snprintf(digits, sizeof digits, "%ld", number));
  const std::size_t room = static_cast<std::size_t>(MAX_NAME_LEN) - numDigits;
  if (length > room) length = room;
  std::memcpy(buffer, stem, length);
  std::memcpy(buffer + length, digits, numDigits + 1);
}

// The net's own counter for a stem of default names, or NULL.
int* DefaultCounter(net_bn net, std::string_view stem) {
  if (stem == "Node") return &net->nextNodeNumber;
  if (stem == "Param") return &net->nextParamNumber;
  return nullptr;
}

// What is known of the stem; NULL for one too long to be noted.
FreshStem* NotedStem(net_bn net, std::string_view stem) {
  if (stem.size() >= sizeof FreshStem::stem) return nullptr;
  if (!net->freshStems) {
    net->freshStems = static_cast<FreshStem*>(AllocateCleared(NUM_FRESH_STEMS, sizeof(FreshStem)));
  }
  FreshStem& noted = net->freshStems[HashOf(stem) % NUM_FRESH_STEMS];
  if (stem != noted.stem || noted.numNamesGone != net->numNamesGone) {
    noted = {{}, net->numNamesGone, 0, 0};
    stem.copy(noted.stem, sizeof noted.stem - 1);
  }
  return &noted;
}

// The first number from there on that makes a name nobody has.
void CountUp(net_bn net, std::string_view stem, long number, char* buffer) {
  int* counter = number < 2 ? DefaultCounter(net, stem) : nullptr;
  FreshStem* noted = counter ? nullptr : NotedStem(net, stem);
  if (counter) number = *counter;
  const long first = number;
  for (;; ++number) {
    if (noted && noted->from <= number && number < noted->floor) number = noted->floor;
    Compose(stem.data(), stem.size(), number, buffer);
    if (IsFree(net, buffer)) break;
  }
  if (counter) *counter = static_cast<int>(number);
  if (!noted) return;
  const bool joined = first <= noted->floor && number >= noted->floor;
  noted->from = joined ? std::min(first, noted->from) : first;
  noted->floor = number;
}

}  // namespace

node_bn FindInTable(const NameTable& table, const char* name) {
  return name && table.size ? table.slots[FindSlot(table, name, HashOf(name))].node : nullptr;
}

void EnterInTable(NameTable& table, node_bn node) {
  if (2 * (table.num + 1) > table.size) Grow(table);
  const unsigned hash = HashOf(node->name);
  NameSlot& slot = table.slots[FindSlot(table, node->name, hash)];
  if (!BRAVIC_ASSERT_TEXT(!slot.node, "nn != -1")) return;
  slot = {hash, node};
  ++table.num;
}

node_bn FindNode(net_bn net, const char* name) {
  return FindInTable(net->names, name);
}

bool IsNameTaken(net_bn net, const char* name) {
  return FindNode(net, name) || FindInTable(net->defineNames, name);
}

void EnterNodeName(net_bn net, node_bn node) {
  EnterInTable(net->names, node);
}

void RemoveNodeName(net_bn net, node_bn node) {
  NameTable& table = net->names;
  unsigned hole = FindSlot(table, node->name, HashOf(node->name));
  if (table.slots[hole].node != node) return;
  // Names that had to go past the hole come back into it, so that no search ends too early.
  const unsigned mask = table.size - 1;
  for (unsigned i = (hole + 1) & mask; table.slots[i].node; i = (i + 1) & mask) {
    if (((i - table.slots[i].hash) & mask) < ((i - hole) & mask)) continue;
    table.slots[hole] = table.slots[i];
    hole = i;
  }
  table.slots[hole].node = nullptr;
  --table.num;
  ++net->numNamesGone;
}

void RenameInTable(node_bn node, char* newname) {
  const bool entered = node->innet && node->name && FindNode(node->innet, node->name) == node;
  if (entered) RemoveNodeName(node->innet, node);
  node->name = newname;
  if (entered) EnterNodeName(node->innet, node);
}

void FreshName(const char* stem, net_bn net, int method, char* buffer) {
  const std::size_t length = std::strlen(stem);
  if (!net) {
    Compose(stem, length, ++nameCounter, buffer);
    return;
  }
  if ((method == 0 || method == 6) && length <= static_cast<std::size_t>(MAX_NAME_LEN) && IsFree(net, stem)) {
    std::memcpy(buffer, stem, length + 1);
    return;
  }
  if (method <= 1 && length == 1 && IsAsciiLetter(stem[0])) {
    buffer[0] = FreeLetter(net, stem[0]);
    buffer[1] = 0;
    if (buffer[0]) return;
  }
  std::string_view base(stem, length);
  long number = 0;
  if (method == 5 || method == 6) {
    const char* digits = stem + length;
    number = TrailingNumber(stem, &digits);
    if (number < 0 || number >= INT_MAX) {
      number = 0;
    } else {
      base = base.substr(0, static_cast<std::size_t>(digits - stem));
    }
  }
  CountUp(net, base, number + 1, buffer);
}

}  // namespace bravic
