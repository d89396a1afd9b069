// What two nets differ in, one of which has been through the file of another program.
#pragma once

#include <string>

#include "support/nets.h"

namespace bravic::testing {

// What of a net comes back from a format, beyond nodes, links and tables.
struct Kept {
  bool spellings = true;  // of nodes; else their legal names
  bool stateSpellings = true;
  bool names = true;  // else nodes and states are told by their place
  bool titles = false, comments = false, positions = false, levels = false;
};

// A node's or a state's name as another program has it: the original where it was made legal.
std::string Spelling(node_bn node);
std::string StateSpelling(node_bn node, statetype state);
// What differs first; empty where nothing does.
std::string DifferenceOf(const Net& is, const Net& was, const Kept& kept);

}  // namespace bravic::testing
