// Inference on a junction tree by lazily kept messages (Shenoy & Shafer 1990; Lauritzen & Spiegelhalter 1988). A
// clique's potential is the product of its tables and never changes with the findings; what neighbouring cliques
// tell each other stands in two messages per separator, one each way, remade only when something behind them has
// changed. A finding is entered at one clique, so a change of it leaves every message towards that clique valid.
//
// A state finding takes its variable out of every pass over a clique that holds it; a message made meanwhile holds
// that one state only, so it is dense over the variables that were free. Messages are scaled by a power of two to a
// largest entry in [0.5, 1); exponents add up along the tree, so that the probability of the findings keeps full
// precision however small it is. What numbers of limited range may have lost is judged in Range.h. A message from
// beyond which nothing is known but distributions of nodes that end there is 1 throughout, and is not computed.
//
// When all beliefs are asked for, each clique is passed over once with every incoming message multiplied in, and an
// outgoing message is the sum on its separator divided by the incoming one. Where that was 0 the quotient is
// unknown and set to 0, which is right as long as the incoming 0 stays: such a message is marked as resting on the
// one against it.
#include <algorithm>
#include <cmath>
#include <limits>

#include "Bn/engine/infer/Propagation.h"

namespace bravic::engine {

void Inference::Impl::Build() {
  const std::size_t numCliques = tree->cliques.size(), n = numstates.size();
  cliques.resize(numCliques);
  separators.resize(tree->separators.size());
  messages.resize(2 * separators.size());
  cliquesOf.resize(n);
  separatorsOf.resize(n);
  findings.resize(n);
  children.resize(n);
  for (std::size_t i = 0; i < n; ++i)
    for (int parent : parents[i]) children[parent].push_back(static_cast<int>(i));
  tableFacts.resize(n);
  parentsVisited.assign(n, 0);
  childrenVisited.assign(n, 0);
  targetAt.assign(n, 0);
  entry.assign(n, -1);
  readAt.assign(n, -1);
  axisOf.assign(n, -1);
  auto variables = [&](const Vector<int>& members) {
    Vector<int> list;
    for (int m : members)
      if (numstates[m] > 1) list.push_back(m);
    return list;
  };
  for (std::size_t c = 0; c < numCliques; ++c) {
    const Clique& from = tree->cliques[c];
    CliqueState& clique = cliques[c];
    clique.variables = variables(from.members);
    clique.links.resize(from.neighbours.size());
    for (int k = 0; k < from.neighbours.size(); ++k) {
      const int s = from.separators[k];
      const int second = tree->separators[s].cliques[1] == static_cast<int>(c);
      Link& link = clique.links[k];
      link.neighbour = from.neighbours[k];
      link.separator = s;
      link.in = 2 * s + 1 - second;
      link.out = 2 * s + second;
    }
    for (int m : from.members) {
      cliquesOf[m].push_back(static_cast<int>(c));
      if (entry[m] < 0 || from.size < tree->cliques[entry[m]].size) entry[m] = static_cast<int>(c);
    }
  }
  for (int s = 0; s < separators.size(); ++s) {
    separators[s].variables = variables(tree->separators[s].members);
    for (std::size_t way = 0; way < 2; ++way)
      messages[2 * s + way].fixedAt.assign(separators[s].variables.size(), FREE);
    for (int m : separators[s].variables) {
      separatorsOf[m].push_back(s);
      int& read = readAt[m];
      if (read < 0 || tree->separators[s].size < tree->separators[read].size) read = s;
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    const int node = static_cast<int>(i);
    if (tree->home[i] >= 0) cliques[tree->home[i]].homed.push_back(node);
    if (entry[i] >= 0) cliques[entry[i]].entered.push_back(node);
    if (readAt[i] >= 0)
      separators[readAt[i]].read.push_back(node);
    else if (numstates[i] > 1 && entry[i] >= 0)
      cliques[entry[i]].alone.push_back(node);
  }
  for (CliqueState& clique : cliques) {
    for (Link& link : clique.links) {
      const Vector<int>& shared = separators[link.separator].variables;
      for (int node : clique.homed) link.tellsOfHomed |= std::find(shared.begin(), shared.end(), node) != shared.end();
    }
  }
  RootTree();
}

void Inference::Impl::RootTree() {
  parentClique.assign(cliques.size(), -1);
  depth.assign(cliques.size(), 0);
  Vector<int> queue;
  if (!cliques.empty()) queue.push_back(0);
  for (int head = 0; head < queue.size(); ++head) {
    const int c = queue[head];
    if (tree->cliques[c].size < tree->cliques[pivot].size) pivot = c;
    for (const Link& link : cliques[c].links) {
      if (link.neighbour == parentClique[c]) continue;
      parentClique[link.neighbour] = c;
      depth[link.neighbour] = depth[c] + 1;
      queue.push_back(link.neighbour);
    }
  }
}

// What rests on an invalid message is invalid: all messages further on, and the one against it when that was
// divided by a zero of it.
void Inference::Impl::Invalidate(int message) {
  if (!messages[message].valid) return;
  messages[message].valid = false;
  work.assign(1, message);
  while (!work.empty()) {
    const int m = work.back();
    work.pop_back();
    const Separator& separator = tree->separators[m / 2];
    const int to = separator.cliques[1 - m % 2];
    for (const Link& link : cliques[to].links) {
      if (link.in == m || !messages[link.out].valid) continue;
      messages[link.out].valid = false;
      work.push_back(link.out);
    }
    if (messages[m ^ 1].valid && messages[m ^ 1].rests) {
      messages[m ^ 1].valid = false;
      work.push_back(m ^ 1);
    }
  }
}

void Inference::Impl::InvalidateFrom(int clique) {
  for (const Link& link : cliques[clique].links) Invalidate(link.out);
}

void Inference::Impl::Changed(int clique) {
  InvalidateFrom(clique);
  pivot = clique;
  Forget();
}

void Inference::Impl::Forget() {
  propagated = wide = false;
  spent = sweepCost = 0;
  numSwept = 0;
  Vector<Block<WideNumber>>().swap(wideMessages);
  ++stamp;
}

void Inference::Impl::InvalidateAll() {
  for (Message& message : messages) message.valid = false;
  Forget();
}

void Inference::Impl::LayoutChanged(int node) {
  for (int c : cliquesOf[node]) ++cliques[c].layoutNumber;
}

// Messages that hold one state of the node only are of no use any more.
void Inference::Impl::ForgetState(int node) {
  for (int s : separatorsOf[node]) {
    const Vector<int>& variables = separators[s].variables;
    const auto at = std::find(variables.begin(), variables.end(), node) - variables.begin();
    for (int m = 2 * s; m < 2 * s + 2; ++m)
      if (messages[m].fixedAt[at] != FREE) Invalidate(m);
  }
}

void Inference::Impl::SetChecked(int node, bool checked) {
  Finding& finding = findings[node];
  if (finding.state == FREE && !finding.weighted) checked = true;
  if (finding.checked == checked) return;
  finding.checked = checked;
  if (checked)
    unchecked.erase(std::find(unchecked.begin(), unchecked.end(), node));
  else
    unchecked.push_back(node);
}

void Inference::Impl::ForgetChecks() {
  tablesChecked = false;
  for (int i = 0; i < findings.size(); ++i) SetChecked(i, false);
}

void Inference::Impl::CheckedAll() {
  tablesChecked = true;
  for (int node : unchecked) findings[node].checked = true;
  unchecked.clear();
}

// Weights largest of which is above 0, if there are any.
void Inference::Impl::SetFinding(int node, int state, std::span<const WideNumber> weights) {
  Finding& finding = findings[node];
  if (finding.state != FREE && finding.state != state) ForgetState(node);
  if ((finding.state == FREE) != (state == FREE) || finding.weighted == weights.empty()) LayoutChanged(node);
  numWeighted += static_cast<int>(!weights.empty()) - static_cast<int>(finding.weighted);
  numKnown += static_cast<int>(state != FREE) - static_cast<int>(finding.state != FREE);
  finding.state = state;
  finding.weighted = !weights.empty();
  finding.serial = ++lastSerial;
  finding.weights.assign(weights.begin(), weights.end());
  if (finding.weighted) {
    WideNumber least;
    for (WideNumber w : weights)
      if (w.mantissa > 0 && (least.mantissa == 0 || w < least)) least = w;
    finding.exponent = std::max_element(weights.begin(), weights.end())->exponent;
    finding.range = {static_cast<int>(std::max(least.exponent - 1 - finding.exponent, -1000000LL)), NO_LOSS};
    if (finding.range.low < DOUBLE_FLOOR) finding.range.lost = DOUBLE_FLOOR;
    finding.doubles.clear();
    for (WideNumber w : weights) finding.doubles.push_back(ToDouble(w, -finding.exponent));
    finding.floats.assign(weights.size() + KERNEL_SLACK, 0.0f);
    for (std::size_t s = 0; s < weights.size(); ++s) finding.floats[s] = static_cast<float>(finding.doubles[s]);
  }
  SetChecked(node, false);
  Changed(entry[node]);
}

Inference::Inference() : impl_(NewObject<Impl>()) {}

Inference::~Inference() {
  DeleteObject(impl_);
}

Owned<Inference> Inference::Make(const JunctionTree& tree, std::span<const int> numstates,
                                 std::span<const Vector<int>> parents) {
  Owned<Inference> inference = MakeOwned<Inference>();
  Impl& impl = *inference->impl_;
  impl.tree = &tree;
  impl.parents = parents;
  impl.numstates.assign(numstates.begin(), numstates.end());
  impl.Build();
  return inference;
}

void Inference::SetState(int node, int state) {
  const Finding& finding = impl_->findings[node];
  if (impl_->numstates[node] == 1) return ClearFinding(node);
  if (finding.state != state || finding.weighted) impl_->SetFinding(node, state, {});
}

void Inference::SetLikelihood(int node, std::span<const float> weights) {
  Vector<WideNumber> numbers;
  for (float w : weights) numbers.push_back(ToWide(static_cast<double>(w)));
  SetLikelihood(node, numbers);
}

void Inference::SetLikelihood(int node, std::span<const WideNumber> weights) {
  const Finding& finding = impl_->findings[node];
  if (finding.weighted && std::equal(weights.begin(), weights.end(), finding.weights.begin())) return;
  impl_->SetFinding(node, FREE, weights);
}

void Inference::ClearFinding(int node) {
  const Finding& finding = impl_->findings[node];
  if (finding.state != FREE || finding.weighted) impl_->SetFinding(node, FREE, {});
}

void Inference::SetMaximize(bool on) {
  if (impl_->maximize == on) return;
  impl_->maximize = on;
  impl_->InvalidateAll();
}

void Inference::StartLong(const ProgressFunction& progress, int sweeps) {
  const double entries = impl_->tree->totalSize + PASS_ENTRIES * static_cast<double>(impl_->cliques.size());
  impl_->interrupt.Start(progress, sweeps * entries);
}

bool Inference::FinishLong() {
  const bool halted = impl_->interrupt.halted;
  impl_->interrupt.Start(nullptr, 1);
  if (!halted) return false;
  impl_->reducedModels.clear();
  impl_->InvalidateAll();
  return true;
}

unsigned long long Inference::Stamp() const {
  return impl_->stamp;
}

double Inference::Bytes() const {
  double bytes = 0;
  auto addPasses = [&](const PassCache& cache) {
    for (const PreparedPass& pass : cache.passes)
      bytes += static_cast<double>(
          sizeof pass + pass.plan.tables.size() * sizeof(PassPlan::Table) +
          (pass.plan.pool.size() + pass.plan.prefixStrides.size() + pass.shape.strides.size()) * sizeof(int));
  };
  for (const CliqueState& clique : impl_->cliques) {
    if (impl_->allocated && clique.potential) bytes += static_cast<double>(clique.size) * sizeof(float);
    if (impl_->allocated && clique.exact) bytes += static_cast<double>(clique.size) * sizeof(double);
    addPasses(clique.sweep);
    addPasses(clique.read);
    for (const Link& link : clique.links) addPasses(link.send);
  }
  for (const auto& model : impl_->reducedModels) bytes += model->inference->Bytes();
  if (impl_->allocated)
    for (const SeparatorState& separator : impl_->separators)
      bytes +=
          2 * static_cast<double>(separator.size) * ((separator.doubles ? 8.0 : 0.0) + (separator.floats ? 4.0 : 0.0));
  return bytes;
}

}  // namespace bravic::engine
