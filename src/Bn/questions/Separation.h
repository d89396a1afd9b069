// What the links alone say of dependence, whatever the tables and findings: which nodes separate which, and which
// surround a node.
#pragma once

#include "Bn/model/Records.h"

namespace bravic {

// Whether every path between a node of the first list and one of the second is blocked once the given ones are known.
// The nodes are those of one net, which is NULL where there are none.
bool AreSeparated(net_bn net, const nodelist_rec& some, const nodelist_rec& others, const nodelist_rec& given);

// Parents, children and the children's other parents, each once; a list of the caller's, NULL without memory.
nodelist_bn MarkovBlanket(const bnode& node);

}  // namespace bravic
