// The texts that this library keeps at nets and nodes: what of other programs' files has no place of its own in a net.
#pragma once

#include <string>

#include "bravic.h"

namespace formats {

// Original spellings of a net, a node and a state, where names were made legal, and where a node stands on the page.
void KeepSpelling(net_bn net, const std::string& spelling);
void KeepSpelling(node_bn node, const std::string& spelling);
void KeepStateSpelling(node_bn node, int state, const std::string& spelling);
void KeepPosition(node_bn node, double x, double y);

// "" where none was kept; answers whether a position was.
std::string KeptSpelling(net_bn net);
std::string KeptSpelling(node_bn node);
std::string KeptStateSpelling(node_bn node, int state);
bool KeptPosition(node_bn node, double* x, double* y);

}  // namespace formats
