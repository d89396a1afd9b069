// Conditions in words: a configuration of parents as messages and the comments of tables show it.
#pragma once

#include <cstddef>

#include "Bn/model/Records.h"

namespace bravic {

// One parent's state: "smoke=yes", or "smoke=1" where the state has no name; an interval "2<=dose<5mg", one open to a
// side "dose<2mg" or "5mg<dose"; a point "dose=2mg"; "smoke=any-value" for EVERY_STATE. Cut to the buffer. The parent
// may go by another name than its own.
const char* StateCondition(const bnode& parent, const char* name, statetype state, char* buffer, std::size_t size);
// All parents of a node in order, separated by ", "; empty for a node without parents.
const char* ConditionText(const bnode& node, const statetype* parentstates, char* buffer, std::size_t size);
// A row of probabilities as refusals tell it: "node 'dose' given smoke=yes, age=old; sum 0.95".
inline constexpr std::size_t ROW_TEXT_LEN = 320;
const char* RowText(const bnode& node, const statetype* parentstates, const float* probs, char* buffer);

}  // namespace bravic
