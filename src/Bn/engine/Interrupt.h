// How a long computation lets others look in, and is halted. The passes over tables count what they do; once halted
// they do nothing any more and leave numbers without meaning, so that whoever asked must forget all that was computed.
#pragma once

#include <algorithm>
#include <functional>

namespace bravic::engine {

// Asked now and then with the share done; true halts.
using ProgressFunction = std::function<bool(double fraction)>;

struct Interrupt {
  static constexpr double BETWEEN_LOOKS = 1 << 18;

  ProgressFunction ask;  // empty: nobody looks
  double total = 1;      // entries that all of it comes to, about
  double done = 0, lookAt = BETWEEN_LOOKS;
  bool halted = false;

  void Start(ProgressFunction whom, double entries) {
    ask = std::move(whom);
    total = std::max(entries, 1.0);
    done = 0;
    lookAt = BETWEEN_LOOKS;
    halted = false;
  }
  // Whether to leave out this much work, and everything after it.
  bool Halts(double entries) {
    constexpr double ALMOST_ALL = 0.99;
    done += entries;
    if (halted || done < lookAt || !ask) return halted;
    lookAt = done + BETWEEN_LOOKS;
    return halted = ask(std::min(done / total, ALMOST_ALL));
  }
};

}  // namespace bravic::engine
