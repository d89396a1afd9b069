#include "Bn/engine/infer/CliquePasses.h"

#include <algorithm>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/Pass.h"
#include "Bn/engine/PlainPass.h"

namespace bravic::engine {

namespace {

constexpr int MANY_PLANS_UP_TO = 2048;  // entries of cliques that keep many passes
constexpr int MANY_PLANS = 16, FEW_PLANS = 4;
constexpr int WORD_BITS = 64;

// A bit for each entry of the list; there are fewer than 64 variables of two states or more.
template <class List, class IsSet>
std::uint64_t BitsOf(const List& list, IsSet isSet) {
  std::uint64_t word = 0;
  for (int k = 0; k < list.size(); ++k) word |= std::uint64_t{isSet(list[k])} << (k % WORD_BITS);
  return word;
}

}  // namespace

CliquePasses::CliquePasses(const Structure& structure, const Findings& findings, Potentials& potentials,
                           const Messages& messages, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      potentials_(potentials),
      messages_(messages),
      mode_(mode),
      sweeps_(structure.cliques.size()),
      reads_(structure.cliques.size()),
      sends_(structure.cliques.size()),
      layouts_(structure.cliques.size()),
      maker_(structure.numstates) {
  for (int c = 0; c < sends_.size(); ++c) sends_[c].resize(structure.cliques[c].links.size());
}

template <class Visit>
void CliquePasses::ForEachLikelihood(int c, Visit visit) const {
  if (!findings_.HasLikelihoods()) return;
  for (int node : structure_.cliques[c].entered)
    if (findings_[node].weighted) visit(node);
}

bool CliquePasses::Prepared::IsFor(const PassRequest& request) const {
  return key == request.nodes.key &&
         std::equal(request.outLinks.begin(), request.outLinks.end(), outLinks.begin(), outLinks.end());
}

CliquePasses::Cache& CliquePasses::CacheOf(const PassRequest& request) {
  switch (request.kind) {
    case PassRequest::Kind::SEND:
      return sends_[request.clique][request.exceptLink];
    case PassRequest::Kind::SWEEP:
      return sweeps_[request.clique];
    default:
      return reads_[request.clique];
  }
}

// A word of the known variables, one for each incoming message of where it holds one state alone, and the nodes with
// likelihoods. Described again only when the number of the layout has moved.
const Vector<std::uint64_t>& CliquePasses::LayoutOf(int c) {
  Layout& layout = layouts_[c];
  if (layout.number == messages_.LayoutNumber(c)) return layout.words;
  layout.number = messages_.LayoutNumber(c);
  layout.words.clear();
  layout.words.push_back(BitsOf(structure_.cliques[c].variables, [&](int v) { return !findings_.IsFree(v); }));
  messages_.ForEachIncoming(c, -1, [&](const Message& message) {
    layout.words.push_back(BitsOf(message.fixedAt, [](int state) { return state != FREE; }));
  });
  ForEachLikelihood(c, [&](int node) { layout.words.push_back(node); });
  return layout.words;
}

// The pass for the clique's present layout, found or made. Which pass was the latest is known without comparing.
CliquePasses::Prepared& CliquePasses::FindPrepared(const PassRequest& request) {
  const int c = request.clique;
  Cache& cache = CacheOf(request);
  if (cache.layout == messages_.LayoutNumber(c) && cache.passes[cache.current].IsFor(request))
    return cache.passes[cache.current];
  const Vector<std::uint64_t>& layout = LayoutOf(c);
  cache.layout = messages_.LayoutNumber(c);
  // The message that is left out has the word after that of the variables; it does not matter.
  const int ignored = request.exceptLink >= 0 ? request.exceptLink + 1 : -1;
  // Layouts come again when findings alternate between a few sets of nodes, so some passes are kept; states move
  // nothing but where tables begin.
  for (int i = 0; i < cache.passes.size(); ++i) {
    Prepared& pass = cache.passes[i];
    if (!pass.IsFor(request) || pass.layout.size() != layout.size()) continue;
    bool isSame = true;
    for (int w = 0; isSame && w < layout.size(); ++w) isSame = pass.layout[w] == layout[w] || w == ignored;
    if (!isSame) continue;
    cache.current = i;
    return pass;
  }
  // None fits: a new one, in turn in the place of an older one.
  const int room = potentials_[c].size <= MANY_PLANS_UP_TO ? MANY_PLANS : FEW_PLANS;
  if (cache.passes.size() < room) {
    cache.passes.emplace_back();
    cache.current = cache.passes.size() - 1;
  } else {
    cache.current = cache.replaceNext;
    cache.replaceNext = (cache.replaceNext + 1) % room;
  }
  Prepared& pass = cache.passes[cache.current];
  pass.layout = layout;
  Prepare(request, &pass);
  return pass;
}

// Factors: the incoming messages, then the likelihoods. Targets: the separators, then the table over the nodes.
void CliquePasses::Prepare(const PassRequest& request, Prepared* pass) {
  const CliqueFacts& clique = structure_.cliques[request.clique];
  PassShape& shape = pass->shape;
  pass->key = request.nodes.key;
  pass->outLinks.assign(request.outLinks.begin(), request.outLinks.end());
  pass->shifts.clear();
  // The axes are the free variables. A table that holds a known variable begins at its state; which tables do is kept
  // as shifts, so that the same pass serves all states of the same layout.
  maker_.Begin(
      clique.variables, [&](int v) { return findings_.IsFree(v); }, &shape);
  auto place = [&](std::span<const int> variables, int table, int* strides, auto has) {
    maker_.Place(variables, has, strides, [&](int node, int stride) { pass->shifts.push_back({table, node, stride}); });
  };
  auto everything = [](int) { return true; };
  place(clique.variables, 0, shape.Strides(0), everything);
  for (int k = 0; k < clique.links.size(); ++k) {
    if (k == request.exceptLink) continue;
    const Vector<int>& fixedAt = messages_[clique.links[k].in].fixedAt;
    int* strides = shape.AddFactor();
    place(structure_.separators[clique.links[k].separator].variables, shape.numFactors, strides,
          [&](int j) { return fixedAt[j] == FREE; });
  }
  ForEachLikelihood(request.clique, [&](int node) {
    int* strides = shape.AddFactor();
    place(std::span<const int>(&node, 1), shape.numFactors, strides, everything);
  });
  auto addTarget = [&](std::span<const int> variables) {
    place(variables, 0, shape.AddTarget(), [&](int k) { return findings_.IsFree(variables[k]); });
  };
  for (int k : request.outLinks) addTarget(structure_.separators[clique.links[k].separator].variables);
  if (request.ontoNodes) addTarget(request.nodes.nodes);
  pass->size = 1;
  for (int size : shape.sizes) pass->size *= size;
  // A plan takes longer to make than a small pass takes to run, so small ones go entry by entry: always, or until they
  // come again.
  pass->runs = pass->size <= cost::PLAIN_ALWAYS || !potentials_[request.clique].floats ? 0 : 1;
  pass->isPlain = pass->size <= cost::PLAIN_AT_FIRST;
  if (!pass->isPlain) MakePlan(shape, &pass->plan);
}

// Of the products of the potential, the messages and the likelihoods.
ProductRange CliquePasses::RangeOf(int c, int exceptLink) const {
  ProductRange range;
  range.Multiply(potentials_[c].range);
  messages_.ForEachIncoming(c, exceptLink,
                            [&](const Message& message) { range.Multiply(message.range, message.probs != nullptr); });
  ForEachLikelihood(c, [&](int node) { range.Multiply(findings_[node].range); });
  return range;
}

bool CliquePasses::MayLose(int c, bool hasFloats) const {
  const ProductRange range = RangeOf(c, -1);
  const int floor = !hasFloats ? DOUBLE_FLOOR : range.FitsFloats() ? FLOAT_FLOOR - LIFT : FLOAT_FLOOR;
  return range.Lost(floor, 1) != NO_LOSS;
}

// The entries of a message that has floats alone.
const double* CliquePasses::InDoubles(const Message& message, std::span<const int> variables, int* numConverted,
                                      PassPlace* place) const {
  if (place->converted.size() == *numConverted) place->converted.emplace_back();
  Vector<double>& doubles = place->converted[(*numConverted)++];
  const int size = ForEachStride(
      variables, structure_.numstates, [&](int k) { return message.fixedAt[k] == FREE; }, [](int, int) {});
  doubles.assign(message.floats, message.floats + size);
  return doubles.data();
}

// Answers by what the sums are to be multiplied.
double CliquePasses::RunInDoubles(const Prepared& pass, const PassRequest& request, PassPlace* place) const {
  const Vector<Link>& links = structure_.cliques[request.clique].links;
  const Potential& potential = potentials_[request.clique];
  Vector<const double*>& tables = place->doubleTables;
  tables.assign(1, potential.doubles.get());
  int numConverted = 0;
  for (int k = 0; k < links.size(); ++k) {
    if (k == request.exceptLink) continue;
    const Message& message = messages_[links[k].in];
    tables.push_back(message.probs ? message.probs
                                   : InDoubles(message, structure_.VariablesOf(links[k].in), &numConverted, place));
  }
  ForEachLikelihood(request.clique, [&](int node) { tables.push_back(findings_[node].doubles.data()); });
  // Large potentials are floats all the same: each is read into a double as it is multiplied.
  const float* floats = potential.floats;
  for (const Prepared::Shift& shift : pass.shifts) {
    const int by = findings_[shift.node].state * shift.stride;
    if (shift.table > 0 || potential.doubles)
      tables[shift.table] += by;
    else
      floats += by;
  }
  const double* const* factors = tables.data() + 1;
  if (potential.doubles) {
    RunPlainly(pass.shape, tables[0], factors, place->targets.data(), mode_.maximize);
    return 1;
  }
  RunPlainly(pass.shape, floats, factors, place->targets.data(), mode_.maximize);
  return potential.unscale;
}

// Answers by what the sums are to be multiplied.
double CliquePasses::RunInFloats(const Prepared& pass, const PassRequest& request, int lift, int slice,
                                 double* sumsApart, PassPlace* place) const {
  const Potential& potential = potentials_[request.clique];
  Vector<const float*>& tables = place->floatTables;
  tables.assign(1, potential.floats);
  double unscale = potential.unscale;
  messages_.ForEachIncoming(request.clique, request.exceptLink, [&](const Message& message) {
    tables.push_back(message.floats);
    unscale *= message.unscale;
  });
  ForEachLikelihood(request.clique, [&](int node) { tables.push_back(findings_[node].floats.data()); });
  for (const Prepared::Shift& shift : pass.shifts) tables[shift.table] += findings_[shift.node].state * shift.stride;
  const float power = static_cast<float>(PowerOfTwo(lift));
  const PassTarget* targets = place->targets.data();
  if (slice < 0)
    RunPlan(pass.plan, mode_.kernels, tables[0], tables.data() + 1, targets, &place->room, mode_.maximize, power);
  else
    RunSlice(pass.plan, slice, mode_.kernels, tables[0], tables.data() + 1, targets, sumsApart, &place->room,
             mode_.maximize, power);
  return unscale * PowerOfTwo(-lift);
}

CliquePasses::Prepared& CliquePasses::PreparePass(const PassRequest& request) {
  potentials_.Filled(request.clique);
  Prepared& pass = FindPrepared(request);
  // When it comes again it is worth its plan.
  if (pass.isPlain && pass.runs > 1) {
    MakePlan(pass.shape, &pass.plan);
    pass.isPlain = false;
  }
  return pass;
}

void CliquePasses::ReserveFor(const Prepared& pass, PassPlace* place) const {
  const std::size_t numTables = pass.shape.NumTables();
  place->targets.reserve(numTables);
  place->floatTables.reserve(numTables);
  place->doubleTables.reserve(numTables);
  if (!pass.isPlain) place->room.GrowFor(pass.plan);
}

// Floats are tried first, then floats with all products lifted, then doubles (docs/numerics.md).
PassResult CliquePasses::Describe(const Prepared& pass, const PassRequest& request, bool ontoFloats) const {
  PassResult result;
  result.floor = ontoFloats ? FLOAT_FLOOR : DOUBLE_FLOOR;
  result.numTerms = pass.size;
  result.range = RangeOf(request.clique, request.exceptLink);
  result.inFloats = !pass.isPlain && !potentials_[request.clique].doubles;
  if (result.inFloats && !result.range.StaysAbove(FLOAT_FLOOR)) {
    result.inFloats = result.range.FitsFloats();
    if (result.inFloats) result.lift = LIFT;
  }
  if (result.inFloats) result.floor = FLOAT_FLOOR - result.lift;
  return result;
}

void CliquePasses::RunPrepared(Prepared& pass, const PassRequest& request, int slice, double* sumsApart,
                               PassPlace* place, PassResult* result) const {
  if (pass.isPlain && pass.runs > 0) ++pass.runs;
  // One of the tables may stand lifted already.
  const int lift = result->range.HasLifted() ? 0 : result->lift;
  result->unscale =
      result->inFloats ? RunInFloats(pass, request, lift, slice, sumsApart, place) : RunInDoubles(pass, request, place);
}

PassResult CliquePasses::Run(const PassRequest& request) {
  Prepared& pass = PreparePass(request);
  if (mode_.watch->Halts(potentials_[request.clique].size + cost::ENTRIES_OF_A_PASS)) return {};
  PassResult result = Describe(pass, request, place_.targets[0].narrow != nullptr);
  ReserveFor(pass, &place_);
  RunPrepared(pass, request, -1, nullptr, &place_, &result);
  return result;
}

// Sums go to doubles, but very large ones to the floats where they are kept.
void CliquePasses::AddTarget(int size, float* narrow) {
  PassTarget target;
  if (narrow && size > WIDE_TARGET) {
    target.narrow = narrow;
    std::fill_n(narrow, size, 0.0f);
  } else {
    const int k = place_.targets.size();
    place_.sums.GrowTo(k + 1);
    Vector<double>& sums = place_.sums[k];
    sums.GrowTo(size);
    std::fill_n(sums.data(), size, 0.0);
    target.wide = sums.data();
  }
  place_.targets.push_back(target);
}

Sums CliquePasses::SumOnto(int clique, const NodeSet& nodes) {
  const int size = findings_.FreeSize(nodes.nodes);
  ClearTargets();
  AddTarget(size, nullptr);
  const PassResult result = Run({.clique = clique, .ontoNodes = true, .nodes = nodes});
  return {place_.sums[0].data(), result.unscale, result.LostInSums(size, mode_.maximize)};
}

}  // namespace bravic::engine
