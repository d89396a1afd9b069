// Messages, made where they are needed, and what is read from them.
#include "Bn/engine/Propagation.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace bravic::engine {

std::size_t Inference::Impl::FreeSize(std::span<const int> variables) const {
  std::size_t size = 1;
  for (int v : variables)
    if (findings[At(v)].state == FREE) size *= At(numstates[At(v)]);
  return size;
}

void Inference::Impl::DescribeLayout(CliqueState* clique) const {
  clique->describedNumber = clique->layoutNumber;
  clique->layout.clear();
  // Potentials that fit memory have fewer than 64 variables of two states or more.
  auto bits = [](const auto& list, auto isSet) {
    std::uint64_t word = 0;
    for (std::size_t k = 0; k < list.size(); ++k) word |= static_cast<std::uint64_t>(isSet(list[k])) << (k % 64);
    return word;
  };
  clique->layout.push_back(bits(clique->variables, [&](int v) { return findings[At(v)].state != FREE; }));
  for (const Link& link : clique->links)
    clique->layout.push_back(bits(messages[At(link.in)].fixedAt, [](int state) { return state != FREE; }));
  if (numWeighted > 0)
    for (int node : clique->entered)
      if (findings[At(node)].weighted) clique->layout.push_back(At(node));
}

// The pass for the clique's present layout, found or made.
PreparedPass& Inference::Impl::Prepared(PassCache* cache, int c, int exceptLink, int key, std::span<const int> outLinks,
                                        std::span<const int> nodes, bool ontoNodes) {
  CliqueState& clique = cliques[At(c)];
  auto matches = [&](const PreparedPass& pass) {
    return pass.key == key && std::equal(outLinks.begin(), outLinks.end(), pass.links.begin(), pass.links.end());
  };
  if (cache->layout == clique.layoutNumber && matches(cache->passes[At(cache->current)]))
    return cache->passes[At(cache->current)];
  if (clique.describedNumber != clique.layoutNumber) DescribeLayout(&clique);
  cache->layout = clique.layoutNumber;
  for (std::size_t i = 0; i < cache->passes.size(); ++i) {
    PreparedPass& pass = cache->passes[i];
    if (!matches(pass) || pass.layout.size() != clique.layout.size()) continue;
    bool same = true;
    for (std::size_t w = 0; same && w < clique.layout.size(); ++w)
      same = pass.layout[w] == clique.layout[w] || (exceptLink >= 0 && static_cast<int>(w) == exceptLink + 1);
    if (!same) continue;
    cache->current = static_cast<int>(i);
    return pass;
  }
  const std::size_t room = clique.size <= 2048 ? 16 : 4;
  if (cache->passes.size() < room) {
    cache->passes.emplace_back();
    cache->current = static_cast<int>(cache->passes.size()) - 1;
  } else {
    cache->current = cache->replaceNext;
    cache->replaceNext = (cache->replaceNext + 1) % static_cast<int>(room);
  }
  PreparedPass& pass = cache->passes[At(cache->current)];
  pass.layout = clique.layout;
  pass.key = key;
  pass.links.assign(outLinks.begin(), outLinks.end());
  Prepare(&pass, c, exceptLink, outLinks, nodes, ontoNodes);
  return pass;
}

// Factors: the incoming messages but that of exceptLink, then the likelihoods entered here. Targets: the separators
// of outLinks, then, if nodes are given, one table over those.
void Inference::Impl::Prepare(PreparedPass* pass, int c, int exceptLink, std::span<const int> outLinks,
                              std::span<const int> nodes, bool ontoNodes) {
  CliqueState& clique = cliques[At(c)];
  PassShape& shape = pass->shape;
  pass->shifts.clear();
  int axes = 0;
  for (int v : clique.variables) axisOf[At(v)] = findings[At(v)].state == FREE ? axes++ : FREE;
  shape.Clear(axes);
  double size = 1;
  for (std::size_t k = 0; k < clique.variables.size(); ++k) {
    const int v = clique.variables[k], axis = axisOf[At(v)];
    if (axis == FREE) {
      pass->shifts.push_back({0, v, clique.strides[k]});
      continue;
    }
    shape.sizes[At(axis)] = numstates[At(v)];
    shape.Strides(0)[axis] = clique.strides[k];
    size *= numstates[At(v)];
  }
  for (std::size_t k = 0; k < clique.links.size(); ++k) {
    if (static_cast<int>(k) == exceptLink) continue;
    const Message& message = messages[At(clique.links[k].in)];
    const Vector<int>& variables = separators[At(clique.links[k].separator)].variables;
    int* strides = shape.AddFactor();
    int stride = 1;
    for (std::size_t j = variables.size(); j-- > 0;) {
      if (message.fixedAt[j] != FREE) continue;
      const int axis = axisOf[At(variables[j])];
      if (axis != FREE)
        strides[axis] = stride;
      else
        pass->shifts.push_back({shape.numFactors, variables[j], stride});
      stride *= numstates[At(variables[j])];
    }
  }
  for (int node : clique.entered) {
    if (!findings[At(node)].weighted) continue;
    int* strides = shape.AddFactor();
    if (numstates[At(node)] > 1) strides[axisOf[At(node)]] = 1;
  }
  auto addTarget = [&](std::span<const int> variables) {
    int* strides = shape.AddTarget();
    int stride = 1;
    for (std::size_t j = variables.size(); j-- > 0;) {
      const int v = variables[j];
      if (numstates[At(v)] == 1 || axisOf[At(v)] == FREE) continue;
      strides[axisOf[At(v)]] = stride;
      stride *= numstates[At(v)];
    }
  };
  for (int k : outLinks) addTarget(separators[At(clique.links[At(k)].separator)].variables);
  if (ontoNodes) addTarget(nodes);
  pass->size = size;
  pass->runs = size <= PLAIN_ENTRIES || !clique.potential ? 0 : 1;
  pass->plain = size <= PLAIN_AT_FIRST;
  if (!pass->plain) MakePlan(shape, &pass->plan);
}

ProductRange Inference::Impl::RangeOf(int c, int exceptLink) const {
  const CliqueState& clique = cliques[At(c)];
  ProductRange range;
  range.Multiply(clique.range);
  for (std::size_t k = 0; k < clique.links.size(); ++k)
    if (static_cast<int>(k) != exceptLink) range.Multiply(messages[At(clique.links[k].in)].range);
  if (numWeighted > 0)
    for (int node : clique.entered)
      if (findings[At(node)].weighted) range.Multiply(findings[At(node)].range);
  return range;
}

void Inference::Impl::RunInDoubles(PreparedPass* pass, int c, int exceptLink) {
  const CliqueState& clique = cliques[At(c)];
  exactFactors.assign(1, clique.exact.get());
  std::size_t numConverted = 0;
  for (std::size_t k = 0; k < clique.links.size(); ++k) {
    if (static_cast<int>(k) == exceptLink) continue;
    const Message& message = messages[At(clique.links[k].in)];
    const double* probs = message.probs;
    if (!probs) {
      if (converted.size() == numConverted) converted.emplace_back();
      Vector<double>& doubles = converted[numConverted++];
      const Vector<int>& variables = separators[At(clique.links[k].separator)].variables;
      std::size_t size = 1;
      for (std::size_t j = 0; j < variables.size(); ++j)
        if (message.fixedAt[j] == FREE) size *= At(numstates[At(variables[j])]);
      doubles.assign(message.floats, message.floats + size);
      probs = doubles.data();
    }
    exactFactors.push_back(probs);
  }
  if (numWeighted > 0)
    for (int node : clique.entered)
      if (findings[At(node)].weighted) exactFactors.push_back(findings[At(node)].doubles.data());
  const float* floats = clique.potential.get();
  for (const PreparedPass::Shift& shift : pass->shifts) {
    const int by = findings[At(shift.node)].state * shift.stride;
    if (shift.table > 0 || clique.exact)
      exactFactors[At(shift.table)] += by;
    else
      floats += by;
  }
  passUnscale = clique.exact ? 1 : clique.unscale;
  const double* const* from = exactFactors.data();
  if (clique.exact)
    RunPlainly(pass->shape, from[0], from + 1, targets.data(), maximize);
  else
    RunPlainly(pass->shape, floats, from + 1, targets.data(), maximize);
}

// Answers the floor of the numbers that were computed with.
int Inference::Impl::Run(PreparedPass* pass, int c, int exceptLink) {
  const CliqueState& clique = cliques[At(c)];
  if (watch->Halts(static_cast<double>(clique.size) + PASS_ENTRIES)) return DOUBLE_FLOOR;
  if (pass->plain && pass->runs > 0 && ++pass->runs > 2) {
    MakePlan(pass->shape, &pass->plan);
    pass->plain = false;
  }
  bool inFloats = !pass->plain && !clique.exact;
  if (inFloats && !RangeOf(c, exceptLink).StaysAbove(FLOAT_FLOOR)) inFloats = false;
  if (!inFloats) {
    RunInDoubles(pass, c, exceptLink);
    return targets[0].narrow ? FLOAT_FLOOR : DOUBLE_FLOOR;
  }
  factors.assign(1, clique.potential.get());
  passUnscale = clique.unscale;
  for (std::size_t k = 0; k < clique.links.size(); ++k) {
    if (static_cast<int>(k) == exceptLink) continue;
    const Message& message = messages[At(clique.links[k].in)];
    factors.push_back(message.floats);
    passUnscale *= message.unscale;
  }
  if (numWeighted > 0)
    for (int node : clique.entered)
      if (findings[At(node)].weighted) factors.push_back(findings[At(node)].floats.data());
  for (const PreparedPass::Shift& shift : pass->shifts)
    factors[At(shift.table)] += findings[At(shift.node)].state * shift.stride;
  if (arena.size() < pass->plan.arena) arena.resize(pass->plan.arena);
  RunPlan(pass->plan, *kernels, factors[0], factors.data() + 1, targets.data(), arena.data(), maximize);
  return FLOAT_FLOOR;
}

// Cleared room for the k-th target of a pass.
PassTarget Inference::Impl::Target(std::size_t k, std::size_t size, float* narrow) {
  PassTarget target;
  if (narrow && size > WIDE_TARGET) {
    target.narrow = narrow;
    std::fill_n(narrow, size, 0.0f);
    return target;
  }
  if (sums.size() <= k) sums.resize(k + 1);
  sums[k].assign(size, 0.0);
  target.wide = sums[k].data();
  return target;
}

double Inference::Impl::NumTerms(const PreparedPass& pass, std::size_t targetSize) const {
  return maximize ? 1 : std::max(1.0, pass.size / static_cast<double>(targetSize));
}

long long Inference::Impl::IncomingExponent(int c, int exceptLink) const {
  long long exponent = 0;
  const CliqueState& clique = cliques[At(c)];
  for (std::size_t k = 0; k < clique.links.size(); ++k)
    if (static_cast<int>(k) != exceptLink) exponent += messages[At(clique.links[k].in)].exponent;
  return exponent;
}

namespace {

template <class Number>
void Scale(const Number* entries, std::size_t size, double scale, const Message& to) {
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
  Message& message = messages[At(m)];
  const SeparatorState& separator = separators[At(m / 2)];
  bool moved = false;
  int numFixed = 0;
  for (std::size_t k = 0; k < separator.variables.size(); ++k) {
    const int state = findings[At(separator.variables[k])].state;
    moved |= (message.fixedAt[k] == FREE) != (state == FREE);
    numFixed += state != FREE;
    message.fixedAt[k] = state;
  }
  message.numFixed = numFixed;
  if (moved) ++cliques[At(tree->separators[At(m / 2)].cliques[1 - m % 2])].layoutNumber;
  message.rests = message.vacuous = false;
}

void Inference::Impl::StoreVacuous(int m) {
  DescribeMessage(m);
  Message& message = messages[At(m)];
  const std::size_t size = FreeSize(separators[At(m / 2)].variables);
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
  Message& message = messages[At(m)];
  const SeparatorState& separator = separators[At(m / 2)];
  const std::size_t size = FreeSize(separator.variables);
  auto store = [&](auto* entries) {
    if (divide) {
      const Message& against = messages[At(m ^ 1)];
      message.exponent -= against.exponent;
      auto by = [&](const auto* divisors) {
        return against.numFixed == message.numFixed
                   ? Divide(entries, size, divisors)
                   : DivideSlice(entries, separator.variables, against.fixedAt, divisors);
      };
      message.rests = against.probs ? by(against.probs) : by(against.floats);
    }
    auto largest = *entries, least = *entries;
    FindRange(entries, size, &largest, &least);
    const Outcome outcome = Judge(static_cast<double>(largest), lost);
    message.valid = outcome == Outcome::GOOD;
    if (!message.valid) return outcome;
    const int exponent = Exponent(static_cast<double>(largest) * passUnscale);
    message.unscale = spreadsRounding && message.probs ? 1 / SpreadFactor(m) : 1;
    Scale(entries, size, passUnscale * PowerOfTwo(std::clamp(-exponent, -1022, 1023)), message);
    message.exponent += exponent;
    const int floor = message.probs ? DOUBLE_FLOOR : FLOAT_FLOOR;
    message.range = StoredRange(static_cast<double>(least), Exponent(static_cast<double>(largest)), lost, floor);
    message.range.low -= 2 * spreadsRounding;
    return outcome;
  };
  return target.wide ? store(target.wide) : store(target.narrow);
}

// How many messages and findings tell the clique more than 1 throughout.
int Inference::Impl::NumInformative(int c) {
  int count = maximize || !HomedAreProper(c);
  for (const Link& link : cliques[At(c)].links) count += messages[At(link.in)].valid && !messages[At(link.in)].vacuous;
  for (int node : cliques[At(c)].entered) count += findings[At(node)].state != FREE || findings[At(node)].weighted;
  return count;
}

Outcome Inference::Impl::MakeMessage(int c, int k) {
  Link& link = cliques[At(c)].links[At(k)];
  Message& message = messages[At(link.out)];
  const Message& against = messages[At(link.in)];
  if (!link.tellsOfHomed && NumInformative(c) == (against.valid && !against.vacuous)) {
    StoreVacuous(link.out);
    return Outcome::GOOD;
  }
  if (!cliques[At(c)].filled) FillClique(c);
  PreparedPass& pass = Prepared(&link.send, c, k, 0, std::span<const int>(&k, 1), {}, false);
  const std::size_t size = FreeSize(separators[At(link.separator)].variables);
  targets.assign(1, Target(0, size, message.floats));
  const int floor = Run(&pass, c, k);
  message.exponent = IncomingExponent(c, k);
  return StoreMessage(link.out, targets[0], false, RangeOf(c, k).Lost(floor, NumTerms(pass, size)));
}

// Makes every message into the clique valid, deepest first, as long as all goes well.
Outcome Inference::Impl::Collect(int root) {
  sinceTree = lookAgain = 0;
  // path: cliques from the root down to the one looked at; cursor: the link of each looked at next.
  path.assign(1, root);
  cursor.assign(1, 0);
  while (!path.empty()) {
    const int c = path.back();
    const CliqueState& clique = cliques[At(c)];
    const int above = path.size() > 1 ? path[path.size() - 2] : -1;
    bool descended = false;
    while (At(cursor.back()) < clique.links.size()) {
      const Link& link = clique.links[At(cursor.back()++)];
      if (link.neighbour == above || messages[At(link.in)].valid) continue;
      path.push_back(link.neighbour);
      cursor.push_back(0);
      descended = true;
      break;
    }
    if (descended) continue;
    if (above >= 0) {
      int k = 0;
      while (clique.links[At(k)].neighbour != above) ++k;
      const Outcome outcome = MakeMessage(c, k);
      if (outcome != Outcome::GOOD) return outcome;
    }
    path.pop_back();
    cursor.pop_back();
  }
  return Outcome::GOOD;
}

// A table over the free ones of the nodes, given that the messages into the clique are valid, and what it may lack. The
// key tells sets of nodes apart.
const double* Inference::Impl::SumOnto(int c, int key, std::span<const int> nodes, int* lost) {
  if (!cliques[At(c)].filled) FillClique(c);
  PreparedPass& pass = Prepared(&cliques[At(c)].read, c, -1, key, {}, nodes, true);
  const std::size_t size = FreeSize(nodes);
  targets.assign(1, Target(0, size, nullptr));
  const int floor = Run(&pass, c, -1);
  *lost = RangeOf(c, -1).Lost(floor, NumTerms(pass, size));
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
  return JudgeEach(from, to.size(), lost) == Outcome::GOOD && Normalize(from, to);
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
    else if (findings[At(v)].state == FREE)
      (passed ? inner : outer) *= At(numstates[At(v)]);
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
  const SeparatorState& separator = separators[At(s)];
  bool good = true;
  for (int node : nodes) {
    float* belief = out(node);
    if (!belief || findings[At(node)].state != FREE) continue;
    PassShape shape;
    int axes = 0;
    for (int v : separator.variables) axisOf[At(v)] = findings[At(v)].state == FREE ? axes++ : FREE;
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
        if (axisOf[At(v)] == FREE) {
          tables[way] += findings[At(v)].state * stride;
        } else {
          strides[axisOf[At(v)]] = stride;
          shape.sizes[At(axisOf[At(v)])] = numstates[At(v)];
        }
        stride *= numstates[At(v)];
      }
    }
    shape.AddTarget()[axisOf[At(node)]] = 1;
    PassPlan plan;
    MakePlan(shape, &plan);
    if (arena.size() < plan.arena) arena.resize(plan.arena);
    marginal.assign(At(numstates[At(node)]), 0.0);
    const PassTarget target{marginal.data(), nullptr};
    RunPlan(plan, *kernels, tables[0], tables + 1, &target, arena.data(), maximize);
    const int lost = range.Lost(FLOAT_FLOOR, static_cast<double>(FreeSize(separator.variables)));
    good &= NormalizeSure(marginal.data(), lost, {belief, marginal.size()});
  }
  return good;
}

// Both messages are valid: their product is the separator's belief.
bool Inference::Impl::ReadSeparator(int s, std::span<const int> nodes, const BeliefPlace& out) {
  const SeparatorState& separator = separators[At(s)];
  const Message& one = messages[2 * At(s)];
  const Message& other = messages[2 * At(s) + 1];
  const std::size_t size = FreeSize(separator.variables);
  if (!one.probs) return ReadLargeSeparator(s, nodes, out);
  int numFixed = 0;
  for (int v : separator.variables) numFixed += findings[At(v)].state != FREE;
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
    if (!belief || findings[At(node)].state != FREE) continue;
    good &= MarginalOf(joint.data(), separator.variables, node, lost, {belief, At(numstates[At(node)])});
  }
  return good;
}

// The cliques from one to another, both included, in path.
void Inference::Impl::FindWay(int start, int end) {
  path.clear();
  work.clear();
  while (start != end) {
    if (depth[At(start)] >= depth[At(end)]) {
      path.push_back(start);
      start = parentClique[At(start)];
    } else {
      work.push_back(end);
      end = parentClique[At(end)];
    }
  }
  path.push_back(start);
  path.insert(path.end(), work.rbegin(), work.rend());
}

// Of the cliques that hold the node, the nearest to where messages were collected.
int Inference::Impl::CliqueForReading(int node) {
  FindWay(entry[At(node)], pivot);
  int best = path[0];
  for (std::size_t i = 1; i < path.size(); ++i) {
    const Vector<int>& members = cliques[At(path[i])].variables;
    if (std::find(members.begin(), members.end(), node) == members.end()) break;
    best = path[i];
  }
  return best;
}

// The beliefs of the clique's lone variables, from their table.
Outcome Inference::Impl::ReadAlone(int c, const double* table, int lost, const BeliefPlace& out) {
  const Vector<int>& alone = cliques[At(c)].alone;
  for (int node : alone) {
    if (findings[At(node)].state != FREE) continue;
    float* belief = out(node);
    if (belief && !MarginalOf(table, alone, node, lost, {belief, At(numstates[At(node)])})) return Outcome::DOUBTFUL;
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
  const double* table = SumOnto(c, static_cast<int>(findings.size()), cliques[At(c)].alone, &lost);
  return ReadAlone(c, table, lost, out);
}

// All messages out of the clique but the one to where we come from, and the beliefs of its lone variables.
Outcome Inference::Impl::Sweep(int c, int source, const BeliefPlace& out) {
  CliqueState& clique = cliques[At(c)];
  outgoing.clear();
  const int numInformative = NumInformative(c);
  for (std::size_t k = 0; k < clique.links.size(); ++k) {
    const Link& link = clique.links[k];
    if (link.neighbour == source || messages[At(link.out)].valid) continue;
    if (!link.tellsOfHomed && numInformative == !messages[At(link.in)].vacuous)
      StoreVacuous(link.out);
    else
      outgoing.push_back(static_cast<int>(k));
  }
  bool lone = false;
  for (int node : clique.alone) lone |= findings[At(node)].state == FREE;
  if (outgoing.empty() && !lone) return Outcome::GOOD;
  if (!clique.filled) FillClique(c);
  PreparedPass& pass = Prepared(&clique.sweep, c, -1, 0, outgoing, clique.alone, lone);
  targets.clear();
  for (int k : outgoing) {
    const Link& link = clique.links[At(k)];
    targets.push_back(
        Target(targets.size(), FreeSize(separators[At(link.separator)].variables), messages[At(link.out)].floats));
  }
  if (lone) targets.push_back(Target(targets.size(), FreeSize(clique.alone), nullptr));
  const ProductRange range = RangeOf(c, -1);
  const bool narrow = std::any_of(targets.begin(), targets.end(), [](const PassTarget& t) { return t.narrow; });
  if (range.Lost(narrow ? FLOAT_FLOOR : DOUBLE_FLOOR, 1) != NO_LOSS) return SweepSingly(c, lone, out);
  Run(&pass, c, -1);
  const long long exponent = IncomingExponent(c, -1);
  for (std::size_t i = 0; i < outgoing.size(); ++i) {
    const int m = clique.links[At(outgoing[i])].out;
    messages[At(m)].exponent = exponent;
    if (const Outcome outcome = StoreMessage(m, targets[i], true, NO_LOSS); outcome != Outcome::GOOD) return outcome;
  }
  return lone ? ReadAlone(c, targets.back().wide, NO_LOSS, out) : Outcome::GOOD;
}

Status Inference::Impl::PropagateInFloats(int node, std::span<float> to) {
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
  status = cliques.empty() ? Status::Done : PropagateInFloats(node, to);
  ScaleTotal();
  if (status == Status::Done) CheckedAll();
  return status;
}

// Likelihoods are entered with a largest weight of about 1.
void Inference::Impl::ScaleTotal() {
  for (std::size_t i = 0; i < findings.size() && numWeighted > 0; ++i)
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
    for (int s : separatorsOf[At(node)])
      if (messages[2 * At(s)].valid && messages[2 * At(s) + 1].valid &&
          ReadSeparator(s, self, [&](int) { return to.data(); }))
        return true;
    const int c = CliqueForReading(node);
    if (Collect(c) == Outcome::GOOD && SumSurely(c, node, self, to)) return true;
    wide = true;
  }
  const double* sum = WideSumOnto(entry[At(node)], self);
  return sum && Normalize(sum, to);
}

Status Inference::Belief(int node, std::span<float> out) {
  Impl& impl = *impl_;
  const int state = impl.findings[At(node)].state;
  std::fill(out.begin(), out.end(), 0.0f);
  if (state != FREE || out.size() == 1) {
    const Status status = Check();
    if (status == Status::Done) out[At(std::max(state, 0))] = 1;
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
  for (std::size_t head = 0; head < impl.outward.size() && !impl.wide; ++head) {
    const int c = impl.outward[head], source = impl.cameFrom[head];
    for (const Link& link : impl.cliques[At(c)].links) {
      if (link.neighbour == source) continue;
      impl.outward.push_back(link.neighbour);
      impl.cameFrom.push_back(c);
    }
    impl.wide = impl.Sweep(c, source, out) != Outcome::GOOD;
  }
  for (std::size_t s = 0; s < impl.separators.size() && !impl.wide; ++s) {
    const Vector<int>& nodes = impl.separators[s].read;
    if (!nodes.empty()) impl.wide = !impl.ReadSeparator(static_cast<int>(s), nodes, out);
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
  const int c = impl.tree->home[At(node)];
  Vector<int>& family = impl.familyNodes;
  family.assign(impl.parents[At(node)].begin(), impl.parents[At(node)].end());
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
