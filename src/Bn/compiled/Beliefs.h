// Beliefs: bringing them up to date after changes of findings, and reading them. The engine propagates lazily; a
// node's belief vector is computed when it is asked for, and kept until the engine's numbers change.
#pragma once

#include "Bn/model/Net.h"

namespace bravic {

enum UpdateResult : int { BELIEFS_UPDATED = 0, BELIEFS_FAILED = -1, BELIEFS_CONTRADICTED = -2 };

// Whether an account of the new probability, or of the most probable configuration, goes to the person at the console,
// if there is one.
enum class Account { None, ToUser };
// Brings beliefs up to date as far as the flags say; an UpdateResult, those below 0 with an error posted.
int UpdateBeliefs(net_bn net, Account account);
// After a change of findings: an update when the net's autoupdate asks for one.
void AutoUpdate(net_bn net);
// The node's belief vector, up to date; NULL with an error posted, and for a node that takes no part in the
// propagation.
const float* CurrentBelief(node_bn node);
// The natural logarithm of the probability of all findings, minus infinity for a contradiction; UNDEF_DBL with an error
// posted.
double CaseLogProbability(net_bn net);
double CaseProbability(net_bn net);  // the same as a probability; negative with an error posted
// The node's state in the most probable configuration, the first on ties; UNDEF_STATE with an error posted.
statetype MostProbableState(node_bn node);

}  // namespace bravic
