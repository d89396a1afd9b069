// A pass entry by entry in double precision: for small tables, for numbers that floats cannot hold, and as what a plan
// must agree with.
#pragma once

#include "Bn/engine/PassShape.h"

namespace bravic::engine {

inline constexpr int MOST_PLAIN_TABLES = 128;  // with no more of them a run allocates nothing

template <class Entry, class Factor>
void RunPlainly(const PassShape& shape, const Entry* potential, const Factor* const* factors, const PassTarget* targets,
                bool maximize);

}  // namespace bravic::engine
