// Messages, made where they are needed, and the answers that rest on them.
#include "Bn/engine/infer/Propagation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

namespace bravic::engine {

namespace {

template <class Number>
void Scale(const Kernels& kernels, const Number* entries, std::size_t size, double scale, const Message& to) {
  if constexpr (std::is_same_v<Number, double>)
    if (to.probs) return kernels.scale(entries, size, scale, to.probs, scale / to.unscale, to.floats);
  if (to.probs)
    for (std::size_t i = 0; i < size; ++i) to.probs[i] = static_cast<double>(entries[i]) * scale;
  scale /= to.unscale;
  if (to.floats)
    for (std::size_t i = 0; i < size; ++i) to.floats[i] = static_cast<float>(static_cast<double>(entries[i]) * scale);
}

// Each entry divided by its counterpart, 0 where that is 0; answers whether any was.
template <class Number, class Divisor>
bool Divide(Number* entries, std::size_t size, const Divisor* against) {
  bool zero = false;
  for (std::size_t i = 0; i < size; ++i) {
    const bool none = against[i] == 0;
    zero |= none;
    entries[i] = none ? 0 : entries[i] / static_cast<Number>(against[i]);
  }
  return zero;
}

}  // namespace

// Which states it is for.
void Inference::Impl::DescribeMessage(int m) {
  Message& message = messages[m];
  const SeparatorState& separator = separators[m / 2];
  bool moved = false;
  int numFixed = 0;
  for (int k = 0; k < separator.variables.size(); ++k) {
    const int state = findings[separator.variables[k]].state;
    moved |= (message.fixedAt[k] == FREE) != (state == FREE);
    numFixed += state != FREE;
    message.fixedAt[k] = state;
  }
  message.numFixed = numFixed;
  if (moved) ++cliques[tree->separators[m / 2].cliques[1 - m % 2]].layoutNumber;
  message.rests = message.vacuous = false;
}

void Inference::Impl::StoreVacuous(int m) {
  DescribeMessage(m);
  Message& message = messages[m];
  const std::size_t size = FreeSize(separators[m / 2].variables);
  if (message.probs) std::fill_n(message.probs, size, 1.0);
  if (message.floats) std::fill_n(message.floats, size, 1.0f);
  message.unscale = 1;
  message.exponent = 0;
  message.range = {};
  message.vacuous = message.valid = true;
}

// The exponent that the entries carry so far stands in the message.
Outcome Inference::Impl::StoreMessage(int m, const PassTarget& target, bool divide, int lost) {
  DescribeMessage(m);
  Message& message = messages[m];
  const SeparatorState& separator = separators[m / 2];
  const std::size_t size = FreeSize(separator.variables);
  auto store = [&](auto* entries) {
    if (divide) {
      const Message& against = messages[m ^ 1];
      message.exponent -= against.exponent;
      auto by = [&](const auto* divisors) {
        return against.numFixed == message.numFixed
                   ? Divide(entries, size, divisors)
                   : DivideSlice(entries, separator.variables, against.fixedAt, divisors);
      };
      message.rests = against.probs ? by(against.probs) : by(against.floats);
    }
    auto largest = *entries, least = *entries;
    if constexpr (std::is_same_v<decltype(entries), double*>)
      kernels->findRange(entries, size, &largest, &least);
    else
      FindRange(entries, size, &largest, &least);
    const Outcome outcome = Judge(static_cast<double>(largest), lost);
    message.valid = outcome == Outcome::GOOD;
    if (!message.valid) return outcome;
    const int exponent = Exponent(static_cast<double>(largest) * passUnscale);
    const int floor = message.probs ? DOUBLE_FLOOR : FLOAT_FLOOR;
    message.range = StoredRange(static_cast<double>(least), Exponent(static_cast<double>(largest)), lost, floor);
    message.range.low -= 2 * spreadsRounding;
    message.unscale = spreadsRounding && message.probs ? 1 / SpreadFactor(m) : 1;
    if (message.range.low < FLOAT_FLOOR && message.probs) message.unscale *= PowerOfTwo(-LIFT);
    Scale(*kernels, entries, size, passUnscale * PowerOfTwo(std::clamp(-exponent, -1022, 1023)), message);
    message.exponent += exponent;
    return outcome;
  };
  return target.wide ? store(target.wide) : store(target.narrow);
}

// How many messages and findings tell the clique more than 1 throughout.
int Inference::Impl::NumInformative(int c) {
  int count = maximize || !HomedAreProper(c);
  for (const Link& link : cliques[c].links) count += messages[link.in].valid && !messages[link.in].vacuous;
  for (int node : cliques[c].entered) count += findings[node].state != FREE || findings[node].weighted;
  return count;
}

Outcome Inference::Impl::MakeMessage(int c, int k) {
  Link& link = cliques[c].links[k];
  Message& message = messages[link.out];
  const Message& against = messages[link.in];
  if (!link.tellsOfHomed && NumInformative(c) == (against.valid && !against.vacuous)) {
    StoreVacuous(link.out);
    return Outcome::GOOD;
  }
  if (!cliques[c].filled) FillClique(c);
  PreparedPass& pass = Prepared(&link.send, c, k, 0, std::span<const int>(&k, 1), {}, false);
  const std::size_t size = FreeSize(separators[link.separator].variables);
  targets.assign(1, Target(0, size, message.floats));
  const int floor = Run(&pass, c, k);
  message.exponent = IncomingExponent(c, k);
  return StoreMessage(link.out, targets[0], false, LostInSums(floor, pass, size));
}

// Makes every message into the clique valid, deepest first, as long as all goes well.
Outcome Inference::Impl::Collect(int root) {
  sinceTree = lookAgain = 0;
  // path: cliques from the root down to the one looked at; cursor: the link of each looked at next.
  path.assign(1, root);
  cursor.assign(1, 0);
  while (!path.empty()) {
    const int c = path.back();
    const CliqueState& clique = cliques[c];
    const int above = path.size() > 1 ? path[path.size() - 2] : -1;
    bool descended = false;
    while (cursor.back() < clique.links.size()) {
      const Link& link = clique.links[cursor.back()++];
      if (link.neighbour == above || messages[link.in].valid) continue;
      path.push_back(link.neighbour);
      cursor.push_back(0);
      descended = true;
      break;
    }
    if (descended) continue;
    if (above >= 0) {
      int k = 0;
      while (clique.links[k].neighbour != above) ++k;
      const Outcome outcome = MakeMessage(c, k);
      if (outcome != Outcome::GOOD) return outcome;
    }
    path.pop_back();
    cursor.pop_back();
  }
  return Outcome::GOOD;
}
Status Inference::Impl::PropagateNarrow(int node, std::span<float> to) {
  const Outcome collected = Collect(pivot);
  if (collected == Outcome::ZERO) return Status::Inconsistent;
  if (collected == Outcome::DOUBTFUL) return PropagateWide();
  const bool isAsked = node >= 0;
  int lost;
  const double* table =
      isAsked ? SumOnto(pivot, node, std::span<const int>(&node, 1), &lost) : SumOnto(pivot, -1, {}, &lost);
  total = *table;
  for (std::size_t s = 1; s < to.size(); ++s) total = maximize ? std::max(total, table[s]) : total + table[s];
  totalExponent = IncomingExponent(pivot, -1);
  const Outcome outcome = isAsked ? JudgeEach(table, to.size(), lost) : Judge(total, lost);
  if (outcome == Outcome::DOUBTFUL) return PropagateWide();
  if (outcome == Outcome::ZERO) return Status::Inconsistent;
  if (isAsked) Normalize(table, to);
  total *= passUnscale;
  return Status::Done;
}

// Together with the belief of a node that the pivot holds, unless wide numbers are needed (-1: without).
Status Inference::Impl::Propagate(int node, std::span<float> to) {
  if (propagated) return status;
  if (!allocated || !tableOf) return Status::NoMemory;
  propagated = true;
  total = cliques.empty() ? 1 : 0;
  totalExponent = 0;
  status = cliques.empty() ? Status::Done : PropagateNarrow(node, to);
  ScaleTotal();
  if (status == Status::Done) CheckedAll();
  return status;
}

// Likelihoods are entered with a largest weight of about 1.
void Inference::Impl::ScaleTotal() {
  for (int i = 0; i < findings.size() && numWeighted > 0; ++i)
    if (findings[i].weighted) totalExponent += findings[i].exponent;
}

Status Inference::Propagate() {
  return impl_->Propagate(-1, {});
}

Status Inference::Check() {
  Status answer = Status::Done;
  if (impl_->propagated) return impl_->status;
  if (impl_->unchecked.empty() && impl_->tablesChecked) return Status::Done;
  return impl_->Ask(-1, {}, &answer) ? answer : Propagate();
}

Status Inference::CheckState(int node, int state) {
  const Vector<WideNumber> weights = impl_->findings[node].weights;
  const int before = impl_->findings[node].state;
  SetState(node, state);
  const Status status = Check();
  if (before != FREE)
    SetState(node, before);
  else if (!weights.empty())
    SetLikelihood(node, weights);
  else
    ClearFinding(node);
  return status;
}

double Inference::Probability() const {
  return ToDouble({impl_->total, 0}, impl_->totalExponent);
}

double Inference::LogProbability() const {
  if (!(impl_->total > 0)) return -std::numeric_limits<double>::infinity();
  return std::log(impl_->total) + static_cast<double>(impl_->totalExponent) * 0.69314718055994530942;
}

// The belief of a node that is not known, after propagation.
bool Inference::Impl::Read(int node, std::span<float> to) {
  const std::span<const int> self(&node, 1);
  if (!wide) {
    for (int s : separatorsOf[node])
      if (messages[2 * At(s)].valid && messages[2 * At(s) + 1].valid &&
          ReadSeparator(s, self, [&](int) { return to.data(); }))
        return true;
    const int c = CliqueForReading(node);
    if (Collect(c) == Outcome::GOOD && SumSurely(c, node, self, to)) return true;
    wide = true;
  }
  const double* sum = WideSumOnto(entry[node], self);
  return sum && Normalize(sum, to);
}

Status Inference::Belief(int node, std::span<float> out) {
  Impl& impl = *impl_;
  const int state = impl.findings[node].state;
  std::fill(out.begin(), out.end(), 0.0f);
  if (state != FREE || out.size() == 1) {
    const Status status = Check();
    if (status == Status::Done) out[std::max(state, 0)] = 1;
    return status;
  }
  Status answer = Status::Done;
  if (impl.propagated && impl.status != Status::Done) return impl.status;
  if (impl.Ask(node, out, &answer)) return answer;
  if (!impl.propagated) {
    impl.pivot = impl.CliqueForReading(node);
    answer = impl.Propagate(node, out);
    if (answer != Status::Done || !impl.wide) return answer;
  }
  return impl.Read(node, out) ? Status::Done : Status::Vanished;
}

Status Inference::AllBeliefs(const std::function<float*(int)>& out) {
  Impl& impl = *impl_;
  const bool isReduced = impl.allocated && impl.tableOf && impl.SweepReduced(out);
  if (const Status status = Propagate(); status != Status::Done) return status;
  const std::size_t n = impl.findings.size();
  for (std::size_t i = 0; i < n; ++i) {
    const int state = impl.findings[i].state;
    if (state == FREE && impl.numstates[i] > 1) continue;
    float* belief = out(static_cast<int>(i));
    if (!belief) continue;
    std::fill_n(belief, impl.numstates[i], 0.0f);
    belief[std::max(state, 0)] = 1;
  }
  if (isReduced) return Status::Done;
  // Outward from where messages are collected.
  if (!impl.wide && !impl.cliques.empty()) impl.wide = impl.Collect(impl.pivot) != Outcome::GOOD;
  impl.outward.clear();
  impl.cameFrom.clear();
  if (!impl.wide && !impl.cliques.empty()) {
    impl.outward.push_back(impl.pivot);
    impl.cameFrom.push_back(-1);
  }
  for (int head = 0; head < impl.outward.size() && !impl.wide; ++head) {
    const int c = impl.outward[head], source = impl.cameFrom[head];
    for (const Link& link : impl.cliques[c].links) {
      if (link.neighbour == source) continue;
      impl.outward.push_back(link.neighbour);
      impl.cameFrom.push_back(c);
    }
    impl.wide = impl.Sweep(c, source, out) != Outcome::GOOD;
  }
  for (int s = 0; s < impl.separators.size() && !impl.wide; ++s) {
    const Vector<int>& nodes = impl.separators[s].read;
    if (!nodes.empty()) impl.wide = !impl.ReadSeparator(s, nodes, out);
  }
  bool good = true;
  for (std::size_t i = 0; i < n && impl.wide; ++i) {
    if (impl.findings[i].state != FREE || impl.numstates[i] == 1) continue;
    float* belief = out(static_cast<int>(i));
    if (belief) good &= impl.Read(static_cast<int>(i), {belief, At(impl.numstates[i])});
  }
  return good ? Status::Done : Status::Vanished;
}

bool Inference::FamilyMarginal(int node, std::span<float> out) {
  Impl& impl = *impl_;
  std::fill(out.begin(), out.end(), 0.0f);
  if (Propagate() != Status::Done) return false;
  const int c = impl.tree->home[node];
  Vector<int>& family = impl.familyNodes;
  family.assign(impl.parents[node].begin(), impl.parents[node].end());
  family.push_back(node);
  if (!impl.wide) impl.wide = impl.Collect(c) != Outcome::GOOD;
  // The sums are dense over the free variables; the rest of the table stays 0.
  impl.normalized.resize(impl.FreeSize(family));
  bool good = !impl.wide && impl.SumSurely(c, -2 - node, family, impl.normalized);
  if (!good) {
    impl.wide = true;
    const double* sums = impl.WideSumOnto(c, family);
    good = sums && impl.Normalize(sums, impl.normalized);
  }
  std::size_t i = 0;
  impl.ForEachFree(family, {}, [&](std::size_t index) { out[index] = impl.normalized[i++]; });
  return good;
}

}  // namespace bravic::engine
