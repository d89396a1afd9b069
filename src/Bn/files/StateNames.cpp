#include "Bn/files/StateNames.h"

#include <algorithm>

#include "Bn/model/Texts.h"

namespace bravic {

bool StateNames::Add(const char* name, statetype state) {
  char start[8] = {};  // what the key is made of
  const std::size_t length = std::strlen(name);
  std::memcpy(start, name, std::min(length, sizeof start));
  const EntryText text(start, length);
  const std::size_t own = Slot(text.key);
  std::size_t at = own;
  while (slots_[at].length > 0) at = (at + 1) & mask_;
  slots_[at] = {text.key, length, name, state};
  return at == own;
}

bool StateNames::Place(const bnode& node) {
  std::fill(slots_.begin(), slots_.end(), Name());
  bool areApart = Add("*", UNDEF_STATE);
  for (int state = 0; node.states && state < node.numstates; ++state) {
    const char* name = node.states[state];
    if (name && *name) areApart = Add(name, state) && areApart;
  }
  // Of two equal ones the first is found: a name goes before a spelling, and both before what stands for nothing.
  ForEachStateText(node, [&](statetype state, const char* text) { areApart = Add(text, state) && areApart; });
  for (const char* mark : {"?", "NA"}) areApart = Add(mark, UNDEF_STATE) && areApart;
  return areApart;
}

// Tries a few ways to spread the names, so that each stands in its own slot, as it can where they are not many.
void StateNames::Fill(const bnode& node) {
  constexpr int FEW = 64, NUM_MARKS = 3;
  const int numtries = node.numstates > FEW ? 1 : 20;
  std::size_t size = 4;
  int count = node.states ? node.numstates : 0;
  ForEachStateText(node, [&](statetype, const char*) { ++count; });
  while (size < std::size_t{2} * (count + NUM_MARKS)) size *= 2;
  mask_ = size - 1;
  slots_.resize(size);
  for (int i = 1; !Place(node) && i < numtries; ++i) multiplier_ *= 0xD1342543DE82EF95;
}

statetype StateNames::FindFrom(std::size_t at, const EntryText& entry) const {
  for (;; at = (at + 1) & mask_) {
    const Name& name = slots_[at];
    if (name.length == 0) return NO_NAME;
    if (name.key == entry.key && name.length == entry.length &&
        (name.length <= 8 || std::memcmp(name.name + 8, entry.text + 8, name.length - 8) == 0))
      return name.state;
  }
}

}  // namespace bravic
