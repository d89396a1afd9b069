// A longer search for a better elimination order, by iterated greedy tries and local changes.
#pragma once

#include "Bn/engine/Order.h"

namespace bravic::engine {

// The best of some quick greedy orders, the same on every machine; without nodes when none costs less than the limit.
// budget(cost): the time in nanoseconds, about, that a tree of that total state space is worth a search for a better
// one. Each measure is tried once in any case.
Order QuickOrder(const Graph& moral, std::span<const int> numstates, double limit, double (*budget)(double cost));

// Searches beyond it for at most the given seconds and answers the best order seen (start: an order to beat, or
// empty). Halted early keeps the best so far.
Order SearchOrder(const Graph& moral, std::span<const int> numstates, std::span<const int> start, double seconds,
                  const ProgressFunction& progress);

}  // namespace bravic::engine
