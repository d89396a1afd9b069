// Nodes and states as a command line names them: by their names, by the spellings that they have in another program's
// file
// ("label" and "state N" of bravic.h), nodes also by their titles, states also as they are shown and by number. What
// fits two is refused with both.
#pragma once

#include <string>
#include <utility>

#include "Session.h"

node_bn FindNode(const std::string& spelling, const Net& net);  // throws when there is none
// By name or spelling, as it is shown, or as "#2" or a bare number where the node has no such state; throws.
statetype FindState(const std::string& spelling, node_bn node);

// The state's name; for a state without one its interval, "0<=Rainfall<20", or its number, "#2".
std::string StateText(node_bn node, statetype state);

// "NODE=STATE", split at the "=" at which both are known, since spellings may hold others. Throws.
std::pair<node_bn, statetype> FindNodeAndState(const std::string& assignment, const Net& net);
// "NODE=X", of which X holds no "=". Throws.
std::pair<node_bn, std::string> FindNodeOf(const std::string& assignment, const Net& net);
