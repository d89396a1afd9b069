// Copies of nodes, within a net or into another. A parent that is copied too is replaced by its copy; any other is kept
// as a parent within the same net and becomes a placeholder in another one. Findings, user data and links to children
// that are not copied are left behind.
#pragma once

#include "Basic/Errors.h"
#include "Bn/model/Records.h"

namespace bravic {

// Answers the copies in the order of the nodes; on a shortage nothing is copied.
Failure DuplicateNodes(const nodelist_rec& nodes, net_bn destination, nodelist_bn* copies);

}  // namespace bravic
