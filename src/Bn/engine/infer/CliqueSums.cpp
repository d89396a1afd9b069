#include "Bn/engine/infer/CliqueSums.h"

#include <algorithm>

namespace bravic::engine {

CliqueSums::CliqueSums(const Structure& structure, const Findings& findings, NodeTables& tables, Potentials& potentials,
                       Messages& messages, CliquePasses& passes, WidePropagation& wide, Propagation& propagation,
                       const Mode& mode)
    : structure_(structure),
      findings_(findings),
      tables_(tables),
      potentials_(potentials),
      messages_(messages),
      passes_(passes),
      wide_(wide),
      propagation_(propagation),
      mode_(mode) {}

// False where the messages leave doubts.
bool CliqueSums::ReadNarrowly(int c, const NodeSet& nodes, ScaledTable* to) {
  const auto size = static_cast<std::size_t>(findings_.FreeSize(nodes.nodes));
  switch (propagation_.Collect(c)) {
    case Outcome::DOUBTFUL:
      return false;
    case Outcome::ZERO:
      zeros_.assign(size, 0.0);
      *to = {zeros_};
      return true;
    case Outcome::GOOD:
      break;
  }
  const Sums sums = passes_.SumOnto(c, nodes);
  if (sums.lost != NO_LOSS && JudgeEach(sums.entries, size, sums.lost) == Outcome::DOUBTFUL) return false;
  *to = {{sums.entries, size}, sums.unscale, messages_.IncomingExponent(c, -1) + findings_.WeightExponent()};
  return true;
}

// Likelihoods count with their whole weight there.
bool CliqueSums::ReadWidely(int c, const NodeSet& nodes, ScaledTable* to) {
  long long exponent;
  const double* sums = wide_.SumOnto(c, nodes.nodes, &exponent);
  if (sums) *to = {{sums, static_cast<std::size_t>(findings_.FreeSize(nodes.nodes))}, 1, exponent};
  return sums != nullptr;
}

bool CliqueSums::Read(int c, const NodeSet& nodes, ScaledTable* to) {
  bool isRead = !propagation_.IsWide() && ReadNarrowly(c, nodes, to);
  if (!isRead) {
    propagation_.GoWide();
    isRead = ReadWidely(c, nodes, to);
  }
  return isRead && !mode_.watch->halted;
}

// Nothing that comes in was made from the table, so messages stay as they are; wide ones are made for this clique
// alone, since some are quotients else.
bool CliqueSums::ReadWithoutTable(int node, ScaledTable* to) {
  const int c = structure_.tree->home[node];
  const NodeSet family = NodeSet::Family(structure_, node);
  if (propagation_.Collect(c) == Outcome::DOUBTFUL && mode_.watch->halted) return false;
  tables_.SetAside(node);
  potentials_.Forget(c);
  bool isRead = ReadNarrowly(c, family, to);
  if (!isRead && !mode_.watch->halted) {
    wide_.Forget();
    isRead = ReadWidely(c, family, to);
    wide_.Forget();
  }
  tables_.SetAside(NodeTables::NONE);
  potentials_.Forget(c);
  return isRead && !mode_.watch->halted;
}

int CliqueSums::FindClique(std::span<const int> nodes) const {
  if (nodes.empty()) return structure_.smallestClique;
  const auto rarest = std::min_element(nodes.begin(), nodes.end(), [&](int a, int b) {
    return structure_.cliquesOf[a].size() < structure_.cliquesOf[b].size();
  });
  int found = -1;
  for (int c : structure_.cliquesOf[*rarest]) {
    if (found >= 0 && structure_.tree->cliques[c].size >= structure_.tree->cliques[found].size) continue;
    if (std::all_of(nodes.begin(), nodes.end(), [&](int v) { return structure_.IsInClique(v, c); })) found = c;
  }
  return found;
}

}  // namespace bravic::engine
