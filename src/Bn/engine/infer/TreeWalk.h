// The way of messages towards one clique: every clique sends after all that lie behind it have sent to it.
#pragma once

#include "Bn/engine/infer/Structure.h"

namespace bravic::engine {

class TreeWalk {
 public:
  // Goes out from the root as far as needs(link) says that the message coming in over the link must be made, and calls
  // send(clique, link) for each of those messages, deepest first, as long as it answers true; answers whether it always
  // did. The way back is kept in a list, so that a chain of many thousand cliques is no deeper than others.
  template <class Needs, class Send>
  bool Inward(const Structure& structure, int root, Needs needs, Send send) {
    stops_.assign(1, {root, -1, -1, 0});
    while (!stops_.empty()) {
      Stop& stop = stops_.back();
      const Vector<Link>& links = structure.cliques[stop.clique].links;
      if (stop.nextLink < links.size()) {
        const Link& link = links[stop.nextLink++];
        if (link.neighbour != stop.above && needs(link)) stops_.push_back({link.neighbour, stop.clique, link.back, 0});
        continue;
      }
      if (stop.above >= 0 && !send(stop.clique, stop.linkAbove)) return false;
      stops_.pop_back();
    }
    return true;
  }

 private:
  struct Stop {
    int clique;
    int above, linkAbove;  // the clique from where it was reached, and the link to it; or -1
    int nextLink;          // to be looked at
  };
  Vector<Stop> stops_;  // from the root to the clique being looked at
};

}  // namespace bravic::engine
