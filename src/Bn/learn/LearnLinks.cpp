#include "Bn/learn/LearnLinks.h"

#include <algorithm>
#include <cstring>

#include "Bn/engine/learn/SubsetSearch.h"
#include "Bn/model/Lists.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Relation.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Interaction.h"
#include "Win_Face/Threads.h"

namespace bravic {
namespace {

using engine::CaseColumns;
using engine::FoundLinks;
using engine::Links;

// Nature nodes of one net with states, whose links are all among them where that is asked for.
Failure CheckNodes(std::span<const node_bn> nodes, bool areAlone) {
  const int mark = NewMark();
  for (node_bn node : nodes) node->mark2 = mark;
  for (node_bn node : nodes) {
    if (node->innet != nodes[0]->innet || !node->innet) return Fail(LINKS_OF_TWO_NETS, nodes[0]->name, node->name);
    if (node->kind != NATURE_NODE || node->numstates < 1) return Fail(NOT_TO_BE_LINKED, node->name);
    for (node_bn other : Entries(node->preds))
      if (IsStub(*other) || (areAlone && other->mark2 != mark))
        return Fail(LINKED_WITH_OTHERS, node->name, other->name);
    for (node_bn other : Entries(node->succs))
      if (areAlone && other->mark2 != mark) return Fail(LINKED_WITH_OTHERS, node->name, other->name);
  }
  return nullptr;
}

Failure Take(const LinkSource& source, std::span<const node_bn> nodes, CaseColumns* data) {
  return source.file ? ReadCases(source.file, nodes, data) : TakeCases(*source.arrays, nodes, data);
}

Vector<int> NumbersOfStates(std::span<const node_bn> nodes) {
  Vector<int> numstates;
  for (node_bn node : nodes) numstates.push_back(node->numstates);
  return numstates;
}

// Of the whole net but its constants; nodes of other kinds keep their links.
engine::EntryLimit MakeLimit(double mostEntries, std::span<const node_bn> nodes) {
  Vector<int> numstates, places;
  Vector<Vector<int>> parents;
  Vector<node_bn> all;
  for (node_bn node : OrderedNodes(nodes[0]->innet)) {
    if (node->kind == ASSUME_NODE) continue;
    node->scratch = all.size();
    all.push_back(node);
  }
  for (node_bn node : all) {
    numstates.push_back(node->numstates);
    parents.emplace_back();
    for (node_bn parent : Entries(node->preds))
      if (!IsStub(*parent) && parent->kind != ASSUME_NODE) parents.back().push_back(parent->scratch);
  }
  for (node_bn node : nodes) places.push_back(node->scratch);
  return engine::EntryLimit(mostEntries, numstates, parents, places);
}

engine::SearchMethod FunctionOf(LinkMethod method) {
  switch (method) {
    case LinkMethod::Hill:
      break;
    case LinkMethod::Order:
      return engine::SearchOrders;
    case LinkMethod::Exact:
      return engine::SearchExact;
    case LinkMethod::Tree:
      return engine::SearchTree;
    case LinkMethod::Tan:
      return engine::SearchTan;
  }
  return engine::SearchHill;
}

Failure FailForMemory(const LinkOptions& options, int numNodes) {
  const double bytes = options.method == LinkMethod::Exact ? engine::SubsetSearchBytes(numNodes) : 0;
  return FailMemory(NO_MEMORY_FOR_LINKS, bytes, numNodes);
}

Failure FindLinks(const CaseColumns& data, LinkOptions* options, std::span<const node_bn> nodes, FoundLinks* found,
                  Owned<CaseColumns>* completed) {
  engine::LinkSearch& search = options->search;
  engine::EntryLimit limit = MakeLimit(options->mostEntries, nodes);
  if (options->mostEntries > 0) {
    const double entries = limit.Entries(search.start);
    if (entries > options->mostEntries) return Fail(START_BEYOND_ENTRIES, entries, options->mostEntries);
    search.limit = &limit;
  }
  WaitScope wait("Learning links");
  engine::Interrupt interrupt;
  const double n = Count(nodes);
  interrupt.Start([&wait](double fraction) { return wait.Progress(fraction); },
                  n * n * static_cast<double>(data.NumRows()) * 3);
  engine::FamilyScores scores(data, options->score, options->prior, options->numThreads, &interrupt);
  search.scores = &scores;
  search.rules = &options->rules;
  search.interrupt = &interrupt;
  const engine::SearchMethod method = FunctionOf(options->method);
  if (scores.IsReady() && options->fillsMissing) {
    *found = SearchMissing(search, method, {options->score, options->prior, options->numThreads}, completed);
  } else if (scores.IsReady()) {
    *found = method(search);
  }
  if (!scores.IsReady() || found->status == engine::Status::NoMemory) return FailForMemory(*options, Count(nodes));
  return found->status == engine::Status::Halted ? FailHalted() : nullptr;
}

struct NewFamily {
  Vector<node_bn> parents;
  Block<float> probs, numcases;
};

// The node's table as the cases give it, with one case more in each row, spread evenly.
Failure MakeTable(const CaseColumns& data, int node, std::span<const node_bn> nodes, std::span<const int> parents,
                  NewFamily* family) {
  constexpr double PRIOR = 1, MOST_ENTRIES = 0x7FFFFFFF;
  const int numstates = data.NumStates(node);
  double rows = 1;
  Vector<int> inNetOrder(parents.begin(), parents.end());
  std::sort(inNetOrder.begin(), inNetOrder.end(), [&](int a, int b) { return nodes[a]->index < nodes[b]->index; });
  for (int parent : inNetOrder) {
    family->parents.push_back(nodes[parent]);
    rows *= data.NumStates(parent);
  }
  const double size = rows * numstates;
  Block<double> counts;
  if (size <= MOST_ENTRIES) {
    counts = TryMakeBlock<double>(static_cast<std::size_t>(size));
    family->probs = TryMakeBlock<float>(static_cast<std::size_t>(size));
    family->numcases = TryMakeBlock<float>(static_cast<std::size_t>(rows));
  }
  if (!counts || !family->probs || !family->numcases)
    return FailMemory(NO_MEMORY_FOR_LEARNED_TABLE, size * sizeof(double), nodes[node]->name);
  CountFamily(data, node, inNetOrder, counts.get());
  const std::ptrdiff_t numRows = static_cast<std::ptrdiff_t>(rows);
  for (std::ptrdiff_t row = 0; row < numRows; ++row) {
    const double* count = counts.get() + row * numstates;
    double sum = PRIOR;
    for (int k = 0; k < numstates; ++k) sum += count[k];
    for (int k = 0; k < numstates; ++k)
      family->probs[row * numstates + k] = static_cast<float>((count[k] + PRIOR / numstates) / sum);
    family->numcases[row] = ToFloat(sum);
  }
  return nullptr;
}

// All links are taken out before any comes, so that none closes a cycle on the way, and children stand in the order in
// which the limit on entries takes them: that of the net.
void Install(std::span<const node_bn> nodes, std::span<NewFamily> families) {
  Vector<int> order(nodes.size());
  for (int i = 0; i < order.size(); ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [&](int a, int b) { return nodes[a]->index < nodes[b]->index; });
  UndoGroup group(UNDO_GROUP, nodes[0]->innet);
  for (int i : order) ChangeParents(nodes[i], {}, {}, true);
  for (int i : order) {
    ChangeParents(nodes[i], families[i].parents, {}, true);
    Relation relation;
    relation.probs = families[i].probs.release();
    relation.numcases = families[i].numcases.release();
    InstallRelation(nodes[i], relation);
  }
}

// By their names, so that what is found depends neither on how they were listed nor on the links that there were.
Vector<node_bn> Sorted(std::span<const node_bn> nodes) {
  Vector<node_bn> sorted(nodes.begin(), nodes.end());
  std::sort(sorted.begin(), sorted.end(), [](node_bn a, node_bn b) { return std::strcmp(a->name, b->name) < 0; });
  return sorted;
}

Failure LearnNow(const LinkSource& source, std::span<const node_bn> listed, const learn_links_bn& how,
                 FoundLinks* found) {
  if (Failure failure = CheckNodes(listed, true)) return failure;
  const Vector<node_bn> nodes = Sorted(listed);
  CaseColumns data(NumbersOfStates(nodes));
  if (Failure failure = Take(source, nodes, &data)) return failure;
  LinkOptions options;
  if (Failure failure = SetOptions(how, listed, nodes, data, &options)) return failure;
  bool hasMissing = false;
  for (int i = 0; i < nodes.size(); ++i) hasMissing = hasMissing || data.HasMissing(i);
  options.fillsMissing = options.fillsMissing && hasMissing;
  Owned<CaseColumns> completed;
  if (Failure failure = FindLinks(data, &options, nodes, found, &completed)) return failure;
  Vector<NewFamily> families(nodes.size());
  for (int i = 0; i < nodes.size(); ++i)
    if (Failure failure = MakeTable(completed ? *completed : data, i, nodes, found->parents[i], &families[i]))
      return failure;
  Install(nodes, families);
  for (int i = 0; i < nodes.size(); ++i)
    if (data.IsConstant(i)) Report(CONSTANT_COLUMN, nodes[i]->name);
  if (options.method == LinkMethod::Exact && !found->isBest) Report(NOT_EXACT_WITHIN_ENTRIES, options.mostEntries);
  return nullptr;
}

Failure ScoreNow(const LinkSource& source, std::span<const node_bn> listed, const LinkOptions& options, double* score) {
  if (Failure failure = CheckNodes(listed, false)) return failure;
  Vector<node_bn> nodes(listed.begin(), listed.end());
  const int mark = NewMark();
  for (node_bn node : listed) node->mark2 = mark;
  for (node_bn node : listed) {
    for (node_bn parent : Entries(node->preds)) {
      if (parent->mark2 == mark) continue;
      if (parent->numstates < 1) return Fail(NOT_TO_BE_LINKED, parent->name);
      parent->mark2 = mark;
      nodes.push_back(parent);
    }
  }
  CaseColumns data(NumbersOfStates(nodes));
  if (Failure failure = Take(source, nodes, &data)) return failure;
  engine::FamilyScores scores(data, options.score, options.prior, ThreadsToUse());
  for (int i = 0; i < nodes.size(); ++i) nodes[i]->scratch = i;
  double sum = 0;
  Vector<int> parents;
  for (int i = 0; i < Count(listed); ++i) {
    parents.clear();
    for (node_bn parent : Entries(listed[i]->preds)) parents.push_back(parent->scratch);
    sum += scores.Score(i, parents);
  }
  if (!scores.IsReady()) return FailMemory(NO_MEMORY_FOR_LINKS, 0, nodes.size());
  *score = sum;
  return nullptr;
}

}  // namespace

int LearnLinks(const LinkSource& source, std::span<const node_bn> nodes, const learn_links_bn* how, double* score) {
  learn_links_bn options;
  FoundLinks found;
  Failure failure = CopyOptions(how, &options);
  if (!failure && !nodes.empty()) failure = LearnNow(source, nodes, options, &found);
  if (failure) {
    Post(std::move(failure));
    return -1;
  }
  if (score) *score = found.score;
  return found.steps;
}

double ScoreLinks(const LinkSource& source, std::span<const node_bn> nodes, int score, double prior) {
  LinkOptions options;
  double sum = 0;
  Failure failure = CheckScore(score, prior, &options);
  if (!failure && !nodes.empty()) failure = ScoreNow(source, nodes, options, &sum);
  if (!failure) return sum;
  Post(std::move(failure));
  return UNDEF_DBL;
}

}  // namespace bravic
