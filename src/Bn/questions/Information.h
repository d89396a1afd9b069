// What is learned about a target by learning the state of another node, given the findings: by how many bits its
// entropy falls on the average (mutual information; Shannon 1948), or by how much its variance.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// One number for each of the others, 0 for what is known. False with an error posted.
bool InformationGains(node_bn target, const nodelist_rec& others, double* bits);
// The target has levels.
bool VarianceReductions(node_bn target, const nodelist_rec& others, double* reductions);

}  // namespace bravic
