// How many bits two rows of words have in common, counted by adding up many words place by place before any is counted
// (Mula, Kurz & Lemire 2018), as wide as the machine's vectors are.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bravic::engine {

// numWords: a multiple of BIT_ROW_WORDS.
inline constexpr int BIT_ROW_WORDS = 8;
using CommonBitsCounter = std::int64_t (*)(const std::uint64_t* a, const std::uint64_t* b, std::ptrdiff_t numWords);

// The fastest that the machine runs, and all that it runs, from the narrowest on.
CommonBitsCounter BestCommonBitsCounter();
int NumCommonBitsCounters();
CommonBitsCounter CommonBitsCounterNumber(int i);

}  // namespace bravic::engine
