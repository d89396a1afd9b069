// Passes over a clique's potential: prepared for a layout, kept, and run in floats or, where that could lose something,
// in doubles.
#include <algorithm>

#include "Bn/engine/infer/Propagation.h"

namespace bravic::engine {

std::size_t Inference::Impl::FreeSize(std::span<const int> variables) const {
  std::size_t size = 1;
  for (int v : variables)
    if (findings[v].state == FREE) size *= At(numstates[v]);
  return size;
}

void Inference::Impl::DescribeLayout(CliqueState* clique) const {
  clique->describedNumber = clique->layoutNumber;
  clique->layout.clear();
  // Potentials that fit memory have fewer than 64 variables of two states or more.
  auto bits = [](const auto& list, auto isSet) {
    std::uint64_t word = 0;
    for (int k = 0; k < list.size(); ++k) word |= static_cast<std::uint64_t>(isSet(list[k])) << (k % 64);
    return word;
  };
  clique->layout.push_back(bits(clique->variables, [&](int v) { return findings[v].state != FREE; }));
  for (const Link& link : clique->links)
    clique->layout.push_back(bits(messages[link.in].fixedAt, [](int state) { return state != FREE; }));
  if (numWeighted > 0)
    for (int node : clique->entered)
      if (findings[node].weighted) clique->layout.push_back(At(node));
}

// The pass for the clique's present layout, found or made.
PreparedPass& Inference::Impl::Prepared(PassCache* cache, int c, int exceptLink, int key, std::span<const int> outLinks,
                                        std::span<const int> nodes, bool ontoNodes) {
  CliqueState& clique = cliques[c];
  auto matches = [&](const PreparedPass& pass) {
    return pass.key == key && std::equal(outLinks.begin(), outLinks.end(), pass.links.begin(), pass.links.end());
  };
  if (cache->layout == clique.layoutNumber && matches(cache->passes[cache->current]))
    return cache->passes[cache->current];
  if (clique.describedNumber != clique.layoutNumber) DescribeLayout(&clique);
  cache->layout = clique.layoutNumber;
  for (int i = 0; i < cache->passes.size(); ++i) {
    PreparedPass& pass = cache->passes[i];
    if (!matches(pass) || pass.layout.size() != clique.layout.size()) continue;
    bool same = true;
    for (int w = 0; same && w < clique.layout.size(); ++w)
      same = pass.layout[w] == clique.layout[w] || (exceptLink >= 0 && w == exceptLink + 1);
    if (!same) continue;
    cache->current = i;
    return pass;
  }
  const int room = clique.size <= 2048 ? 16 : 4;
  if (cache->passes.size() < room) {
    cache->passes.emplace_back();
    cache->current = cache->passes.size() - 1;
  } else {
    cache->current = cache->replaceNext;
    cache->replaceNext = (cache->replaceNext + 1) % room;
  }
  PreparedPass& pass = cache->passes[cache->current];
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
  CliqueState& clique = cliques[c];
  PassShape& shape = pass->shape;
  pass->shifts.clear();
  int axes = 0;
  for (int v : clique.variables) axisOf[v] = findings[v].state == FREE ? axes++ : FREE;
  shape.Clear(axes);
  double size = 1;
  for (int k = 0; k < clique.variables.size(); ++k) {
    const int v = clique.variables[k], axis = axisOf[v];
    if (axis == FREE) {
      pass->shifts.push_back({0, v, clique.strides[k]});
      continue;
    }
    shape.sizes[axis] = numstates[v];
    shape.Strides(0)[axis] = clique.strides[k];
    size *= numstates[v];
  }
  for (int k = 0; k < clique.links.size(); ++k) {
    if (k == exceptLink) continue;
    const Message& message = messages[clique.links[k].in];
    const Vector<int>& variables = separators[clique.links[k].separator].variables;
    int* strides = shape.AddFactor();
    int stride = 1;
    for (std::size_t j = variables.size(); j-- > 0;) {
      if (message.fixedAt[j] != FREE) continue;
      const int axis = axisOf[variables[j]];
      if (axis != FREE)
        strides[axis] = stride;
      else
        pass->shifts.push_back({shape.numFactors, variables[j], stride});
      stride *= numstates[variables[j]];
    }
  }
  for (int node : clique.entered) {
    if (!findings[node].weighted) continue;
    int* strides = shape.AddFactor();
    if (numstates[node] > 1) strides[axisOf[node]] = 1;
  }
  auto addTarget = [&](std::span<const int> variables) {
    int* strides = shape.AddTarget();
    int stride = 1;
    for (std::size_t j = variables.size(); j-- > 0;) {
      const int v = variables[j];
      if (numstates[v] == 1 || axisOf[v] == FREE) continue;
      strides[axisOf[v]] = stride;
      stride *= numstates[v];
    }
  };
  for (int k : outLinks) addTarget(separators[clique.links[k].separator].variables);
  if (ontoNodes) addTarget(nodes);
  pass->size = size;
  pass->runs = size <= PLAIN_ENTRIES || !clique.potential ? 0 : 1;
  pass->plain = size <= PLAIN_AT_FIRST;
  if (!pass->plain) MakePlan(shape, &pass->plan);
}

ProductRange Inference::Impl::RangeOf(int c, int exceptLink) const {
  const CliqueState& clique = cliques[c];
  ProductRange range;
  range.Multiply(clique.range);
  for (int k = 0; k < clique.links.size(); ++k)
    if (k != exceptLink) {
      const Message& message = messages[clique.links[k].in];
      range.Multiply(message.range, message.probs != nullptr);
    }
  if (numWeighted > 0)
    for (int node : clique.entered)
      if (findings[node].weighted) range.Multiply(findings[node].range);
  return range;
}

void Inference::Impl::RunInDoubles(PreparedPass* pass, int c, int exceptLink) {
  const CliqueState& clique = cliques[c];
  exactFactors.assign(1, clique.exact.get());
  int numConverted = 0;
  for (int k = 0; k < clique.links.size(); ++k) {
    if (k == exceptLink) continue;
    const Message& message = messages[clique.links[k].in];
    const double* probs = message.probs;
    if (!probs) {
      if (converted.size() == numConverted) converted.emplace_back();
      Vector<double>& doubles = converted[numConverted++];
      const Vector<int>& variables = separators[clique.links[k].separator].variables;
      std::size_t size = 1;
      for (int j = 0; j < variables.size(); ++j)
        if (message.fixedAt[j] == FREE) size *= At(numstates[variables[j]]);
      doubles.assign(message.floats, message.floats + size);
      probs = doubles.data();
    }
    exactFactors.push_back(probs);
  }
  if (numWeighted > 0)
    for (int node : clique.entered)
      if (findings[node].weighted) exactFactors.push_back(findings[node].doubles.data());
  const float* floats = clique.potential.get();
  for (const PreparedPass::Shift& shift : pass->shifts) {
    const int by = findings[shift.node].state * shift.stride;
    if (shift.table > 0 || clique.exact)
      exactFactors[shift.table] += by;
    else
      floats += by;
  }
  passUnscale = clique.exact ? 1 : clique.unscale;
  passLift = 0;
  const double* const* from = exactFactors.data();
  if (clique.exact)
    RunPlainly(pass->shape, from[0], from + 1, targets.data(), maximize);
  else
    RunPlainly(pass->shape, floats, from + 1, targets.data(), maximize);
}

// Answers the floor of the numbers that were computed with.
int Inference::Impl::Run(PreparedPass* pass, int c, int exceptLink) {
  const CliqueState& clique = cliques[c];
  if (watch->Halts(static_cast<double>(clique.size) + PASS_ENTRIES)) return DOUBLE_FLOOR;
  if (pass->plain && pass->runs > 0 && ++pass->runs > 2) {
    MakePlan(pass->shape, &pass->plan);
    pass->plain = false;
  }
  passRange = RangeOf(c, exceptLink);
  bool inFloats = !pass->plain && !clique.exact;
  bool isLifted = false;
  if (inFloats) {
    isLifted = !passRange.StaysAbove(FLOAT_FLOOR);
    inFloats = !isLifted || passRange.FitsFloats();
  }
  if (!inFloats) {
    RunInDoubles(pass, c, exceptLink);
    return targets[0].narrow ? FLOAT_FLOOR : DOUBLE_FLOOR;
  }
  factors.assign(1, clique.potential.get());
  passUnscale = clique.unscale;
  for (int k = 0; k < clique.links.size(); ++k) {
    if (k == exceptLink) continue;
    const Message& message = messages[clique.links[k].in];
    factors.push_back(message.floats);
    passUnscale *= message.unscale;
  }
  if (numWeighted > 0)
    for (int node : clique.entered)
      if (findings[node].weighted) factors.push_back(findings[node].floats.data());
  for (const PreparedPass::Shift& shift : pass->shifts)
    factors[shift.table] += findings[shift.node].state * shift.stride;
  arena.GrowTo(pass->plan.arena);
  passLift = isLifted ? LIFT : 0;
  const int more = passRange.HasLifted() ? 0 : passLift;
  passUnscale *= PowerOfTwo(-more);
  RunPlan(pass->plan, *kernels, factors[0], factors.data() + 1, targets.data(), arena.data(), maximize,
          static_cast<float>(PowerOfTwo(more)));
  return FLOAT_FLOOR - passLift;
}

// Cleared room for the k-th target of a pass.
PassTarget Inference::Impl::Target(std::size_t k, std::size_t size, float* narrow) {
  PassTarget target;
  if (narrow && size > WIDE_TARGET) {
    target.narrow = narrow;
    std::fill_n(narrow, size, 0.0f);
    return target;
  }
  sums.GrowTo(k + 1);
  sums[k].assign(size, 0.0);
  target.wide = sums[k].data();
  return target;
}

// What the sums of the latest pass, on a target of that size, may lack.
int Inference::Impl::LostInSums(int floor, const PreparedPass& pass, std::size_t size) const {
  const double numTerms = maximize ? 1 : std::max(1.0, pass.size / static_cast<double>(size));
  const int lost = passRange.Lost(floor, numTerms);
  return lost == NO_LOSS ? lost : lost + passLift;
}

long long Inference::Impl::IncomingExponent(int c, int exceptLink) const {
  long long exponent = 0;
  const CliqueState& clique = cliques[c];
  for (int k = 0; k < clique.links.size(); ++k)
    if (k != exceptLink) exponent += messages[clique.links[k].in].exponent;
  return exponent;
}

}  // namespace bravic::engine
