// The best configurations of some or all nodes, one after the other. What is left after the best one falls apart by
// where the next one first differs from it, going through the variables from the last eliminated to the first; the best
// of each part is known without any further propagation (Nilsson 1998; Lawler 1972).
#pragma once

#include "Bn/engine/configs/BucketOrder.h"

namespace bravic::engine {

struct BestConfig {
  Block<int> states;       // [node]; only those of nodes that are known or maximized mean something
  WideNumber probability;  // joint with what is known, likelihoods included
};

// The count best configurations of all nodes that have positive probability, best first; those as probable as each
// other by their states, the first node slowest (where more than some thousands of them are, that holds of those that
// were found first). Done, also with fewer of them; Inconsistent where there are none.
Status FindBestConfigs(const ConfigQuestion& question, const JunctionTree& tree, int count,
                       const ProgressFunction& progress, Vector<BestConfig>* configs);

// The best joint states of the asked nodes with all others summed out, along that order (OrderAround).
Status FindBestStates(const ConfigQuestion& question, const BucketOrder& order, std::span<const unsigned char> matters,
                      const ProgressFunction& progress, BestConfig* best);

}  // namespace bravic::engine
