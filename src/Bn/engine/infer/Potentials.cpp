#include "Bn/engine/infer/Potentials.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/Pass.h"
#include "Bn/engine/PlainPass.h"
#include "Win_Face/Threads.h"

namespace bravic::engine {

Potentials::Potentials(const Structure& structure, NodeTables& tables, const Mode& mode)
    : structure_(structure),
      tables_(tables),
      mode_(mode),
      potentials_(structure.cliques.size()),
      maker_(structure.numstates) {}

// The most entries that the tables of one clique take, slack included.
double Potentials::TableRoom() const {
  double most = 0;
  for (const CliqueFacts& clique : structure_.cliques) {
    double room = 0;
    for (int node : clique.homed) room += StateSpace(structure_.families[node], structure_.numstates) + KERNEL_SLACK;
    most = std::max(most, room);
  }
  return most;
}

double Potentials::BytesExpected() const {
  double nbytes = 0;
  for (int c = 0; c < potentials_.size(); ++c)
    if (!IsSmall(c)) nbytes += Slabs::SizeOf<float>(structure_.tree->cliques[c].size);
  return nbytes;
}

bool Potentials::Allocate(int c) {
  if (!tableRoom_) {
    const double room = TableRoom();
    if (!(room < 2 * MAX_TABLE_ENTRIES)) return false;
    tableRoom_ = TryMakeBlock<float>(static_cast<std::size_t>(room) + KERNEL_SLACK);
    if (!tableRoom_) return false;
    slabs_.Expect(BytesExpected());
  }
  const double entries = structure_.tree->cliques[c].size;
  if (!(entries < MAX_TABLE_ENTRIES)) return false;
  Potential& potential = potentials_[c];
  potential.size = static_cast<int>(entries);
  if (!IsSmall(c)) return (potential.floats = slabs_.Take<float>(potential.size)) != nullptr;
  potential.doubles = TryMakeBlock<double>(potential.size);
  return potential.doubles != nullptr;
}

void Potentials::FinishAllocation() {
  constexpr std::ptrdiff_t MANY = 8;
  auto hasFloats = [](const Potential& potential) { return potential.floats != nullptr; };
  spreadsRounding_ = std::count_if(potentials_.begin(), potentials_.end(), hasFloats) >= MANY;
  allocated_ = true;
}

void Potentials::Drop() {
  for (Potential& potential : potentials_) {
    potential.floats = nullptr;
    potential.doubles.reset();
  }
  slabs_.Drop();
  tableRoom_.reset();
  allocated_ = false;
}

void Potentials::Forget(int c) {
  potentials_[c].filled = false;
  potentials_[c].homed = Potential::Homed::UNKNOWN;
}

bool Potentials::HomedAreProper(int c) {
  using Homed = Potential::Homed;
  Homed& homed = potentials_[c].homed;
  if (homed == Homed::UNKNOWN) {
    homed = Homed::PROPER;
    for (int node : structure_.cliques[c].homed)
      if (tables_.FactsOf(node).informs || !tables_[node]) homed = Homed::INFORMING;
  }
  return homed == Homed::PROPER;
}

// The clique's tables as factors of the shape, the strides of the potential still 0. No positive entry of their product
// is below 2^ the answer.
int Potentials::ShapeTables(int c) {
  const CliqueFacts& clique = structure_.cliques[c];
  maker_.Begin(
      clique.variables, [](int) { return true; }, &shape_);
  int low = 0;
  for (int node : clique.homed) {
    if (!tables_[node]) continue;
    low += tables_.FactsOf(node).low;
    maker_.PlaceAll(structure_.families[node], shape_.AddFactor());
  }
  return low;
}

// In doubles, of tables normalized in doubles; false without memory. Cliques that are not small go back to floats when
// these hold all.
bool Potentials::FillDoubles(int c) {
  const CliqueFacts& clique = structure_.cliques[c];
  Potential& potential = potentials_[c];
  if (!potential.doubles) potential.doubles = TryMakeBlock<double>(potential.size);
  if (!potential.doubles) return false;
  double* const entries = potential.doubles.get();
  const int low = ShapeTables(c);
  int room = 0;
  for (int node : clique.homed)
    if (tables_[node]) room += structure_.TableSize(node);
  tableDoubles_.resize(room);
  double* free = tableDoubles_.data();
  Vector<const double*> factors;
  for (int node : clique.homed) {
    if (!tables_[node]) continue;
    factors.push_back(free);
    free = tables_.CopyScaled(node, 1, free);
  }
  // The potential is a target here: the factors are multiplied onto a constant.
  maker_.PlaceAll(clique.variables, shape_.AddTarget());
  constexpr double ONE = 1;
  const PassTarget target{entries, nullptr};
  std::fill_n(entries, potential.size, 0.0);
  RunPlainly(shape_, &ONE, factors.data(), &target, false);
  double largest, least;
  FindRange(entries, potential.size, &largest, &least);
  potential.range = {0, low < DOUBLE_FLOOR ? DOUBLE_FLOOR + PRODUCT_BITS : NO_LOSS};
  if (largest > 0) potential.range.low = std::min(0, Exponent(least) - 1);
  if (potential.floats && potential.range.low >= FLOAT_FLOOR && potential.range.lost == NO_LOSS) {
    const double scale = spreadsRounding_ ? SpreadFactor(c) : 1;
    for (int i = 0; i < potential.size; ++i) potential.floats[i] = static_cast<float>(scale * entries[i]);
    potential.doubles.reset();
    potential.unscale = 1 / scale;
  }
  return true;
}

// By the shape; slices of a large one by several threads.
void Potentials::MultiplyTables(const Vector<const float*>& factors, Potential* potential) {
  MakePlan(shape_, &plan_);
  const bool isShared = plan_.numSlices > 1 && potential->size >= cost::FILL_WORTH_THREADS;
  const int numThreads = isShared ? std::min(ThreadsToUse(), plan_.numSlices) : 1;
  if (rooms_.size() < numThreads) rooms_.resize(numThreads);
  for (int i = 0; i < numThreads; ++i) rooms_[i].GrowFor(plan_);
  float* const to = potential->floats;
  if (numThreads == 1) return RunProduct(plan_, -1, mode_.kernels, to, factors.data(), &rooms_[0]);
  std::atomic<int> next = 0;
  auto runSlices = [&](int worker) {
    for (int slice = next++; slice < plan_.numSlices; slice = next++)
      RunProduct(plan_, slice, mode_.kernels, to, factors.data(), &rooms_[worker]);
  };
  RunOnThreads(
      numThreads, [](void* run, int worker) { (*static_cast<decltype(runSlices)*>(run))(worker); }, &runSlices);
}

void Potentials::FillFloats(int c) {
  const CliqueFacts& clique = structure_.cliques[c];
  Potential& potential = potentials_[c];
  int low = ShapeTables(c);
  maker_.PlaceAll(clique.variables, shape_.Strides(0));
  // A table that stands as the potential does is copied there, others to where there is slack behind them.
  const bool isPlaced =
      shape_.numFactors == 1 && std::equal(shape_.Strides(0), shape_.Strides(0) + shape_.numAxes, shape_.Strides(1));
  float* free = isPlaced ? potential.floats : tableRoom_.get();
  Vector<const float*> factors;
  potential.unscale = 1;
  for (int node : clique.homed) {
    const float* rows = tables_[node];
    if (!rows) continue;
    const TableFacts& facts = tables_.FactsOf(node);
    factors.push_back(free);
    if (spreadsRounding_) {
      free = tables_.CopyScaled(node, SpreadFactor(node), free);
      potential.unscale /= SpreadFactor(node);
    } else {
      free = std::copy_n(facts.cleaned.empty() ? rows : facts.cleaned.data(), structure_.TableSize(node), free);
    }
    free = std::fill_n(free, KERNEL_SLACK, 0.0f);
  }
  if (mode_.watch->Halts(potential.size)) return;
  if (!isPlaced) MultiplyTables(factors, &potential);
  // Each of the factors that spread rounding is at least a half.
  if (spreadsRounding_) low -= factors.size();
  potential.range = {low, low < FLOAT_FLOOR ? FLOAT_FLOOR + PRODUCT_BITS : NO_LOSS};
}

void Potentials::Fill(int c) {
  Potential& potential = potentials_[c];
  if (potential.floats) std::fill_n(potential.floats + potential.size, KERNEL_SLACK, 0.0f);
  int low = 0;
  for (int node : structure_.cliques[c].homed) low += tables_.FactsOf(node).low;
  const bool inDoubles = !potential.floats || low < FLOAT_FLOOR;
  if (!inDoubles) potential.doubles.reset();
  if (!inDoubles || !FillDoubles(c)) FillFloats(c);
  potential.filled = !mode_.watch->halted;
}

}  // namespace bravic::engine
