#include "Bn/engine/infer/Structure.h"

#include <algorithm>

namespace bravic::engine {

Structure::Structure(const JunctionTree& itsTree, std::span<const int> itsNumstates,
                     std::span<const Vector<int>> itsParents)
    : tree(&itsTree),
      parents(itsParents),
      numstates(itsNumstates.begin(), itsNumstates.end()),
      children(numstates.size()),
      families(numstates.size()),
      cliques(tree->cliques.size()),
      separators(tree->separators.size()),
      entry(numstates.size(), -1),
      readAt(numstates.size(), -1),
      cliquesOf(numstates.size()),
      separatorsOf(numstates.size()) {
  for (int i = 0; i < NumNodes(); ++i) {
    families[i].reserve(parents[i].size() + 1);
    families[i] = parents[i];
    families[i].push_back(i);
    for (int parent : parents[i]) children[parent].push_back(i);
  }
  AddCliques();
  JoinLinks();
  AddSeparators();
  PlaceNodes();
  RootTree();
}

// Nodes of one state take no room in tables and are left out of all of them.
Vector<int> Structure::VariablesAmong(std::span<const int> members) const {
  Vector<int> list;
  list.reserve(members.size());
  for (int m : members)
    if (numstates[m] > 1) list.push_back(m);
  return list;
}

// Each clique with its links, and for each node the cliques that hold it; its findings are entered at the smallest.
void Structure::AddCliques() {
  for (int c = 0; c < cliques.size(); ++c) {
    const Clique& from = tree->cliques[c];
    CliqueFacts& clique = cliques[c];
    clique.variables = VariablesAmong(from.members);
    clique.links.reserve(from.neighbours.size());
    for (int k = 0; k < from.neighbours.size(); ++k) {
      const int s = from.separators[k];
      const MessageId out(s, tree->separators[s].cliques[0] == c ? 0 : 1);
      clique.links.push_back({from.neighbours[k], s, out.Opposite(), out});
    }
    for (int m : from.members) {
      cliquesOf[m].push_back(c);
      if (entry[m] < 0 || from.size < tree->cliques[entry[m]].size) entry[m] = c;
    }
  }
}

// Tells the two ends of each separator of each other.
void Structure::JoinLinks() {
  Vector<int> place(separators.size(), -1);  // of the end met first
  for (CliqueFacts& clique : cliques) {
    for (int k = 0; k < clique.links.size(); ++k) {
      Link& link = clique.links[k];
      int& first = place[link.separator];
      if (first < 0) {
        first = k;
      } else {
        link.back = first;
        cliques[link.neighbour].links[first].back = k;
      }
    }
  }
}

// Beliefs are read where that takes least: at the smallest separator that holds the node.
void Structure::AddSeparators() {
  for (int s = 0; s < separators.size(); ++s) {
    separators[s].variables = VariablesAmong(tree->separators[s].members);
    for (int m : separators[s].variables) {
      separatorsOf[m].push_back(s);
      int& read = readAt[m];
      if (read < 0 || tree->separators[s].size < tree->separators[read].size) read = s;
    }
  }
}

// What each clique has to do: tables multiplied into it, findings entered, beliefs of nodes in no separator.
void Structure::PlaceNodes() {
  for (int node = 0; node < NumNodes(); ++node) {
    if (tree->home[node] >= 0) cliques[tree->home[node]].homed.push_back(node);
    if (entry[node] >= 0) cliques[entry[node]].entered.push_back(node);
    if (readAt[node] >= 0)
      separators[readAt[node]].read.push_back(node);
    else if (numstates[node] > 1 && entry[node] >= 0)
      cliques[entry[node]].lone.push_back(node);
  }
  for (CliqueFacts& clique : cliques) {
    for (Link& link : clique.links) {
      const Vector<int>& shared = separators[link.separator].variables;
      for (int node : clique.homed) link.tellsOfHomed |= std::find(shared.begin(), shared.end(), node) != shared.end();
    }
  }
}

// Parents and depths from the first clique on, breadth first.
void Structure::RootTree() {
  parentClique.assign(cliques.size(), -1);
  depth.assign(cliques.size(), 0);
  Vector<int> queue;
  if (!cliques.empty()) queue.push_back(0);
  for (int head = 0; head < queue.size(); ++head) {
    const int c = queue[head];
    if (tree->cliques[c].size < tree->cliques[smallestClique].size) smallestClique = c;
    for (const Link& link : cliques[c].links) {
      if (link.neighbour == parentClique[c]) continue;
      parentClique[link.neighbour] = c;
      depth[link.neighbour] = depth[c] + 1;
      queue.push_back(link.neighbour);
    }
  }
}

bool Structure::IsInClique(int node, int clique) const {
  const Vector<int>& members = cliques[clique].variables;
  return std::find(members.begin(), members.end(), node) != members.end();
}

int Structure::TableSize(int node) const {
  int size = 1;
  for (int member : families[node]) size *= numstates[member];
  return size;
}

// The deeper end goes up until both meet. What the far end passed is put down last, turned around.
void Structure::FindPath(int from, int to, Vector<int>* path) const {
  path->clear();
  int numFar = 0;
  for (int far = to; from != far;) {
    if (depth[from] >= depth[far]) {
      path->push_back(from);
      from = parentClique[from];
    } else {
      far = parentClique[far];
      ++numFar;
    }
  }
  path->push_back(from);
  path->resize(path->size() + numFar);
  for (int k = path->size(), far = to; numFar > 0; --numFar, far = parentClique[far]) (*path)[--k] = far;
}

}  // namespace bravic::engine
