// Learning links from cases: a data set, a search under a host's rules, and the links and tables found put into the net
// as one change.
#pragma once

#include "Bn/learn/LinkData.h"
#include "Bn/learn/LinkOptions.h"

namespace bravic {

// From arrays, or from a file where there is one. nodes: as listed, of one net.
struct LinkSource {
  const LinkCases* arrays = nullptr;
  filespec_ns file = nullptr;
};
// The number of steps, negative with an error posted. score may be NULL.
int LearnLinks(const LinkSource& source, std::span<const node_bn> nodes, const learn_links_bn* how, double* score);
// Of the nodes with the parents they have; UNDEF_DBL with an error posted.
double ScoreLinks(const LinkSource& source, std::span<const node_bn> nodes, int score, double prior);

}  // namespace bravic
