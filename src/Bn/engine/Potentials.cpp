// Layouts of tables, room for them, and the product of each clique's tables.
#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "Bn/engine/Propagation.h"

namespace bravic::engine {

// The shape of a pass over the clique with all of its separators as factors and targets, were its variables in that
// order.
void Inference::Impl::FullShape(const CliqueState& clique, std::span<const int> variables, PassShape* shape) {
  const int axes = static_cast<int>(variables.size());
  shape->Clear(axes);
  int stride = 1;
  for (int a = axes; a-- > 0;) {
    const int node = variables[At(a)];
    axisOf[At(node)] = a;
    shape->sizes[At(a)] = numstates[At(node)];
    shape->Strides(0)[a] = stride;
    stride *= numstates[At(node)];
  }
  for (int way = 0; way < 2; ++way) {
    for (const Link& link : clique.links) {
      int* strides = way == 0 ? shape->AddFactor() : shape->AddTarget();
      const Vector<int>& members = separators[At(link.separator)].variables;
      int step = 1;
      for (std::size_t k = members.size(); k-- > 0;) {
        strides[axisOf[At(members[k])]] = step;
        step *= numstates[At(members[k])];
      }
    }
  }
}

// Looks for an order of the clique's variables that makes its passes cheap: variables are moved about as long as
// that helps and the effort stays small beside a pass.
void Inference::Impl::OrderVariables(int c) {
  CliqueState& clique = cliques[At(c)];
  const int n = static_cast<int>(clique.variables.size());
  int tries = static_cast<int>(std::min(400.0, tree->cliques[At(c)].size / 400));
  PassShape shape;
  auto cost = [&](std::span<const int> variables) {
    FullShape(clique, variables, &shape);
    return PlanCost(shape);
  };
  Vector<int> best = clique.variables;
  double bestCost = cost(best);
  // To begin with: what most separators share goes last.
  Vector<int> shared(numstates.size(), 0);
  for (const Link& link : clique.links)
    for (int v : separators[At(link.separator)].variables) ++shared[At(v)];
  Vector<int> order = best;
  // Sorted in place, equals in the order they had: std::stable_sort would take memory that nobody counts.
  auto isLess = [&](int a, int b) { return shared[At(a)] < shared[At(b)]; };
  for (auto next = order.begin(); next != order.end(); ++next)
    std::rotate(std::upper_bound(order.begin(), next, *next, isLess), next, next + 1);
  for (bool better = true; better && tries > 0;) {
    better = false;
    const double price = cost(order);
    if (price < bestCost) best = order, bestCost = price;
    for (int from = n; from-- > 0 && tries > 0;) {
      for (int to = 0; to < n && tries > 0; ++to) {
        if (from == to) continue;
        order = best;
        const int moved = order[At(from)];
        order.erase(order.begin() + from);
        order.insert(order.begin() + to, moved);
        --tries;
        const double moveCost = cost(order);
        if (moveCost < bestCost * 0.999) {
          best = order;
          bestCost = moveCost;
          better = true;
        }
      }
    }
    order = best;
  }
  clique.variables = best;
}

// Larger cliques choose first; a separator takes its order from the larger of its cliques.
void Inference::Impl::ChooseLayouts() {
  Vector<int> bySize(cliques.size());
  std::iota(bySize.begin(), bySize.end(), 0);
  std::sort(bySize.begin(), bySize.end(), [&](int a, int b) {
    const double sizeA = tree->cliques[At(a)].size, sizeB = tree->cliques[At(b)].size;
    return sizeA != sizeB ? sizeA > sizeB : a < b;
  });
  Vector<unsigned char> settled(separators.size(), 0);
  for (int c : bySize) {
    CliqueState& clique = cliques[At(c)];
    if (tree->cliques[At(c)].size > 512) OrderVariables(c);
    int stride = 1;
    clique.strides.assign(clique.variables.size(), 0);
    for (std::size_t k = clique.variables.size(); k-- > 0;) {
      clique.strides[k] = stride;
      stride *= numstates[At(clique.variables[k])];
      axisOf[At(clique.variables[k])] = static_cast<int>(k);
    }
    for (Link& link : clique.links) {
      Vector<int>& members = separators[At(link.separator)].variables;
      if (!settled[At(link.separator)])
        std::sort(members.begin(), members.end(), [&](int a, int b) { return axisOf[At(a)] < axisOf[At(b)]; });
      settled[At(link.separator)] = 1;
      link.axes.clear();
      for (int v : members) link.axes.push_back(axisOf[At(v)]);
    }
  }
}

Status Inference::AllocatePotentials(int* failedClique) {
  Impl& impl = *impl_;
  if (impl.allocated) return Status::Done;
  double tables = 0;
  for (const CliqueState& clique : impl.cliques) {
    double room = 0;
    for (int node : clique.homed) room += static_cast<double>(impl.TableSize(node) + KERNEL_SLACK);
    tables = std::max(tables, room);
  }
  // Tables are read and written a vector at a time.
  auto allocate = [&](Block<float>* block, double entries) {
    const std::size_t size = static_cast<std::size_t>(entries);
    *block = TryMakeBlock<float>(size + KERNEL_SLACK);
    if (*block) std::fill_n(block->get() + size, KERNEL_SLACK, 0.0f);
    return *block != nullptr;
  };
  for (std::size_t c = 0; c < impl.cliques.size(); ++c) {
    CliqueState& clique = impl.cliques[c];
    if (!impl.tableRoom && tables < 2 * MAX_TABLE_ENTRIES) allocate(&impl.tableRoom, tables);
    bool good = impl.tableRoom && impl.tree->cliques[c].size < MAX_TABLE_ENTRIES &&
                allocate(&clique.potential, impl.tree->cliques[c].size);
    if (good) clique.size = static_cast<std::size_t>(impl.tree->cliques[c].size);
    for (const Link& link : clique.links) {
      SeparatorState& separator = impl.separators[At(link.separator)];
      if (!good || separator.tables) continue;
      const double size = impl.tree->separators[At(link.separator)].size;
      good = size < MAX_TABLE_ENTRIES && allocate(&separator.tables, 2 * size);
      if (!good) continue;
      separator.size = static_cast<std::size_t>(size);
      impl.messages[2 * At(link.separator)].probs = separator.tables.get();
      impl.messages[2 * At(link.separator) + 1].probs = separator.tables.get() + separator.size;
    }
    if (!good) {
      if (failedClique) *failedClique = static_cast<int>(c);
      DropPotentials();
      return Status::NoMemory;
    }
  }
  if (!impl.laidOut) impl.ChooseLayouts();
  impl.laidOut = true;
  // A small part of what the tree takes, or little enough.
  impl.elimination.Keep(static_cast<std::size_t>(std::clamp(impl.tree->totalSize / 16, 16384.0, 1048576.0)));
  impl.allocated = true;
  return Status::Done;
}

void Inference::DropPotentials() {
  Impl& impl = *impl_;
  for (CliqueState& clique : impl.cliques) clique.potential.reset();
  for (SeparatorState& separator : impl.separators) separator.tables.reset();
  impl.reducedModels.clear();
  impl.tableRoom.reset();
  impl.tableOf = nullptr;
  impl.allocated = false;
  impl.InvalidateAll();
}

std::size_t Inference::Impl::TableSize(int node) const {
  std::size_t size = At(numstates[At(node)]);
  for (int parent : parents[At(node)]) size *= At(numstates[At(parent)]);
  return size;
}

void ZeroImpossibleRows(float* table, int size, int numstates) {
  for (float* row = table; row < table + size; row += numstates)
    if (std::any_of(row, row + numstates, [](float x) { return x < 0; })) std::fill_n(row, numstates, 0.0f);
}

void Inference::Impl::FillClique(int c) {
  CliqueState& clique = cliques[At(c)];
  const int axes = static_cast<int>(clique.variables.size());
  fillShape.Clear(axes);
  for (int a = 0; a < axes; ++a) {
    const int node = clique.variables[At(a)];
    axisOf[At(node)] = a;
    fillShape.sizes[At(a)] = numstates[At(node)];
    fillShape.Strides(0)[a] = clique.strides[At(a)];
  }
  // Each table is copied, for the slack behind it and to make rows of the impossible marker 0.
  float* free = tableRoom.get();
  factors.clear();
  clique.low = 0;
  for (int node : clique.homed) {
    const float* rows = tableOf(node);
    if (!rows) continue;
    int* strides = fillShape.AddFactor();
    auto place = [&](int v, int stride) {
      if (numstates[At(v)] > 1) strides[axisOf[At(v)]] = stride;
    };
    const int own = numstates[At(node)];
    place(node, 1);
    int size = own;
    const Vector<int>& family = parents[At(node)];
    for (std::size_t k = family.size(); k-- > 0;) {
      place(family[k], size);
      size *= numstates[At(family[k])];
    }
    float* const begin = free;
    factors.push_back(begin);
    free = std::copy(rows, rows + size, free);
    free = std::fill_n(free, KERNEL_SLACK, 0.0f);
    // Sixteen at a time, which do not wait for each other; the slack takes part.
    float lowest[16] = {};
    for (int i = 0; i < size; i += 16)
      for (int lane = 0; lane < 16; ++lane) lowest[lane] = std::min(lowest[lane], begin[i + lane]);
    if (*std::min_element(lowest, lowest + 16) < 0) ZeroImpossibleRows(begin, size, own);
    float largest, least;
    FindRange(begin, At(size), &largest, &least);
    if (least < 1) clique.low += std::ilogb(least);
  }
  if (watch->Halts(static_cast<double>(clique.size))) return;
  MakePlan(fillShape, &fillPlan);
  if (arena.size() < fillPlan.arena) arena.resize(fillPlan.arena);
  RunProduct(fillPlan, *kernels, clique.potential.get(), factors.data(), arena.data());
  clique.filled = true;
}

void Inference::SetTables(std::function<const float*(int)> table) {
  Impl& impl = *impl_;
  impl.tableOf = std::move(table);
  for (CliqueState& clique : impl.cliques) clique.filled = false;
  for (TableFacts& facts : impl.tableFacts) facts.known = false;
  impl.elimination.Forget();
  impl.ForgetChecks();
  impl.InvalidateAll();
}

void Inference::TableChanged(int node) {
  const int c = impl_->tree->home[At(node)];
  impl_->cliques[At(c)].filled = false;
  impl_->tableFacts[At(node)].known = false;
  impl_->elimination.Forget();
  impl_->ForgetChecks();
  impl_->Changed(c);
}

}  // namespace bravic::engine
