#include "Bn/files/StateNames.h"

#include <algorithm>

namespace bravic {

void StateNames::Fill(const bnode& node) {
  if (!node.states) return;
  std::size_t size = 4;
  while (size < std::size_t{2} * node.numstates) size *= 2;
  mask_ = size - 1;
  slots_.assign(size, Entry());
  for (int state = 0; state < node.numstates; ++state) {
    const char* name = node.states[state];
    if (!name || !*name) continue;
    Entry entry;
    char padded[40] = {};
    entry.length = std::min(std::strlen(name), sizeof padded - 1);
    std::memcpy(padded, name, entry.length);
    entry.key = FirstBytes(padded, entry.length);
    entry.name = name;
    entry.state = state;
    std::size_t at = Slot(entry.key, entry.length);
    while (slots_[at].state >= 0) at = (at + 1) & mask_;
    slots_[at] = entry;
  }
}

}  // namespace bravic
