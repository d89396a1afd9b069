// Nets and junction trees as texts in Graphviz's language, from which pictures are made (Graphviz.h).
#pragma once

#include <string>

#include "Session.h"
#include "TreeReport.h"

// Of larger nets the names alone are drawn, without what is believed.
inline constexpr std::size_t MOST_NODES_IN_DETAIL = 150;

// Each node a box with its title, states, bars and numbers; withBeliefs: the net is compiled. Findings, decisions,
// utilities and constants have shapes and colours of their own.
std::string DrawNet(const Net& net, bool withBeliefs);
// Cliques, and between neighbouring ones what they share.
std::string DrawTree(const Net& net, const TreeReport& tree);
