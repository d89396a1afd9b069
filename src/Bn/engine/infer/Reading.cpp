// Beliefs, read where messages meet, and the sweep that makes all messages away from a clique.
#include <algorithm>

#include "Bn/engine/infer/Propagation.h"

namespace bravic::engine {

// A table over the free ones of the nodes, given that the messages into the clique are valid, and what it may lack. The
// key tells sets of nodes apart.
const double* Inference::Impl::SumOnto(int c, int key, std::span<const int> nodes, int* lost) {
  if (!cliques[c].filled) FillClique(c);
  PreparedPass& pass = Prepared(&cliques[c].read, c, -1, key, {}, nodes, true);
  const std::size_t size = FreeSize(nodes);
  targets.assign(1, Target(0, size, nullptr));
  const int floor = Run(&pass, c, -1);
  *lost = LostInSums(floor, pass, size);
  return sums[0].data();
}

bool Inference::Impl::Normalize(const double* from_, std::span<float> to) const {
  double whole = 0;
  for (std::size_t i = 0; i < to.size(); ++i) whole = maximize ? std::max(whole, from_[i]) : whole + from_[i];
  if (!(whole > 0)) {
    std::fill(to.begin(), to.end(), 0.0f);
    return false;
  }
  for (std::size_t i = 0; i < to.size(); ++i) to[i] = static_cast<float>(from_[i] / whole);
  return true;
}

// The same of weights that may lack so much; false where that could matter.
bool Inference::Impl::NormalizeSure(const double* from, int lost, std::span<float> to) const {
  return (lost == NO_LOSS || JudgeEach(from, to.size(), lost) == Outcome::GOOD) && Normalize(from, to);
}

// What SumOnto answers, normalized.
bool Inference::Impl::SumSurely(int c, int key, std::span<const int> nodes, std::span<float> to) {
  int lost;
  const double* table = SumOnto(c, key, nodes, &lost);
  return NormalizeSure(table, lost, to);
}

// From a table over the free ones of the variables, last fastest, whose entries may lack so much.
bool Inference::Impl::MarginalOf(const double* table, std::span<const int> variables, int node, int lost,
                                 std::span<float> to) {
  std::size_t outer = 1, inner = 1;
  bool passed = false;
  for (int v : variables) {
    if (v == node)
      passed = true;
    else if (findings[v].state == FREE)
      (passed ? inner : outer) *= At(numstates[v]);
  }
  marginal.assign(to.size(), 0.0);
  for (std::size_t o = 0; o < outer; ++o) {
    for (std::size_t s = 0; s < to.size(); ++s) {
      double sum = marginal[s];
      for (std::size_t i = 0; i < inner; ++i, ++table) sum = maximize ? std::max(sum, *table) : sum + *table;
      marginal[s] = sum;
    }
  }
  if (lost != NO_LOSS && !maximize) lost += Exponent(static_cast<double>(outer * inner));
  return NormalizeSure(marginal.data(), lost, to);
}

// The same without room for the separator's belief: a pass over one message with the other as factor.
bool Inference::Impl::ReadLargeSeparator(int s, std::span<const int> nodes, const BeliefPlace& out) {
  const SeparatorState& separator = separators[s];
  bool good = true;
  for (int node : nodes) {
    float* belief = out(node);
    if (!belief || findings[node].state != FREE) continue;
    PassShape shape;
    int axes = 0;
    for (int v : separator.variables) axisOf[v] = findings[v].state == FREE ? axes++ : FREE;
    shape.Clear(axes);
    const float* tables[2];
    ProductRange range;
    for (int way = 0; way < 2; ++way) {
      const Message& message = messages[2 * At(s) + At(way)];
      int* strides = way == 0 ? shape.Strides(0) : shape.AddFactor();
      tables[way] = message.floats;
      range.Multiply(message.range);
      int stride = 1;
      for (std::size_t k = separator.variables.size(); k-- > 0;) {
        const int v = separator.variables[k];
        if (message.fixedAt[k] != FREE) continue;
        if (axisOf[v] == FREE) {
          tables[way] += findings[v].state * stride;
        } else {
          strides[axisOf[v]] = stride;
          shape.sizes[axisOf[v]] = numstates[v];
        }
        stride *= numstates[v];
      }
    }
    shape.AddTarget()[axisOf[node]] = 1;
    PassPlan plan;
    MakePlan(shape, &plan);
    arena.GrowTo(plan.arena);
    marginal.assign(At(numstates[node]), 0.0);
    const PassTarget target{marginal.data(), nullptr};
    RunPlan(plan, *kernels, tables[0], tables + 1, &target, arena.data(), maximize);
    const int lost = range.Lost(FLOAT_FLOOR, static_cast<double>(FreeSize(separator.variables)));
    good &= NormalizeSure(marginal.data(), lost, std::span(belief, marginal.size()));
  }
  return good;
}

// Both messages are valid: their product is the separator's belief.
bool Inference::Impl::ReadSeparator(int s, std::span<const int> nodes, const BeliefPlace& out) {
  const SeparatorState& separator = separators[s];
  const Message& one = messages[2 * At(s)];
  const Message& other = messages[2 * At(s) + 1];
  const std::size_t size = FreeSize(separator.variables);
  if (!one.probs) return ReadLargeSeparator(s, nodes, out);
  int numFixed = 0;
  for (int v : separator.variables) numFixed += findings[v].state != FREE;
  joint.resize(size);
  std::size_t i = 0;
  if (one.numFixed == numFixed)
    for (; i < size; ++i) joint[i] = one.probs[i];
  else
    ForEachFree(separator.variables, one.fixedAt, [&](std::size_t index) { joint[i++] = one.probs[index]; });
  i = 0;
  if (other.numFixed == numFixed)
    for (; i < size; ++i) joint[i] *= other.probs[i];
  else
    ForEachFree(separator.variables, other.fixedAt, [&](std::size_t index) { joint[i++] *= other.probs[index]; });
  ProductRange range;
  range.Multiply(one.range);
  range.Multiply(other.range);
  const int lost = range.Lost(DOUBLE_FLOOR, 1);
  bool good = true;
  for (int node : nodes) {
    float* belief = out(node);
    if (!belief || findings[node].state != FREE) continue;
    good &= MarginalOf(joint.data(), separator.variables, node, lost, {belief, At(numstates[node])});
  }
  return good;
}

// The cliques from one to another, both included, in path.
void Inference::Impl::FindWay(int start, int end) {
  path.clear();
  work.clear();
  while (start != end) {
    if (depth[start] >= depth[end]) {
      path.push_back(start);
      start = parentClique[start];
    } else {
      work.push_back(end);
      end = parentClique[end];
    }
  }
  path.push_back(start);
  path.insert(path.end(), work.rbegin(), work.rend());
}

// Of the cliques that hold the node, the nearest to where messages were collected.
int Inference::Impl::CliqueForReading(int node) {
  FindWay(entry[node], pivot);
  int best = path[0];
  for (int i = 1; i < path.size(); ++i) {
    const Vector<int>& members = cliques[path[i]].variables;
    if (std::find(members.begin(), members.end(), node) == members.end()) break;
    best = path[i];
  }
  return best;
}

// The beliefs of the clique's lone variables, from their table.
Outcome Inference::Impl::ReadAlone(int c, const double* table, int lost, const BeliefPlace& out) {
  const Vector<int>& alone = cliques[c].alone;
  for (int node : alone) {
    if (findings[node].state != FREE) continue;
    float* belief = out(node);
    if (belief && !MarginalOf(table, alone, node, lost, {belief, At(numstates[node])})) return Outcome::DOUBTFUL;
  }
  return Outcome::GOOD;
}

// A quotient of numbers that lack something could lack anything, so each message is made by itself.
Outcome Inference::Impl::SweepSingly(int c, bool lone, const BeliefPlace& out) {
  const Vector<int> links(outgoing);
  for (int k : links)
    if (const Outcome outcome = MakeMessage(c, k); outcome != Outcome::GOOD) return outcome;
  if (!lone) return Outcome::GOOD;
  int lost;
  const double* table = SumOnto(c, findings.size(), cliques[c].alone, &lost);
  return ReadAlone(c, table, lost, out);
}

// All messages out of the clique but the one to where we come from, and the beliefs of its lone variables.
Outcome Inference::Impl::Sweep(int c, int source, const BeliefPlace& out) {
  CliqueState& clique = cliques[c];
  outgoing.clear();
  const int numInformative = NumInformative(c);
  for (int k = 0; k < clique.links.size(); ++k) {
    const Link& link = clique.links[k];
    if (link.neighbour == source || messages[link.out].valid) continue;
    if (!link.tellsOfHomed && numInformative == !messages[link.in].vacuous)
      StoreVacuous(link.out);
    else
      outgoing.push_back(k);
  }
  bool lone = false;
  for (int node : clique.alone) lone |= findings[node].state == FREE;
  if (outgoing.empty() && !lone) return Outcome::GOOD;
  if (!clique.filled) FillClique(c);
  PreparedPass& pass = Prepared(&clique.sweep, c, -1, 0, outgoing, clique.alone, lone);
  targets.clear();
  for (int k : outgoing) {
    const Link& link = clique.links[k];
    targets.push_back(
        Target(targets.size(), FreeSize(separators[link.separator].variables), messages[link.out].floats));
  }
  if (lone) targets.push_back(Target(targets.size(), FreeSize(clique.alone), nullptr));
  const ProductRange range = RangeOf(c, -1);
  const bool narrow = std::any_of(targets.begin(), targets.end(), [](const PassTarget& t) { return t.narrow; });
  const int floor = !narrow ? DOUBLE_FLOOR : range.FitsFloats() ? FLOAT_FLOOR - LIFT : FLOAT_FLOOR;
  if (range.Lost(floor, 1) != NO_LOSS) return SweepSingly(c, lone, out);
  Run(&pass, c, -1);
  const long long exponent = IncomingExponent(c, -1);
  for (int i = 0; i < outgoing.size(); ++i) {
    const int m = clique.links[outgoing[i]].out;
    messages[m].exponent = exponent;
    if (const Outcome outcome = StoreMessage(m, targets[i], true, NO_LOSS); outcome != Outcome::GOOD) return outcome;
  }
  return lone ? ReadAlone(c, targets.back().wide, NO_LOSS, out) : Outcome::GOOD;
}

}  // namespace bravic::engine
