// How many bits two rows have in common, for the instruction set of the machine.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bravic::engine {

std::int64_t CountCommonBits(const std::uint64_t* a, const std::uint64_t* b, std::ptrdiff_t numWords);

}  // namespace bravic::engine
