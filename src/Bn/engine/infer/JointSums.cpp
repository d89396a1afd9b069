#include "Bn/engine/infer/JointSums.h"

#include <algorithm>
#include <numeric>

#include "Bn/engine/infer/Relevance.h"

namespace bravic::engine {

namespace {

// Of all tables of a model together: more is refused before any of it is had.
constexpr double MOST_ENTRIES = 4.0 * MAX_TABLE_ENTRIES;

bool FitsInTables(const JunctionTree& tree) {
  return tree.totalSize <= MOST_ENTRIES && std::all_of(tree.cliques.begin(), tree.cliques.end(),
                                                       [](const Clique& c) { return c.size < MAX_TABLE_ENTRIES; });
}

// Whether sums of so many entries can be had beside the tables; what makes them asks for no less than it needs.
bool HasRoomFor(int entries) {
  constexpr int COPIES = 3;
  return TryMakeBlock<double>(COPIES * static_cast<std::size_t>(entries)) != nullptr;
}

}  // namespace

// Sums over the free ones of the nodes to where they belong in the whole table, normalized.
void JointSums::Spread(std::span<const double> sums, std::span<const int> nodes, double* to) const {
  std::size_t size = 1;
  for (int node : nodes) size *= static_cast<std::size_t>(structure_.numstates[node]);
  const double total = std::accumulate(sums.begin(), sums.end(), 0.0);
  std::fill_n(to, size, 0.0);
  const double* from = sums.data();
  findings_.ForEachFree(nodes, {}, [&](int index) { to[index] = *from++ / total; });
}

Status JointSums::FindApart(const Vector<int>& free, std::span<const int> nodes, double* to, double* entries) {
  Relevance relevance(structure_, findings_, tables_);
  Vector<unsigned char> matters(structure_.NumNodes(), 0);
  for (int node : relevance.Find(free)) matters[node] = 1;
  const ModelCutter cutter(structure_, findings_, tables_, mode_);
  const Owned<CutModel> model = cutter.Cut(std::move(matters));
  // A child of them all, of one state and without a table, joins them and changes nothing.
  model->cut.known.push_back(1);
  model->matters.push_back(0);
  model->numstates.push_back(1);
  model->parents.push_back(free);
  const Graph moral = ModelCutter::GraphOf(*model);
  model->tree = MergeSmallCliques(
      BuildTree(moral, model->numstates, model->parents, ModelCutter::FindOrderOf(*model, moral).nodes));
  *entries = model->tree.totalSize;
  if (!FitsInTables(model->tree)) return Status::NoMemory;
  model->inference = Inference::Make(model->tree, model->numstates, model->parents);
  int failedClique;
  if (model->inference->AllocatePotentials(&failedClique) != Status::Done) return Status::NoMemory;
  cutter.HandOver(model.get());
  const Block<double> sums = TryMakeBlock<double>(findings_.FreeSize(free));
  if (!sums) return Status::NoMemory;
  double unused;
  const Status status = model->inference->Joint(free, sums.get(), &unused);
  if (status == Status::Done) Spread({sums.get(), static_cast<std::size_t>(findings_.FreeSize(free))}, nodes, to);
  return status;
}

Status JointSums::Find(std::span<const int> nodes, double* to, double* entries) {
  *entries = 0;
  Vector<int> free;
  for (int node : nodes)
    if (findings_.IsAxis(node)) free.push_back(node);
  constexpr double ALL = 1;
  if (free.empty()) {
    Spread({&ALL, 1}, nodes, to);
    return Status::Done;
  }
  if (!HasRoomFor(findings_.FreeSize(free))) return Status::NoMemory;
  const int clique = sums_.FindClique(free);
  if (clique < 0) return FindApart(free, nodes, to, entries);
  // A key for each question, behind those of other sets of nodes.
  ScaledTable sums;
  const NodeSet set = {structure_.NumNodes() + 1 + numAsked_++, free};
  if (!sums_.Read(clique, set, &sums)) return mode_.watch->halted ? Status::Halted : Status::NoMemory;
  Spread(sums.entries, nodes, to);
  return Status::Done;
}

}  // namespace bravic::engine
