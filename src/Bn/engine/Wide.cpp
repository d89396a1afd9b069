// Inference in numbers of unlimited range, for findings so unlikely under one part of a net that floats lose what
// the rest needs: a double with an exponent of its own per entry. Slow, rarely needed, and kept only until the
// findings change. Each message is made by a pass of its own; nothing is divided.
#include <algorithm>
#include <cmath>

#include "Bn/engine/Propagation.h"

namespace bravic::engine {

namespace {

WideNumber Scaled(double value, long long exponent) {
  if (!(value > 0)) return {};
  int shift;
  const double mantissa = std::frexp(value, &shift);
  return {mantissa, exponent + shift};
}

WideNumber Times(WideNumber a, WideNumber b) {
  return Scaled(a.mantissa * b.mantissa, a.exponent + b.exponent);
}

bool IsLess(WideNumber a, WideNumber b) {
  if (a.mantissa == 0 || b.mantissa == 0) return b.mantissa > 0;
  return a.exponent != b.exponent ? a.exponent < b.exponent : a.mantissa < b.mantissa;
}

WideNumber Plus(WideNumber a, WideNumber b) {
  if (IsLess(a, b)) std::swap(a, b);
  if (b.mantissa == 0 || a.exponent - b.exponent > 100) return a;
  return Scaled(a.mantissa + std::ldexp(b.mantissa, static_cast<int>(b.exponent - a.exponent)), a.exponent);
}

}  // namespace

// Sums onto the free ones of the variables, all messages but that of exceptLink being there; false without memory.
bool Inference::Impl::WidePass(int c, int exceptLink, std::span<const int> variables, Block<WideNumber>* to) {
  const CliqueState& clique = cliques[At(c)];
  if (!clique.filled) FillClique(c);
  PassShape shape;
  int axes = 0;
  for (int v : clique.variables) axisOf[At(v)] = findings[At(v)].state == FREE ? axes++ : FREE;
  shape.Clear(axes);
  const float* potential = clique.potential.get();
  for (std::size_t k = 0; k < clique.variables.size(); ++k) {
    const int v = clique.variables[k], axis = axisOf[At(v)];
    if (axis == FREE) {
      potential += findings[At(v)].state * clique.strides[k];
    } else {
      shape.sizes[At(axis)] = numstates[At(v)];
      shape.Strides(0)[axis] = clique.strides[k];
    }
  }
  auto place = [&](std::span<const int> nodes, int* strides) {
    int stride = 1;
    for (std::size_t j = nodes.size(); j-- > 0;) {
      const int v = nodes[j];
      if (findings[At(v)].state != FREE || numstates[At(v)] == 1) continue;
      strides[axisOf[At(v)]] = stride;
      stride *= numstates[At(v)];
    }
  };
  Vector<const WideNumber*> tables;
  for (std::size_t k = 0; k < clique.links.size(); ++k) {
    if (static_cast<int>(k) == exceptLink) continue;
    place(separators[At(clique.links[k].separator)].variables, shape.AddFactor());
    tables.push_back(wideMessages[At(clique.links[k].in)].get());
  }
  Vector<Vector<WideNumber>> likelihoods;
  for (int node : clique.entered) {
    const Finding& finding = findings[At(node)];
    if (!finding.weighted) continue;
    place(std::span<const int>(&node, 1), shape.AddFactor());
    likelihoods.emplace_back();
    for (int s = 0; s < numstates[At(node)]; ++s) likelihoods.back().push_back(Scaled(finding.weights[At(s)], 0));
  }
  for (const auto& likelihood : likelihoods) tables.push_back(likelihood.data());
  place(variables, shape.AddTarget());
  const std::size_t size = FreeSize(variables);
  *to = TryMakeBlock<WideNumber>(size);
  if (!*to) return false;
  std::fill_n(to->get(), size, WideNumber{});

  const int numTables = static_cast<int>(tables.size());
  Vector<int> at(At(axes), 0), offsets(At(numTables + 2), 0);
  for (;;) {
    if (watch->Halts(1)) return false;
    WideNumber product = Scaled(potential[offsets[0]], 0);
    for (int t = 0; t < numTables && product.mantissa > 0; ++t)
      product = Times(product, tables[At(t)][offsets[At(t + 1)]]);
    if (product.mantissa > 0) {
      WideNumber& sum = (*to)[At(offsets.back())];
      if (!maximize)
        sum = Plus(sum, product);
      else if (IsLess(sum, product))
        sum = product;
    }
    int axis = axes;
    for (;;) {
      if (axis == 0) return true;
      --axis;
      const bool wraps = ++at[At(axis)] == shape.sizes[At(axis)];
      const int steps = wraps ? 1 - shape.sizes[At(axis)] : 1;
      for (int t = 0; t < numTables + 2; ++t) offsets[At(t)] += steps * shape.Strides(t)[axis];
      if (!wraps) break;
      at[At(axis)] = 0;
    }
  }
}

bool Inference::Impl::WideCollect(int root) {
  if (wideMessages.empty()) wideMessages.resize(messages.size());
  path.assign(1, root);
  cursor.assign(1, 0);
  while (!path.empty()) {
    const int c = path.back();
    const CliqueState& clique = cliques[At(c)];
    const int above = path.size() > 1 ? path[path.size() - 2] : -1;
    int up = -1, down = -1;
    while (down < 0 && At(cursor.back()) < clique.links.size()) {
      const Link& link = clique.links[At(cursor.back()++)];
      if (link.neighbour != above && !wideMessages[At(link.in)]) down = link.neighbour;
    }
    if (down >= 0) {
      path.push_back(down);
      cursor.push_back(0);
      continue;
    }
    for (std::size_t k = 0; above >= 0 && k < clique.links.size(); ++k)
      if (clique.links[k].neighbour == above) up = static_cast<int>(k);
    if (up >= 0) {
      const Link& link = clique.links[At(up)];
      if (!WidePass(c, up, separators[At(link.separator)].variables, &wideMessages[At(link.out)])) return false;
    }
    path.pop_back();
    cursor.pop_back();
  }
  return true;
}

// The propagation begun in floats, once more.
Status Inference::Impl::PropagateWide() {
  wide = true;
  Block<WideNumber> sum;
  if (!WideCollect(pivot) || !WidePass(pivot, -1, {}, &sum)) return Status::NoMemory;
  total = sum[0].mantissa;
  totalExponent = sum[0].exponent;
  return total > 0 ? Status::Done : Status::Inconsistent;
}

// As doubles in proportion, largest 1.
const double* Inference::Impl::WideSumOnto(int c, std::span<const int> nodes) {
  Block<WideNumber> table;
  if (!WideCollect(c) || !WidePass(c, -1, nodes, &table)) return nullptr;
  const std::size_t size = FreeSize(nodes);
  WideNumber largest;
  for (std::size_t i = 0; i < size; ++i)
    if (IsLess(largest, table[i])) largest = table[i];
  if (sums.empty()) sums.resize(1);
  sums[0].assign(size, 0.0);
  for (std::size_t i = 0; i < size; ++i) {
    const long long below = largest.exponent - table[i].exponent;
    if (table[i].mantissa > 0 && below < 1000) sums[0][i] = std::ldexp(table[i].mantissa, -static_cast<int>(below));
  }
  return sums[0].data();
}

}  // namespace bravic::engine
