// Inference in numbers of unlimited range, for findings so unlikely under one part of a net that doubles lose what the
// rest needs: a double with an exponent of its own per entry. Slow, rarely needed, and kept only until the findings
// change, so that a quotient by 0 may be 0: what it is multiplied with is 0 as well.
#include <algorithm>
#include <cmath>

#include "Bn/engine/infer/Propagation.h"

namespace bravic::engine {

namespace {

// Steps all offsets to the next entry, the last axis fastest; false after the last.
bool Step(const PassShape& shape, Vector<int>* at, Vector<int>* offsets) {
  for (int axis = shape.numAxes; axis-- > 0;) {
    const bool wraps = ++(*at)[axis] == shape.sizes[axis];
    const int steps = wraps ? 1 - shape.sizes[axis] : 1;
    for (int t = 0; t < offsets->size(); ++t) (*offsets)[t] += steps * shape.Strides(t)[axis];
    if (!wraps) return true;
    (*at)[axis] = 0;
  }
  return false;
}

}  // namespace

// The tables of nodes homed in the clique as factors of the shape, each from the states that are known on. What they
// are made of is normalized in doubles.
void Inference::Impl::AddWideTables(int c, PassShape* shape, Vector<Vector<WideNumber>>* tables,
                                    Vector<const WideNumber*>* starts) {
  for (int node : cliques[c].homed) {
    const float* rows = tableOf(node);
    if (!rows) continue;
    const int own = numstates[node];
    tables->emplace_back();
    for (std::size_t size = TableSize(node); size > 0; size -= At(own), rows += own) {
      double scale;
      ScaleOf(node, rows, &scale);
      for (int s = 0; s < own; ++s) tables->back().push_back(ToWide(scale * static_cast<double>(rows[s])));
    }
    int* strides = shape->AddFactor();
    int stride = 1;
    std::size_t first = 0;
    auto place = [&](int v) {
      if (findings[v].state != FREE)
        first += At(findings[v].state * stride);
      else if (numstates[v] > 1)
        strides[axisOf[v]] = stride;
      stride *= numstates[v];
    };
    place(node);
    for (std::size_t k = parents[node].size(); k-- > 0;) place(parents[node][k]);
    starts->push_back(tables->back().data() + first);
  }
}

// Sums onto the free ones of the targets' variables, all messages but that of exceptLink being there; false without
// memory.
bool Inference::Impl::WidePass(int c, int exceptLink, std::span<const WideTarget> wideTargets) {
  const CliqueState& clique = cliques[c];
  if (!clique.filled) FillClique(c);
  PassShape shape;
  int axes = 0;
  for (int v : clique.variables) axisOf[v] = findings[v].state == FREE ? axes++ : FREE;
  shape.Clear(axes);
  // The product of the tables, where that holds all of it, or the tables.
  const bool hasPotential = clique.range.lost == NO_LOSS;
  std::size_t first = 0;
  for (int k = 0; k < clique.variables.size(); ++k) {
    const int v = clique.variables[k], axis = axisOf[v];
    if (axis == FREE)
      first += At(findings[v].state * clique.strides[k]);
    else
      shape.sizes[axis] = numstates[v];
    if (axis != FREE && hasPotential) shape.Strides(0)[axis] = clique.strides[k];
  }
  auto place = [&](std::span<const int> nodes, int* strides) {
    int stride = 1;
    for (std::size_t j = nodes.size(); j-- > 0;) {
      const int v = nodes[j];
      if (findings[v].state != FREE || numstates[v] == 1) continue;
      strides[axisOf[v]] = stride;
      stride *= numstates[v];
    }
  };
  Vector<const WideNumber*> tables;
  Vector<Vector<WideNumber>> ownTables;
  if (!hasPotential) AddWideTables(c, &shape, &ownTables, &tables);
  for (int k = 0; k < clique.links.size(); ++k) {
    if (k == exceptLink) continue;
    place(separators[clique.links[k].separator].variables, shape.AddFactor());
    tables.push_back(wideMessages[clique.links[k].in].get());
  }
  for (int node : clique.entered) {
    if (!findings[node].weighted) continue;
    place(std::span<const int>(&node, 1), shape.AddFactor());
    tables.push_back(findings[node].weights.data());
  }
  for (const WideTarget& target : wideTargets) {
    place(target.variables, shape.AddTarget());
    const std::size_t size = FreeSize(target.variables);
    *target.to = TryMakeBlock<WideNumber>(size);
    if (!*target.to) return false;
    std::fill_n(target.to->get(), size, WideNumber{});
  }

  const std::size_t numTables = tables.size();
  Vector<int> at(At(axes), 0), offsets(1 + numTables + wideTargets.size(), 0);
  do {
    if (watch->Halts(1)) return false;
    WideNumber product = {0.5, 1};
    if (hasPotential) {
      const std::size_t i = first + At(offsets[0]);
      product = ToWide(clique.exact ? clique.exact[i] : clique.unscale * static_cast<double>(clique.potential[i]));
    }
    for (std::size_t t = 0; t < numTables && product.mantissa > 0; ++t) product = product * tables[t][offsets[t + 1]];
    if (!(product.mantissa > 0)) continue;
    for (std::size_t k = 0; k < wideTargets.size(); ++k) {
      WideNumber& sum = (*wideTargets[k].to)[offsets[1 + numTables + k]];
      sum = maximize ? std::max(sum, product) : sum + product;
    }
  } while (Step(shape, &at, &offsets));
  return true;
}

// The message along the link; where the one against it is there, all messages that are missing are made in one pass and
// divided by those against them.
bool Inference::Impl::WideSend(int c, int k) {
  const CliqueState& clique = cliques[c];
  auto variablesOf = [&](const Link& link) { return std::span<const int>(separators[link.separator].variables); };
  const Link& asked = clique.links[k];
  if (!wideMessages[asked.in]) {
    const WideTarget target = {variablesOf(asked), &wideMessages[asked.out]};
    return WidePass(c, k, std::span<const WideTarget>(&target, 1));
  }
  Vector<WideTarget> all;
  Vector<int> sent;
  for (const Link& link : clique.links) {
    if (wideMessages[link.out]) continue;
    all.push_back({variablesOf(link), &wideMessages[link.out]});
    sent.push_back(link.out);
  }
  if (!WidePass(c, -1, all)) {
    for (int m : sent) wideMessages[m].reset();
    return false;
  }
  for (int m : sent) {
    const std::size_t size = FreeSize(separators[m / 2].variables);
    WideNumber* out = wideMessages[m].get();
    const WideNumber* against = wideMessages[m ^ 1].get();
    for (std::size_t i = 0; i < size; ++i) out[i] = against[i].mantissa > 0 ? out[i] / against[i] : WideNumber{};
  }
  return true;
}

bool Inference::Impl::WideCollect(int root) {
  if (wideMessages.empty()) wideMessages.resize(messages.size());
  path.assign(1, root);
  cursor.assign(1, 0);
  while (!path.empty()) {
    const int c = path.back();
    const CliqueState& clique = cliques[c];
    const int above = path.size() > 1 ? path[path.size() - 2] : -1;
    int up = -1, down = -1;
    while (down < 0 && cursor.back() < clique.links.size()) {
      const Link& link = clique.links[cursor.back()++];
      if (link.neighbour != above && !wideMessages[link.in]) down = link.neighbour;
    }
    if (down >= 0) {
      path.push_back(down);
      cursor.push_back(0);
      continue;
    }
    for (int k = 0; above >= 0 && k < clique.links.size(); ++k)
      if (clique.links[k].neighbour == above) up = k;
    if (up >= 0 && !WideSend(c, up)) return false;
    path.pop_back();
    cursor.pop_back();
  }
  return true;
}

// The propagation begun in doubles, once more.
Status Inference::Impl::PropagateWide() {
  wide = true;
  Block<WideNumber> sum;
  const WideTarget target = {{}, &sum};
  if (!WideCollect(pivot) || !WidePass(pivot, -1, std::span<const WideTarget>(&target, 1))) return Status::NoMemory;
  total = sum[0].mantissa;
  // Likelihoods count with their whole weight here.
  totalExponent = sum[0].exponent;
  for (int i = 0; i < findings.size() && numWeighted > 0; ++i)
    if (findings[i].weighted) totalExponent -= findings[i].exponent;
  return total > 0 ? Status::Done : Status::Inconsistent;
}

// As doubles in proportion, largest about 1.
const double* Inference::Impl::WideSumOnto(int c, std::span<const int> nodes) {
  Block<WideNumber> table;
  const WideTarget target = {nodes, &table};
  if (!WideCollect(c) || !WidePass(c, -1, std::span<const WideTarget>(&target, 1))) return nullptr;
  const std::size_t size = FreeSize(nodes);
  const WideNumber largest = *std::max_element(table.get(), table.get() + size);
  if (sums.empty()) sums.resize(1);
  sums[0].assign(size, 0.0);
  for (std::size_t i = 0; i < size; ++i) sums[0][i] = ToDouble(table[i], -largest.exponent);
  return sums[0].data();
}

}  // namespace bravic::engine
