// The names of a net's nodes: every node stands in the net's symbol table from when it joins the net until it leaves.
// And fresh names, which no node has yet: a stem with the first free number behind it. The numbers already found in use
// are noted for each stem, so that a thousand fresh names of one stem take a thousand look-ups; the note holds as long
// as no name leaves the net.
#include "Bn/model/NodeNames.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>

#include "Basic/NumberText.h"
#include "Basic/Text.h"

namespace bravic {
namespace {

constexpr char EXCLUDED_LETTERS[] = "IOP";
long nameCounter = 0;  // for names outside any net

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
void Compose(std::string_view stem, long number, char* buffer) {
  char digits[NUMBER_TEXT_LEN];
  const char* const end = PrintInteger(number, digits);
  const std::size_t length = stem.copy(buffer, MAX_NAME_LEN - (end - digits));
  *std::copy<const char*>(digits, end, buffer + length) = 0;
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
    net->freshStems = NewCleared<FreshStem>(NUM_FRESH_STEMS);
  }
  FreshStem& noted = net->freshStems[HashName(stem) % NUM_FRESH_STEMS];
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
    // At the numbers that are noted to be in use there is nothing to look up.
    if (noted && noted->from <= number && number < noted->floor) number = noted->floor;
    Compose(stem, number, buffer);
    if (IsFree(net, buffer)) break;
  }
  if (counter) *counter = static_cast<int>(number);
  if (!noted) return;
  // What was tried now, first to number - 1, is in use too. The note is one interval: both are joined if they meet.
  const bool joined = first <= noted->floor && number >= noted->floor;
  noted->from = joined ? std::min(first, noted->from) : first;
  noted->floor = number;
}

}  // namespace

node_bn FindNode(net_bn net, const char* name) {
  return net->names.Find(name);
}

bool IsNameTaken(net_bn net, const char* name) {
  return FindNode(net, name) || net->defineNames.Find(name);
}

void EnterNodeName(net_bn net, node_bn node) {
  net->names.Enter(node);
}

void RemoveNodeName(net_bn net, node_bn node) {
  if (net->names.Remove(node)) ++net->numNamesGone;
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
    Compose(stem, ++nameCounter, buffer);
    return;
  }
  if ((method == 0 || method == 6) && length <= MAX_NAME_LEN && IsFree(net, stem)) {
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
      base = base.substr(0, digits - stem);
    }
  }
  CountUp(net, base, number + 1, buffer);
}

}  // namespace bravic
