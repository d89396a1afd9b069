// The most probable configurations of a compiled net given its findings: of all its nodes, or of some with the others
// summed out.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// Writes the count best ones, best first: states [count x nodes of the net], UNDEF_STATE for nodes without a state;
// probs [count], or NULL. Answers how many there are; negative with an error posted.
int MostProbableConfigs(net_bn net, int count, statetype* states, double* probs);
// states [nodes]; prob: or NULL. Answers 0; negative with an error posted.
int MostProbableStates(const nodelist_rec& nodes, statetype* states, double* prob);

}  // namespace bravic
