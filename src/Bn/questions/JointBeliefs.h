// The joint distribution of some nodes given the findings.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// probs: [product of the nodes' numbers of states], the last node fastest. False with an error posted.
bool JointBeliefs(const nodelist_rec& nodes, double* probs);

}  // namespace bravic
