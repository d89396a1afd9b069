// Layouts of tables, room for them, and the product of each clique's tables.
#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "Bn/engine/infer/Propagation.h"

namespace bravic::engine {

// The shape of a pass over the clique with all of its separators as factors and targets, were its variables in that
// order.
void Inference::Impl::FullShape(const CliqueState& clique, std::span<const int> variables, PassShape* shape) {
  const int axes = Count(variables);
  shape->Clear(axes);
  int stride = 1;
  for (int a = axes; a-- > 0;) {
    const int node = variables[a];
    axisOf[node] = a;
    shape->sizes[a] = numstates[node];
    shape->Strides(0)[a] = stride;
    stride *= numstates[node];
  }
  for (int way = 0; way < 2; ++way) {
    for (const Link& link : clique.links) {
      int* strides = way == 0 ? shape->AddFactor() : shape->AddTarget();
      const Vector<int>& members = separators[link.separator].variables;
      int step = 1;
      for (std::size_t k = members.size(); k-- > 0;) {
        strides[axisOf[members[k]]] = step;
        step *= numstates[members[k]];
      }
    }
  }
}

// Looks for an order of the clique's variables that makes its passes cheap: variables are moved about as long as
// that helps and the effort stays small beside a pass.
void Inference::Impl::OrderVariables(int c) {
  CliqueState& clique = cliques[c];
  const int n = clique.variables.size();
  int tries = static_cast<int>(std::min(400.0, tree->cliques[c].size / 400));
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
    for (int v : separators[link.separator].variables) ++shared[v];
  Vector<int> order = best;
  // Sorted in place, equals in the order they had: std::stable_sort would take memory that nobody counts.
  auto isLess = [&](int a, int b) { return shared[a] < shared[b]; };
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
        const int moved = order[from];
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
    const double sizeA = tree->cliques[a].size, sizeB = tree->cliques[b].size;
    return sizeA != sizeB ? sizeA > sizeB : a < b;
  });
  Vector<unsigned char> settled(separators.size(), 0);
  for (int c : bySize) {
    CliqueState& clique = cliques[c];
    if (tree->cliques[c].size > 512) OrderVariables(c);
    int stride = 1;
    clique.strides.assign(clique.variables.size(), 0);
    for (std::size_t k = clique.variables.size(); k-- > 0;) {
      clique.strides[k] = stride;
      stride *= numstates[clique.variables[k]];
      axisOf[clique.variables[k]] = static_cast<int>(k);
    }
    for (Link& link : clique.links) {
      Vector<int>& members = separators[link.separator].variables;
      if (!settled[link.separator])
        std::sort(members.begin(), members.end(), [&](int a, int b) { return axisOf[a] < axisOf[b]; });
      settled[link.separator] = 1;
      link.axes.clear();
      for (int v : members) link.axes.push_back(axisOf[v]);
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
  // Floats are read and written a vector at a time.
  auto allocate = [&](Block<float>* block, double entries) {
    const std::size_t size = static_cast<std::size_t>(entries);
    *block = TryMakeBlock<float>(size + KERNEL_SLACK);
    if (*block) std::fill_n(block->get() + size, KERNEL_SLACK, 0.0f);
    return *block != nullptr;
  };
  auto allocateDoubles = [&](Block<double>* block, double entries) {
    *block = TryMakeBlock<double>(static_cast<std::size_t>(entries));
    return *block != nullptr;
  };
  auto isSmall = [&](int c) { return impl.tree->cliques[c].size <= SMALL_CLIQUE; };
  for (int c = 0; c < impl.cliques.size(); ++c) {
    CliqueState& clique = impl.cliques[c];
    const double cliqueSize = impl.tree->cliques[c].size;
    if (!impl.tableRoom && tables < 2 * MAX_TABLE_ENTRIES) allocate(&impl.tableRoom, tables);
    bool good = impl.tableRoom && cliqueSize < MAX_TABLE_ENTRIES &&
                (isSmall(c) ? allocateDoubles(&clique.exact, cliqueSize) : allocate(&clique.potential, cliqueSize));
    if (good) clique.size = static_cast<std::size_t>(cliqueSize);
    for (const Link& link : clique.links) {
      SeparatorState& separator = impl.separators[link.separator];
      if (!good || separator.doubles || separator.floats) continue;
      const Separator& inTree = impl.tree->separators[link.separator];
      good = inTree.size < MAX_TABLE_ENTRIES;
      if (good && inTree.size <= WIDE_TARGET) good = allocateDoubles(&separator.doubles, 2 * inTree.size);
      if (good && !(isSmall(inTree.cliques[0]) && isSmall(inTree.cliques[1])))
        good = allocate(&separator.floats, 2 * inTree.size);
      if (!good) continue;
      separator.size = static_cast<std::size_t>(inTree.size);
      for (std::size_t way = 0; way < 2; ++way) {
        Message& message = impl.messages[2 * At(link.separator) + way];
        message.probs = separator.doubles ? separator.doubles.get() + way * separator.size : nullptr;
        message.floats = separator.floats ? separator.floats.get() + way * separator.size : nullptr;
      }
    }
    if (!good) {
      if (failedClique) *failedClique = c;
      DropPotentials();
      return Status::NoMemory;
    }
  }
  constexpr std::ptrdiff_t MANY = 8;
  impl.spreadsRounding = std::count_if(impl.cliques.begin(), impl.cliques.end(),
                                       [](const CliqueState& clique) { return clique.potential != nullptr; }) >= MANY;
  if (!impl.laidOut) impl.ChooseLayouts();
  impl.laidOut = true;
  // A small part of what the tree takes, or little enough.
  impl.elimination.Keep(static_cast<std::size_t>(std::clamp(impl.tree->totalSize / 16, 16384.0, 1048576.0)));
  impl.allocated = true;
  return Status::Done;
}

void Inference::DropPotentials() {
  Impl& impl = *impl_;
  for (CliqueState& clique : impl.cliques) {
    clique.potential.reset();
    clique.exact.reset();
  }
  for (SeparatorState& separator : impl.separators) {
    separator.doubles.reset();
    separator.floats.reset();
  }
  impl.reducedModels.clear();
  impl.tableRoom.reset();
  impl.tableOf = nullptr;
  impl.allocated = false;
  impl.InvalidateAll();
}

std::size_t Inference::Impl::TableSize(int node) const {
  std::size_t size = At(numstates[node]);
  for (int parent : parents[node]) size *= At(numstates[parent]);
  return size;
}

bool IsDistribution(const float* row, int numstates, double* scale) {
  // What misses 1 by more was not meant to sum to it.
  constexpr double UNNORMALIZED = 1e-5;
  double sum = 0;
  float least = 0;
  for (int s = 0; s < numstates; ++s) {
    least = std::min(least, row[s]);
    sum += static_cast<double>(row[s]);
  }
  const bool isProper = least >= 0 && std::abs(sum - 1) < UNNORMALIZED;
  *scale = isProper ? 1 / sum : least < 0 ? 0 : 1;
  return isProper;
}

// The same of a row of the node's table.
bool Inference::Impl::ScaleOf(int node, const float* row, double* scale) const {
  if (!cutAs || !cutAs->known[node]) return IsDistribution(row, numstates[node], scale);
  const Vector<double>& scales = cutAs->scales[node];
  *scale = scales.empty() ? 1 : scales[row - cutAs->tables[node].data()];
  return false;
}

// Whether summing all nodes out that are homed in the clique leaves 1.
bool Inference::Impl::HomedAreProper(int c) {
  using Homed = CliqueState::Homed;
  CliqueState& clique = cliques[c];
  if (clique.homedTables == Homed::UNKNOWN) {
    clique.homedTables = Homed::PROPER;
    for (int node : clique.homed)
      if (FactsOf(node).informs || !tableOf(node)) clique.homedTables = Homed::INFORMING;
  }
  return clique.homedTables == Homed::PROPER;
}

// The clique's tables as factors of fillShape, the strides of the potential still 0. No positive entry of their product
// is below 2^ the answer.
int Inference::Impl::ShapeTables(int c) {
  const CliqueState& clique = cliques[c];
  const int axes = clique.variables.size();
  fillShape.Clear(axes);
  for (int a = 0; a < axes; ++a) {
    const int node = clique.variables[a];
    axisOf[node] = a;
    fillShape.sizes[a] = numstates[node];
  }
  int low = 0;
  for (int node : clique.homed) {
    if (!tableOf(node)) continue;
    low += FactsOf(node).low;
    int* strides = fillShape.AddFactor();
    auto place = [&](int v, int stride) {
      if (numstates[v] > 1) strides[axisOf[v]] = stride;
    };
    place(node, 1);
    int size = numstates[node];
    const Vector<int>& family = parents[node];
    for (std::size_t k = family.size(); k-- > 0;) {
      place(family[k], size);
      size *= numstates[family[k]];
    }
  }
  return low;
}

// The node's table times a factor, each row normalized before it is rounded; answers the end.
template <class Number>
Number* Inference::Impl::CopyScaled(int node, double factor, Number* to) const {
  const float* rows = tableOf(node);
  const int own = numstates[node];
  for (std::size_t size = TableSize(node); size > 0; size -= At(own), rows += own) {
    double scale;
    ScaleOf(node, rows, &scale);
    scale *= factor;
    for (int s = 0; s < own; ++s) *to++ = scale == 0 ? 0 : static_cast<Number>(scale * static_cast<double>(rows[s]));
  }
  return to;
}

// In doubles, of tables normalized in doubles; false without memory. Cliques that are not small go back to floats when
// these hold all.
bool Inference::Impl::FillExactly(int c) {
  CliqueState& clique = cliques[c];
  if (!clique.exact) clique.exact = TryMakeBlock<double>(clique.size);
  if (!clique.exact) return false;
  const int low = ShapeTables(c);
  std::size_t room = 0;
  for (int node : clique.homed)
    if (tableOf(node)) room += TableSize(node);
  tableDoubles.resize(room);
  double* free = tableDoubles.data();
  exactFactors.clear();
  for (int node : clique.homed) {
    if (!tableOf(node)) continue;
    exactFactors.push_back(free);
    free = CopyScaled(node, 1, free);
  }
  int* strides = fillShape.AddTarget();
  std::copy(clique.strides.begin(), clique.strides.end(), strides);
  constexpr double ONE = 1;
  const PassTarget target{clique.exact.get(), nullptr};
  std::fill_n(clique.exact.get(), clique.size, 0.0);
  RunPlainly(fillShape, &ONE, exactFactors.data(), &target, false);
  double largest, least;
  FindRange(clique.exact.get(), clique.size, &largest, &least);
  clique.range = {0, low < DOUBLE_FLOOR ? DOUBLE_FLOOR + 16 : NO_LOSS};
  if (largest > 0) clique.range.low = std::min(0, Exponent(least) - 1);
  if (clique.potential && clique.range.low >= FLOAT_FLOOR && clique.range.lost == NO_LOSS) {
    const double scale = spreadsRounding ? SpreadFactor(c) : 1;
    for (std::size_t i = 0; i < clique.size; ++i) clique.potential[i] = static_cast<float>(scale * clique.exact[i]);
    clique.exact.reset();
    clique.unscale = 1 / scale;
  }
  return true;
}

void Inference::Impl::FillFloats(int c) {
  CliqueState& clique = cliques[c];
  int low = ShapeTables(c);
  std::copy(clique.strides.begin(), clique.strides.end(), fillShape.Strides(0));
  // Each table is copied, for the slack behind it.
  float* free = tableRoom.get();
  factors.clear();
  clique.unscale = 1;
  for (int node : clique.homed) {
    const float* rows = tableOf(node);
    if (!rows) continue;
    const TableFacts& facts = FactsOf(node);
    factors.push_back(free);
    if (spreadsRounding) {
      free = CopyScaled(node, SpreadFactor(node), free);
      clique.unscale /= SpreadFactor(node);
    } else {
      free = std::copy_n(facts.cleaned.empty() ? rows : facts.cleaned.data(), TableSize(node), free);
    }
    free = std::fill_n(free, KERNEL_SLACK, 0.0f);
  }
  if (watch->Halts(static_cast<double>(clique.size))) return;
  MakePlan(fillShape, &fillPlan);
  arena.GrowTo(fillPlan.arena);
  RunProduct(fillPlan, *kernels, clique.potential.get(), factors.data(), arena.data());
  if (spreadsRounding) low -= factors.size();
  clique.range = {low, low < FLOAT_FLOOR ? FLOAT_FLOOR + 16 : NO_LOSS};
}

void Inference::Impl::FillClique(int c) {
  CliqueState& clique = cliques[c];
  int low = 0;
  for (int node : clique.homed) low += FactsOf(node).low;
  const bool inDoubles = !clique.potential || low < FLOAT_FLOOR;
  if (!inDoubles) clique.exact.reset();
  if (!inDoubles || !FillExactly(c)) FillFloats(c);
  clique.filled = !watch->halted;
}

void Inference::SetTables(std::function<const float*(int)> table) {
  Impl& impl = *impl_;
  impl.tableOf = std::move(table);
  for (CliqueState& clique : impl.cliques) {
    clique.filled = false;
    clique.homedTables = CliqueState::Homed::UNKNOWN;
  }
  for (TableFacts& facts : impl.tableFacts) facts.known = false;
  impl.elimination.Forget();
  impl.ForgetChecks();
  impl.InvalidateAll();
}

void Inference::TableChanged(int node) {
  const int c = impl_->tree->home[node];
  impl_->cliques[c].filled = false;
  impl_->cliques[c].homedTables = CliqueState::Homed::UNKNOWN;
  impl_->tableFacts[node].known = false;
  impl_->elimination.Forget();
  impl_->ForgetChecks();
  impl_->Changed(c);
}

}  // namespace bravic::engine
