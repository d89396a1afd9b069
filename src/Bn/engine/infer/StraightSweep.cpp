#include "Bn/engine/infer/StraightSweep.h"

#include <algorithm>
#include <limits>

#include "Bn/engine/CostModel.h"

namespace bravic::engine {

namespace {

constexpr int HUGE_EXPONENT = 900;  // numbers stay below 2^this, far from what doubles end at

// The largest entry of a table, and its least that is positive.
struct Spread {
  double largest = 0, least = std::numeric_limits<double>::max();

  void Take(double entry) {
    largest = largest < entry ? entry : largest;
    if (entry > 0 && entry < least) least = entry;
  }
  bool IsZero() const { return !(largest > 0); }
  bool IsWithinRange() const { return largest < PowerOfTwo(HUGE_EXPONENT); }
  int Low() const { return Exponent(least) - 1; }
};

// Calls change(i) for each entry that the runs go through, which answers what it is then.
template <class Change>
Spread ChangeEntries(const Runs& runs, Change change) {
  Spread spread;
  for (const Run* run = runs.all; run != runs.all + runs.count; ++run)
    for (int i = run->begin; i < run->begin + runs.length; ++i) spread.Take(change(i));
  return spread;
}

}  // namespace

StraightSweep::StraightSweep(const Structure& structure, const Findings& findings, NodeTables& tables,
                             Marginals& marginals, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      tables_(tables),
      marginals_(marginals),
      mode_(mode),
      maker_(structure.numstates) {}

void StraightSweep::TableChanged(int clique) {
  isLossy_ = false;
  if (tree_) states_[tree_->partOf[clique]] = {};
}

void StraightSweep::TablesChanged() {
  isLossy_ = false;
  states_.assign(states_.size(), {});
}

void StraightSweep::Drop() {
  tree_.reset();
  numbers_.reset();
  runs_.reset();
}

bool StraightSweep::Serves() const {
  return !isLossy_ && structure_.tree->totalSize <= cost::MOST_STRAIGHT_ENTRIES && !structure_.cliques.empty();
}

double StraightSweep::Cost() const {
  double cost = 0;
  for (const CliqueFacts& clique : structure_.cliques)
    cost += cost::STRAIGHT_CLIQUE +
            cost::STRAIGHT_ENTRY * (clique.links.size() + clique.lone.size()) * findings_.FreeSize(clique.variables);
  return cost;
}

// False without memory.
bool StraightSweep::Make() {
  if (tree_) return true;
  Owned<StraightTree> tree = MakeOwned<StraightTree>(structure_);
  const std::size_t parts = tree->numEntries, tables = tree->numTableEntries;
  numbers_ = TryMakeBlock<double>(2 * (parts + tables) + tree->largestPart + tree->largestTable);
  runs_ = TryMakeBlock<Run>(tree->numRuns);
  if (!numbers_ || !runs_) return false;
  potentials_ = numbers_.get();
  products_ = potentials_ + parts;
  inward_ = products_ + parts;
  outward_ = inward_ + tables;
  scratch_ = outward_ + tables;
  dense_ = scratch_ + tree->largestPart;
  states_.assign(tree->parts.size(), {});
  told_.assign(tree->tables.size(), {});
  seen_.assign(structure_.NumNodes(), {});
  tree_ = std::move(tree);
  return true;
}

// Makes stale the products that findings other than those of the last run reach.
void StraightSweep::NoteFindings() {
  if (maximized_ != mode_.maximize)
    for (State& state : states_) state.isInward = false;
  maximized_ = mode_.maximize;
  for (int i = 0; i < seen_.size(); ++i) {
    const Finding& finding = findings_[i];
    const Seen now = {finding.state, finding.weighted ? finding.serial : 0};
    if (now == seen_[i]) continue;
    seen_[i] = now;
    for (int c : structure_.cliquesOf[i]) states_[tree_->partOf[c]].isInward = false;
  }
  for (int p = states_.size(); p-- > 1;)
    if (!states_[p].isInward) states_[tree_->parts[p].parent].isInward = false;
}

// Multiplies all entries, whose axes are given, by those of a table with these strides, or begins with these (FIRST).
// Neighbouring axes that the table steps through alike are joined; the two fastest are run through in loops of their
// own.
template <bool FIRST>
void StraightSweep::MultiplyAll(std::span<const int> sizes, std::span<const int> strides, const double* table,
                                double* to) {
  // [axis] after two of one state
  int joined[MAX_AXES + 2] = {1, 1}, steps[MAX_AXES + 2] = {}, count = 2;
  for (int a = 0; a < Count(sizes); ++a) {
    if (a > 0 && steps[count - 1] == strides[a] * sizes[a]) {
      joined[count - 1] *= sizes[a];
      steps[count - 1] = strides[a];
    } else {
      joined[count] = sizes[a];
      steps[count++] = strides[a];
    }
  }
  const int numRows = joined[count - 2], rowStep = steps[count - 2], length = joined[count - 1],
            step = steps[count - 1];
  auto take = [](double* entry, double factor) { *entry = FIRST ? factor : *entry * factor; };
  ForEachOffset(count - 2, joined, steps, [&](int offset) {
    for (int r = 0; r < numRows; ++r, offset += rowStep, to += length) {
      const double* const from = table + offset;
      const double first = *from;
      if (step == 0)
        for (int k = 0; k < length; ++k) take(to + k, first);
      else if (step == 1)
        for (int k = 0; k < length; ++k) take(to + k, from[k]);
      else
        for (int k = 0; k < length; ++k) take(to + k, from[k * step]);
    }
  });
}

// The product of the tables at home in the clique; false where doubles cannot hold it.
bool StraightSweep::Fill(int p) {
  const Part& part = tree_->parts[p];
  const std::span<const int> variables = tree_->VariablesOf(part.layout);
  maker_.Begin(
      variables, [](int) { return true; }, &shape_);
  double* const entries = potentials_ + part.begin;
  int low = 0;
  bool isFirst = true;
  for (int node : structure_.cliques[part.clique].homed) {
    if (!tables_[node]) continue;
    low += tables_.FactsOf(node).low;
    factor_.GrowTo(structure_.TableSize(node));
    tables_.CopyScaled(node, 1, factor_.data());
    int strides[MAX_AXES] = {};
    maker_.PlaceAll(structure_.families[node], strides);
    const auto itsSizes = std::span(shape_.sizes.data(), variables.size());
    const auto itsStrides = std::span(strides, variables.size());
    if (isFirst)
      MultiplyAll<true>(itsSizes, itsStrides, factor_.data(), entries);
    else
      MultiplyAll<false>(itsSizes, itsStrides, factor_.data(), entries);
    isFirst = false;
  }
  if (isFirst) std::fill_n(entries, part.size, 1.0);
  if (low < DOUBLE_FLOOR) return false;
  // What the tables promise is looked at more closely where it may come to matter.
  constexpr int VERY_SMALL = -100;
  if (low < VERY_SMALL) {
    Spread spread;
    FindRange(entries, part.size, &spread.largest, &spread.least);
    low = spread.IsZero() ? 0 : std::min(0, spread.Low());
  }
  states_[p].low = low;
  states_[p].isFilled = true;
  return true;
}

// The runs of entries that agree with what is known: of whole rows or, where a variable that makes rows is known, of
// what is behind the last such.
Runs StraightSweep::FindRuns(const StraightTree::Layout& layout) {
  const std::span<const int> variables = tree_->VariablesOf(layout);
  const int* const steps = tree_->strides.data() + layout.firstAxis;
  Run* const begin = runs_.get() + layout.firstRun;
  Run* to = begin;
  if (std::all_of(variables.begin(), variables.end(), [&](int v) { return findings_.IsFree(v); })) {
    for (int row = 0; row < layout.numRows; ++row) *to++ = {row, row * layout.length, 0};
    return {begin, layout.numRows, layout.length};
  }
  // [outer axes, then those within rows up to the last that is known]
  int sizes[MAX_AXES], strides[MAX_AXES], numOuter = 0, firstRow = 0, firstSkip = 0, length = layout.length;
  for (int a = 0; a < layout.numOuter; ++a) {
    const int v = variables[a], state = findings_[v].state;
    if (state != FREE) {
      firstRow += state * steps[a];
    } else {
      sizes[numOuter] = structure_.numstates[v];
      strides[numOuter++] = steps[a];
    }
  }
  int numWithin = 0, numWaiting = 0;
  for (int a = layout.numOuter; a < layout.numAxes; ++a) {
    const int v = variables[a], state = findings_[v].state;
    if (state != FREE) {
      firstSkip += state * steps[a];
      length = steps[a];
      numWithin += numWaiting;
      numWaiting = 0;
    } else {
      sizes[numOuter + numWithin + numWaiting] = structure_.numstates[v];
      strides[numOuter + numWithin + numWaiting++] = steps[a];
    }
  }
  auto addRow = [&](int row) {
    ForEachOffset(numWithin, sizes + numOuter, strides + numOuter, [&](int skip) {
      skip += firstSkip;
      *to++ = {row, row * layout.length + skip, skip};
    });
  };
  // The fastest of the outer axes is run through in a loop of its own.
  const int fastest = numOuter - 1, numFast = numOuter > 0 ? sizes[fastest] : 1;
  const int step = numOuter > 0 ? strides[fastest] : 0;
  ForEachOffset(std::max(fastest, 0), sizes, strides, [&](int offset) {
    int row = firstRow + offset;
    for (int k = 0; k < numFast; ++k, row += step) {
      if (numWithin > 0)
        addRow(row);
      else
        *to++ = {row, row * layout.length + firstSkip, firstSkip};
    }
  });
  return {begin, static_cast<int>(to - begin), length};
}

RowPlaces StraightSweep::PlacesOf(const Port& port) const {
  return {tree_->offsets.data() + port.offsets, port.runsAlong};
}

const double* StraightSweep::ProductOf(int p) const {
  return (states_[p].hasProduct ? products_ : potentials_) + tree_->parts[p].begin;
}

// Entry by entry: they are seldom many.
void StraightSweep::EnterLikelihood(int p, int node, const double* from) {
  const Part& part = tree_->parts[p];
  const StraightTree::Layout& layout = part.layout;
  const Runs& runs = states_[p].runs;
  const Vector<double>& weights = findings_[node].doubles;
  double* const to = products_ + part.begin;
  int stride = 1;
  const std::span<const int> variables = tree_->VariablesOf(layout);
  for (int a = 0; a < layout.numAxes; ++a)
    if (variables[a] == node) stride = tree_->strides[layout.firstAxis + a] * (a < layout.numOuter ? layout.length : 1);
  for (const Run* run = runs.all; run != runs.all + runs.count; ++run)
    for (int i = run->begin; i < run->begin + runs.length; ++i)
      to[i] = from[i] * weights[i / stride % structure_.numstates[node]];
}

// Multiplies together what the clique knows and what its children told it.
Outcome StraightSweep::GoInward(int p) {
  const Part& part = tree_->parts[p];
  State& state = states_[p];
  if (!state.isFilled && !Fill(p)) {
    isLossy_ = true;
    return Outcome::DOUBTFUL;
  }
  const Runs& runs = state.runs = FindRuns(part.layout);
  const double* from = potentials_ + part.begin;
  double* const product = products_ + part.begin;
  int low = state.low;
  for (int k = part.parent == StraightTree::NONE ? 0 : 1; k < part.numPorts; ++k) {
    const Port& port = tree_->ports[part.firstPort + k];
    if (port.neighbour == StraightTree::NONE) break;
    MultiplyRuns(runs, from, inward_ + tree_->tables[port.table].begin, PlacesOf(port), product);
    from = product;
    low += told_[port.table].low;
  }
  if (findings_.HasLikelihoods()) {
    for (int node : structure_.cliques[part.clique].entered) {
      if (!findings_[node].weighted) continue;
      EnterLikelihood(p, node, from);
      from = product;
      low += findings_[node].range.low;
    }
  }
  state.hasProduct = from == product;
  state.lowOfProduct = low;
  if (low < DOUBLE_FLOOR) return Outcome::DOUBTFUL;
  const Outcome outcome = part.parent == StraightTree::NONE ? Outcome::GOOD : Tell(p);
  state.isInward = outcome == Outcome::GOOD;
  return outcome;
}

// Entries that do not agree with what is known are neither written nor read.
void StraightSweep::SumOnto(int p, const double* from, const Port& port, double* sums) {
  const Runs& entries = told_[port.table].runs;
  for (const Run* run = entries.all; run != entries.all + entries.count; ++run)
    std::fill_n(sums + run->begin, entries.length, 0.0);
  SumRuns(states_[p].runs, from, PlacesOf(port), mode_.maximize, sums);
}

// Sums onto the table to the parent, scaled to a largest entry in [0.5, 1).
Outcome StraightSweep::Tell(int p) {
  const Port& port = tree_->ports[tree_->parts[p].firstPort];
  const StraightTree::Table& table = tree_->tables[port.table];
  Told& told = told_[port.table];
  told.runs = FindRuns(table.layout);
  double* const sums = inward_ + table.begin;
  SumOnto(p, ProductOf(p), port, sums);
  const Spread spread = ChangeEntries(told.runs, [sums](int i) { return sums[i]; });
  if (spread.IsZero()) return Outcome::ZERO;
  if (!spread.IsWithinRange()) return Outcome::DOUBTFUL;
  const int exponent = Exponent(spread.largest);
  const double scale = PowerOfTwo(NormalExponent(-exponent));
  ChangeEntries(told.runs, [sums, scale](int i) { return sums[i] *= scale; });
  told.low = spread.Low() - exponent;
  told.exponent = exponent;
  return Outcome::GOOD;
}

// Beliefs of the table become what the clique beyond is to multiply its product by; false beyond the range.
bool StraightSweep::DivideByTold(int t) {
  const double* const told = inward_ + tree_->tables[t].begin;
  double* const entries = outward_ + tree_->tables[t].begin;
  const Spread spread = ChangeEntries(
      told_[t].runs, [told, entries](int i) { return entries[i] = told[i] == 0 ? 0 : entries[i] / told[i]; });
  if (spread.IsZero() || !spread.IsWithinRange()) return false;
  told_[t].leastBack = spread.Low();
  return true;
}

// The beliefs that are read from the table.
bool StraightSweep::Read(int t, const BeliefPlace& out) {
  const StraightTree::Table& table = tree_->tables[t];
  const Runs& runs = told_[t].runs;
  const double* entries = outward_ + table.begin;
  bool isDense = runs.count == 1;
  if (isDense) entries += runs.all->begin;
  for (int node : table.read) {
    if (!findings_.IsFree(node)) continue;
    float* const belief = out(node);
    if (!belief) continue;
    if (!isDense) {
      double* to = dense_;
      for (int k = 0; k < runs.count; ++k) to = std::copy_n(entries + runs.all[k].begin, runs.length, to);
      entries = dense_;
      isDense = true;
    }
    if (!marginals_.Read(entries, tree_->VariablesOf(table.layout), node, NO_LOSS,
                         std::span(belief, structure_.numstates[node])))
      return false;
  }
  return true;
}

// What is believed of the clique, up to a factor; NULL beyond the range.
const double* StraightSweep::BeliefOf(int p) {
  const Part& part = tree_->parts[p];
  if (part.parent == StraightTree::NONE) return ProductOf(p);
  const Port& above = tree_->ports[part.firstPort];
  if (states_[p].lowOfProduct + told_[above.table].leastBack < DOUBLE_FLOOR) return nullptr;
  MultiplyRuns(states_[p].runs, ProductOf(p), outward_ + tree_->tables[above.table].begin, PlacesOf(above), scratch_);
  return scratch_;
}

// Sums the clique's belief onto what it shares with its children, and onto its lone variables.
Outcome StraightSweep::GoOutward(int p, const BeliefPlace& out) {
  const Part& part = tree_->parts[p];
  const double* belief = nullptr;
  for (int k = part.parent == StraightTree::NONE ? 0 : 1; k < part.numPorts; ++k) {
    const Port& port = tree_->ports[part.firstPort + k];
    const StraightTree::Table& table = tree_->tables[port.table];
    const bool isLone = port.neighbour == StraightTree::NONE;
    if (isLone) {
      if (!findings_.IsFree(table.read[0])) continue;
      told_[port.table].runs = FindRuns(table.layout);
    }
    if (!belief) belief = BeliefOf(p);
    if (!belief) return Outcome::DOUBTFUL;
    SumOnto(p, belief, port, outward_ + table.begin);
    if (!Read(port.table, out)) return Outcome::DOUBTFUL;
    if (!isLone && !DivideByTold(port.table)) return Outcome::DOUBTFUL;
  }
  return Outcome::GOOD;
}

Outcome StraightSweep::ReadAll(const BeliefPlace& out, ScaledNumber* probability) {
  if (!Make()) return Outcome::DOUBTFUL;
  if (mode_.watch->Halts(2 * structure_.tree->totalSize)) return Outcome::DOUBTFUL;
  NoteFindings();
  const int numParts = tree_->parts.size();
  for (int p = numParts; p-- > 0;) {
    if (states_[p].isInward) continue;
    if (const Outcome outcome = GoInward(p); outcome != Outcome::GOOD) return outcome;
  }
  probability->value = SumAll(states_[0].runs, ProductOf(0), mode_.maximize);
  probability->exponent = 0;
  for (const Told& told : told_) probability->exponent += told.exponent;
  if (!(probability->value > 0)) return Outcome::ZERO;
  for (int p = 0; p < numParts; ++p)
    if (const Outcome outcome = GoOutward(p, out); outcome != Outcome::GOOD) return outcome;
  return Outcome::GOOD;
}

}  // namespace bravic::engine
