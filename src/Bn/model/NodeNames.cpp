// Nodes by name within their net, and names that no node of it has yet.
#include <climits>
#include <cstdio>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/model/Net.h"

namespace bravic {
namespace {

constexpr char EXCLUDED_LETTERS[] = "IOP";
long nameCounter = 0;  // for names outside any net

bool IsFree(net_bn net, const char* name) {
  return !FindNode(net, name);
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

// Where counting may begin: every number below it was in use when the stem was last asked for, and no name has been
// given up since.
long& Floor(net_bn net, std::string_view stem) {
  if (std::string_view(net->freshStem) != stem) {
    net->freshFloor = 1;
    const std::size_t length = stem.copy(net->freshStem, sizeof net->freshStem - 1);
    net->freshStem[length] = 0;
  }
  return net->freshFloor;
}

void CountUp(net_bn net, std::string_view stem, long number, char* buffer) {
  int* counter = number < 2 ? DefaultCounter(net, stem) : nullptr;
  long* floor = number < 2 && !counter && stem.size() < sizeof net->freshStem ? &Floor(net, stem) : nullptr;
  if (counter) number = *counter;
  if (floor) number = *floor;
  for (;; ++number) {
    Compose(stem.data(), stem.size(), number, buffer);
    if (IsFree(net, buffer)) break;
  }
  if (counter) *counter = static_cast<int>(number);
  if (floor) *floor = number;
}

}  // namespace

node_bn FindNode(net_bn net, const char* name) {
  return static_cast<node_bn>(FindValue(net->names, name, 0));
}

void EnterNodeName(net_bn net, node_bn node) {
  BRAVIC_ASSERT_TEXT(InsertName(net->names, node->name, 0, node, true) != -1, "nn != -1");
}

void RemoveNodeName(net_bn net, node_bn node) {
  DeleteSlot(net->names, FindName(net->names, node->name, 0), nullptr);
  net->freshFloor = 1;
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
