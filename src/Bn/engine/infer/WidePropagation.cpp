#include "Bn/engine/infer/WidePropagation.h"

#include <algorithm>

namespace bravic::engine {

WidePropagation::WidePropagation(const Structure& structure, const Findings& findings, const NodeTables& tables,
                                 Potentials& potentials, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      tables_(tables),
      potentials_(potentials),
      mode_(mode),
      maker_(structure.numstates) {}

void WidePropagation::Forget() {
  Vector<Block<WideNumber>>().swap(messages_);
}

// The tables of the nodes homed in the clique. What they are made of is normalized in doubles.
void WidePropagation::AddNodeTables(int clique, Factors* factors) {
  for (int node : structure_.cliques[clique].homed) {
    if (!tables_[node]) continue;
    Vector<WideNumber>& entries = factors->own.emplace_back();
    tables_.ForEachEntry(node, 1, [&](double entry) { entries.push_back(ToWide(entry)); });
    int first = 0;
    maker_.Place(
        structure_.families[node], [](int) { return true; }, shape_.AddFactor(),
        [&](int v, int stride) { first += findings_[v].state * stride; });
    factors->starts.push_back(entries.data() + first);
  }
}

void WidePropagation::AddMessages(int clique, int exceptLink, Factors* factors) {
  auto add = [&](std::span<const int> variables, const WideNumber* entries) {
    maker_.Place(
        variables, [&](int k) { return findings_.IsFree(variables[k]); }, shape_.AddFactor(), [](int, int) {});
    factors->starts.push_back(entries);
  };
  const CliqueFacts& facts = structure_.cliques[clique];
  for (int k = 0; k < facts.links.size(); ++k)
    if (k != exceptLink) add(structure_.VariablesOf(facts.links[k].in), Of(facts.links[k].in).get());
  for (int node : facts.entered)
    if (findings_[node].weighted) add(std::span<const int>(&node, 1), findings_[node].weights.data());
}

bool WidePropagation::AddTargets(std::span<const Target> targets) {
  for (const Target& target : targets) {
    maker_.Place(
        target.variables, [&](int k) { return findings_.IsFree(target.variables[k]); }, shape_.AddTarget(),
        [](int, int) {});
    const int size = findings_.FreeSize(target.variables);
    *target.to = TryMakeBlock<WideNumber>(size);
    if (!*target.to) return false;
    std::fill_n(target.to->get(), size, WideNumber{});
  }
  return true;
}

// One entry of the potential after the other, as long as nobody halts it.
bool WidePropagation::MultiplyAndSum(int clique, const Factors& factors, int potentialStart,
                                     std::span<const Target> targets) {
  const Potential& potential = potentials_[clique];
  const bool hasPotential = potentialStart >= 0;
  const int numFactors = factors.starts.size(), numTables = shape_.NumTables();
  int states[MAX_AXES] = {};
  Vector<int> offsets(numTables, 0);
  do {
    if (mode_.watch->Halts(1)) return false;
    WideNumber product = {0.5, 1};
    if (hasPotential) {
      const int i = potentialStart + offsets[0];
      product = ToWide(potential.doubles ? potential.doubles[i] : potential.unscale * potential.floats[i]);
    }
    for (int f = 0; f < numFactors && product.mantissa > 0; ++f) product = product * factors.starts[f][offsets[1 + f]];
    for (int k = 0; k < Count(targets) && product.mantissa > 0; ++k) {
      WideNumber& sum = (*targets[k].to)[offsets[1 + numFactors + k]];
      sum = mode_.maximize ? std::max(sum, product) : sum + product;
    }
  } while (StepOn(shape_.numAxes, shape_.sizes.data(), states, [&](int axis, int steps) {
             for (int t = 0; t < numTables; ++t) offsets[t] += steps * shape_.Strides(t)[axis];
           }) >= 0);
  return true;
}

// Sums onto the free ones of the targets' variables, all messages but that of exceptLink being there; false without
// memory.
bool WidePropagation::Pass(int c, int exceptLink, std::span<const Target> targets) {
  const CliqueFacts& clique = structure_.cliques[c];
  const Potential& potential = potentials_.Filled(c);
  maker_.Begin(
      clique.variables, [&](int v) { return findings_.IsFree(v); }, &shape_);
  // The product of the tables, where that holds all of it, or the tables.
  Factors factors;
  int potentialStart = -1;
  if (potential.range.lost == NO_LOSS) {
    potentialStart = 0;
    maker_.Place(
        clique.variables, [](int) { return true; }, shape_.Strides(0),
        [&](int v, int stride) { potentialStart += findings_[v].state * stride; });
  } else {
    AddNodeTables(c, &factors);
  }
  AddMessages(c, exceptLink, &factors);
  return AddTargets(targets) && MultiplyAndSum(c, factors, potentialStart, targets);
}

// All messages out of the clique that are missing, in one pass, divided by those against them.
bool WidePropagation::SendAll(int c) {
  Vector<Target> targets;
  Vector<MessageId> sent;
  for (const Link& link : structure_.cliques[c].links) {
    if (Of(link.out)) continue;
    targets.push_back({structure_.VariablesOf(link.out), &Of(link.out)});
    sent.push_back(link.out);
  }
  if (!Pass(c, -1, targets)) {
    for (MessageId id : sent) Of(id).reset();
    return false;
  }
  for (MessageId id : sent) {
    const int size = findings_.FreeSize(structure_.VariablesOf(id));
    WideNumber* out = Of(id).get();
    const WideNumber* against = Of(id.Opposite()).get();
    for (int i = 0; i < size; ++i) out[i] = against[i].mantissa > 0 ? out[i] / against[i] : WideNumber{};
  }
  return true;
}

// The message along the link; where the one against it is there, all others too.
bool WidePropagation::Send(int c, int k) {
  const Link& link = structure_.cliques[c].links[k];
  if (Of(link.in)) return SendAll(c);
  const Target target = {structure_.VariablesOf(link.out), &Of(link.out)};
  return Pass(c, k, std::span<const Target>(&target, 1));
}

bool WidePropagation::Collect(int root) {
  if (messages_.empty()) messages_.resize(2 * structure_.separators.size());
  return walk_.Inward(
      structure_, root, [&](const Link& link) { return !Of(link.in); }, [&](int c, int k) { return Send(c, k); });
}

bool WidePropagation::SumAll(int clique, WideNumber* sum) {
  Block<WideNumber> table;
  const Target target = {{}, &table};
  if (!Collect(clique) || !Pass(clique, -1, std::span<const Target>(&target, 1))) return false;
  *sum = table[0];
  return true;
}

const double* WidePropagation::SumOnto(int clique, std::span<const int> nodes, long long* exponent) {
  Block<WideNumber> table;
  const Target target = {nodes, &table};
  if (!Collect(clique) || !Pass(clique, -1, std::span<const Target>(&target, 1))) return nullptr;
  const int size = findings_.FreeSize(nodes);
  const WideNumber largest = *std::max_element(table.get(), table.get() + size);
  *exponent = largest.exponent;
  sums_.assign(size, 0.0);
  for (int i = 0; i < size; ++i) sums_[i] = ToDouble(table[i], -largest.exponent);
  return sums_.data();
}

}  // namespace bravic::engine
