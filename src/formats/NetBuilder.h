// The one builder: a description becomes a net with nodes, links, tables, levels, titles, comments and the texts of
// Texts.h, or else a report of all that is wrong with it.
#pragma once

#include "bravic.h"
#include "formats/Description.h"
#include "formats/Problems.h"

namespace formats {

// Looks through the whole description, and brings its tables into order: rows that do not quite sum to 1 are
// normalized, tables that are left out are filled in.
void CheckNet(NetDescription* net, bool rowsAreCounts, Problems* problems);

// Makes a net of a description that was checked and has no errors. defaultName: for a net without one. Answers NULL,
// with a record of the core's, where that failed; nothing is left then.
net_bn BuildNet(const NetDescription& net, const std::string& defaultName, environ_ns env);

// Gives a node the relation that a reader found in a file: parents, table, lines. What was given for the node before
// stays, with an error, or a warning when both are alike.
void AddRelation(NodeDescription* node, NodeDescription&& relation, Problems* problems);

}  // namespace formats
