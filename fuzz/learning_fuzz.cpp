// Interprets bytes as a small net, cases about it and what is to be learned of them: counts, expected counts, tables by
// EM, links, intervals. Everything is compared with sums over the cases, and over all nets where they are few.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>

#include "small_nets.h"

namespace bravic::fuzz {
namespace {

using testing::Nodes;
using testing::NumStates;

constexpr int MAX_CASES = 24, MAX_ITERATIONS = 4, MAX_NUMBERS = 40;
// Expectations are made of beliefs that are floats.
constexpr double NEAR_EXPECTED = 1e-4, NEAR_SCORE = 1e-9;
constexpr int BIC = 0, BDEU = 1;
constexpr int EXACT = 2, TREE = 3;

class Lists {
 public:
  ~Lists() {
    for (nodelist_bn list : all_) FreeNodeList_bn(list);
  }
  nodelist_bn Of(const std::vector<node_bn>& nodes) {
    nodelist_bn list = all_.emplace_back(NewNodeList_bn(0, Environment()));
    for (node_bn node : nodes) AddNodeToList_bn(node, list, LengthNodeList_bn(list));
    return list;
  }

 private:
  std::vector<nodelist_bn> all_;
};

struct CountsFree {
  void operator()(counts_rec* counts) const { FreeCounts_bn(counts); }
};
using Counts = std::unique_ptr<counts_rec, CountsFree>;

// Cases whose columns are all nodes of a net.
struct Cases {
  int numcases = 0;
  std::size_t width = 0;
  std::vector<statetype> states;
  std::vector<double> weights;  // empty: 1 each

  statetype At(int number, std::size_t column) const {
    return states[static_cast<std::size_t>(number) * width + column];
  }
  double Weight(int number) const { return weights.empty() ? 1 : weights[static_cast<std::size_t>(number)]; }
  const double* Weights(int from = 0) const { return weights.empty() ? nullptr : weights.data() + from; }
};

Cases MakeCases(Bytes& bytes, const Net& net, bool whole) {
  Cases cases;
  const auto nodes = Nodes(net);
  cases.numcases = bytes.Below(MAX_CASES + 1);
  cases.width = nodes.size();
  const bool weighted = bytes.Below(3) == 0;
  for (int number = 0; number < cases.numcases; ++number) {
    const std::size_t before = cases.states.size();
    const bool again = number > 0 && bytes.Below(4) == 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      const int byte = again ? 0 : bytes.Next();
      const statetype known = again ? cases.states[before - nodes.size() + i] : byte % NumStates(nodes[i]);
      cases.states.push_back(!whole && byte >= 208 ? UNDEF_STATE : known);
    }
    if (weighted) cases.weights.push_back(bytes.Below(4));
  }
  return cases;
}

// The nodes' tables one after the other, entries as in counts; each row's experience after it where that is wanted.
std::vector<double> TablesOf(const Net& net, bool withExperience) {
  std::vector<double> all;
  for (node_bn node : Nodes(net)) {
    testing::ForEachRow(node, [&](const statetype* row) {
      const probtype* probs = GetNodeProbs_bn(node, row);
      all.insert(all.end(), probs, probs + NumStates(node));
      if (withExperience) all.push_back(GetNodeExperience_bn(node, row));
    });
  }
  return all;
}

std::vector<double> ValuesOf(const Counts& counts) {
  std::vector<double> values(static_cast<std::size_t>(CountsSize_bn(counts.get())));
  GetCounts_bn(counts.get(), values.data());
  return values;
}

void Compare(const char* what, const std::vector<double>& is, const std::vector<double>& expected, double tolerance,
             const Net& net) {
  if (is.size() != expected.size())
    FailAt(std::string(what) + ", in number", static_cast<double>(is.size()), static_cast<double>(expected.size()),
           net);
  for (std::size_t i = 0; i < is.size(); ++i)
    if (!AreNear(is[i], expected[i], tolerance)) FailAt(what, is[i], expected[i], net);
}

// Of each node the numbers of its parents and itself, as its table has them.
std::vector<std::vector<int>> FamiliesOf(const std::vector<node_bn>& nodes) {
  std::vector<std::vector<int>> families;
  for (node_bn node : nodes) {
    auto members = Nodes(GetNodeParents_bn(node));
    members.push_back(node);
    auto& family = families.emplace_back();
    for (node_bn member : members)
      family.push_back(static_cast<int>(std::find(nodes.begin(), nodes.end(), member) - nodes.begin()));
  }
  return families;
}

// What the cases that know a node and all its parents add to its table.
std::vector<double> CountsOf(const Net& net, const Cases& cases) {
  const std::vector<int> sizes = testing::SizesOf(net.get());
  std::vector<double> counts;
  for (const auto& family : FamiliesOf(Nodes(net))) {
    std::size_t size = 1;
    for (int i : family) size *= static_cast<std::size_t>(sizes[static_cast<std::size_t>(i)]);
    const std::size_t first = counts.size();
    counts.resize(first + size);
    for (int number = 0; number < cases.numcases; ++number) {
      std::size_t place = 0;
      bool known = true;
      for (int i : family) {
        const statetype state = cases.At(number, static_cast<std::size_t>(i));
        known = known && state != UNDEF_STATE;
        place = place * static_cast<std::size_t>(sizes[static_cast<std::size_t>(i)]) +
                static_cast<std::size_t>(known ? state : 0);
      }
      if (known) counts[first + place] += cases.Weight(number);
    }
  }
  return counts;
}

// What all cases add by their beliefs.
struct Expected {
  std::vector<double> counts;
  double loglikelihood = 0;
  long impossible = 0;
};

Expected ExpectedOf(const Net& net, const Cases& cases, std::size_t size) {
  Expected sums{.counts = std::vector<double>(size)};
  const auto nodes = Nodes(net);
  const std::vector<int> sizes = testing::SizesOf(net.get());
  const auto families = FamiliesOf(nodes);
  for (int number = 0; number < cases.numcases; ++number) {
    const statetype* states = cases.states.data() + static_cast<std::size_t>(number) * cases.width;
    const auto factors = testing::FactorsOf(net.get(), WeightsOf(nodes, states));
    const double probability = testing::EnumerateOnto({}, sizes, factors).at(0);
    if (probability == 0) {
      ++sums.impossible;
      continue;
    }
    sums.loglikelihood += cases.Weight(number) * std::log(probability);
    std::size_t at = 0;
    for (const auto& family : families)
      for (double entry : testing::EnumerateOnto(family, sizes, factors))
        sums.counts[at++] += entry / probability * cases.Weight(number);
  }
  return sums;
}

// Counted in two parts; whole weights add up exactly.
void CheckCounts(Bytes& bytes, const Net& net) {
  const Cases cases = MakeCases(bytes, net, false);
  const nodelist_bn all = GetNetNodes_bn(net.get());
  const Counts counts(NewCounts_bn(all)), rest(NewCounts_bn(all));
  const int half = bytes.Below(cases.numcases + 1);
  CountCases_bn(counts.get(), all, cases.states.data(), cases.Weights(), half);
  CountCases_bn(rest.get(), all, cases.states.data() + static_cast<std::size_t>(half) * cases.width,
                cases.Weights(half), cases.numcases - half);
  AddCounts_bn(counts.get(), rest.get());
  if (!ErrorNumbers().empty()) Fail("counting", Errors());
  const std::vector<double> expected = CountsOf(net, cases);
  Compare("counts", ValuesOf(counts), expected, 0, net);

  const double prior = bytes.Below(3);
  const std::string before = Look(net);
  std::vector<double> learned = TablesOf(net, true);
  if (LearnCounts_bn(counts.get(), prior) < 0) Fail("learning by counts", Errors());
  std::size_t at = 0, place = 0;
  for (node_bn node : Nodes(net)) {
    const auto numstates = static_cast<std::size_t>(NumStates(node));
    testing::ForEachRow(node, [&](const statetype*) {
      const auto row = expected.begin() + static_cast<std::ptrdiff_t>(at);
      const double sum = std::accumulate(row, row + static_cast<std::ptrdiff_t>(numstates), 0.0) + prior;
      for (std::size_t s = 0; s < numstates && sum > 0; ++s)
        learned[place + s] = (expected[at + s] + prior / static_cast<double>(numstates)) / sum;
      if (sum > 0) learned[place + numstates] = sum;
      at += numstates;
      place += numstates + 1;
    });
  }
  Compare("learned by counts", TablesOf(net, true), learned, 1e-6, net);
  CheckSound(net);
  if (Look(net) != before && UndoLastChange_bn(net.get()) != 1) Fail("learning can't be undone", Errors());
  if (Look(net) != before) Fail("learning undone differs", Difference(Look(net), before));
}

// By beliefs, then again and again with tables set by them, as EM does in one call.
void CheckExpectation(Bytes& bytes, const Net& net) {
  const Cases cases = MakeCases(bytes, net, false);
  const nodelist_bn all = GetNetNodes_bn(net.get());
  const int iterations = bytes.Below(MAX_ITERATIONS + 1), prior = bytes.Below(3);
  const Net other(NewNet_bn("Other", Environment()));
  FreeNodeList_bn(DuplicateNodes_bn(all, other.get()));
  const nodelist_bn others = GetNetNodes_bn(other.get());
  CompileNet_bn(other.get());
  double before = 0;
  for (int i = 0; i <= iterations; ++i) {
    CompileNet_bn(net.get());
    const Counts counts(NewCounts_bn(all));
    double loglikelihood = 0;
    const long impossible = ExpectCounts_bn(counts.get(), all, cases.states.data(), cases.Weights(), cases.numcases,
                                            &loglikelihood, 1 + bytes.Below(2));
    if (impossible < 0) Fail("expecting counts", Errors() + Look(net));
    const std::vector<double> values = ValuesOf(counts);
    const Expected expected = ExpectedOf(net, cases, values.size());
    if (impossible != expected.impossible)
      FailAt("impossible cases", static_cast<double>(impossible), static_cast<double>(expected.impossible), net);
    Compare("expected counts", values, expected.counts, NEAR_EXPECTED, net);
    if (!AreNear(loglikelihood, expected.loglikelihood, NEAR_EXPECTED))
      FailAt("log likelihood", loglikelihood, expected.loglikelihood, net);
    if (i > 0 && prior == 0 && loglikelihood < before - NEAR_EXPECTED * std::max(1.0, std::fabs(before)))
      FailAt("the log likelihood falls", loglikelihood, before, net);
    before = loglikelihood;
    if (i < iterations) LearnCounts_bn(counts.get(), prior);
  }
  double reached = 0;
  const int made = LearnTablesEMCases_bn(others, cases.states.data(), cases.Weights(), cases.numcases, others,
                                         iterations, 0, prior, &reached);
  if (made != iterations) FailAt("iterations", made, iterations, other);
  Compare("tables by EM", TablesOf(other, iterations > 0), TablesOf(net, iterations > 0), NEAR_EXPECTED, other);
  if (!AreNear(reached, before, NEAR_EXPECTED)) FailAt("log likelihood of EM", reached, before, other);
}

// The score of a node by all cases, which know everything.
double ScoreOf(const Cases& cases, const std::vector<int>& sizes, int node, int parents, int score, double prior) {
  double configurations = 1, total = 0, sum = 0;
  std::map<std::vector<statetype>, std::vector<double>> rows;
  const auto own = static_cast<std::size_t>(node), numstates = static_cast<std::size_t>(sizes[own]);
  for (std::size_t i = 0; i < sizes.size(); ++i)
    if (parents >> i & 1) configurations *= sizes[i];
  for (int number = 0; number < cases.numcases; ++number) {
    std::vector<statetype> states;
    for (std::size_t i = 0; i < sizes.size(); ++i)
      if (parents >> i & 1) states.push_back(cases.At(number, i));
    auto& row = rows[states];
    row.resize(numstates);
    row[static_cast<std::size_t>(cases.At(number, own))] += cases.Weight(number);
    total += cases.Weight(number);
  }
  const double rowPrior = prior / configurations, entryPrior = rowPrior / static_cast<double>(numstates);
  for (const auto& [states, row] : rows) {
    const double of = std::accumulate(row.begin(), row.end(), 0.0);
    if (score == BDEU) sum += std::lgamma(rowPrior) - std::lgamma(rowPrior + of);
    for (double count : row) {
      if (score == BDEU) sum += std::lgamma(entryPrior + count) - std::lgamma(entryPrior);
      if (score != BDEU && count > 0) sum += count * std::log(count / of);
    }
  }
  if (score == BIC) sum -= std::log(total) / 2 * configurations * static_cast<double>(numstates - 1);
  return sum;
}

struct Rules {
  int maxParents = 0;
  std::vector<int> required, forbidden;  // [node] sets of parents
};

// Over all orders of the nodes each takes the best set of those before it.
double BestScore(const Cases& cases, const std::vector<int>& sizes, const Rules& rules, int score, double prior) {
  const int count = static_cast<int>(sizes.size());
  std::vector<int> order(sizes.size());
  std::iota(order.begin(), order.end(), 0);
  std::map<std::pair<int, int>, double> known;
  double best = -inf_dbl_ns;
  do {
    double sum = 0;
    int before = 0;
    for (int node : order) {
      const auto own = static_cast<std::size_t>(node);
      double most = -inf_dbl_ns;
      for (int set = 0; set < 1 << count; ++set) {
        const int allowed = before & ~rules.forbidden[own];
        if ((set & ~allowed) || (rules.required[own] & ~set) ||
            __builtin_popcount(static_cast<unsigned>(set)) > rules.maxParents)
          continue;
        const auto [at, isNew] = known.try_emplace({node, set});
        if (isNew) at->second = ScoreOf(cases, sizes, node, set, score, prior);
        most = std::max(most, at->second);
      }
      sum += most;
      before |= 1 << node;
    }
    best = std::max(best, sum);
  } while (std::next_permutation(order.begin(), order.end()));
  return best;
}

int ParentSetOf(const std::vector<node_bn>& nodes, node_bn node) {
  int set = 0;
  for (node_bn parent : Nodes(GetNodeParents_bn(node)))
    set |= 1 << (std::find(nodes.begin(), nodes.end(), parent) - nodes.begin());
  return set;
}

bool IsConstant(const Cases& cases, std::size_t column) {
  std::set<statetype> states;
  for (int number = 0; number < cases.numcases; ++number)
    if (cases.Weight(number) > 0) states.insert(cases.At(number, column));
  states.erase(UNDEF_STATE);
  return states.size() < 2;
}

// Draws required and forbidden links for the call, and keeps them for the comparison.
Rules MakeRules(Bytes& bytes, const std::vector<node_bn>& nodes, Lists& lists, learn_links_bn* how) {
  const int count = static_cast<int>(nodes.size());
  Rules rules{.maxParents = 1 + bytes.Below(3), .required = std::vector<int>(nodes.size()), .forbidden = {}};
  rules.forbidden = rules.required;
  std::vector<node_bn> from[2], to[2];
  for (int i = 0, links = bytes.Below(4); i < links; ++i) {
    const int parent = bytes.Below(count), child = bytes.Below(count), kind = bytes.Below(2);
    if (parent == child) continue;
    (kind == 0 ? rules.required : rules.forbidden)[static_cast<std::size_t>(child)] |= 1 << parent;
    from[kind].push_back(nodes[static_cast<std::size_t>(parent)]);
    to[kind].push_back(nodes[static_cast<std::size_t>(child)]);
  }
  how->maxparents = rules.maxParents;
  if (!from[0].empty()) how->requiredfrom = lists.Of(from[0]), how->requiredto = lists.Of(to[0]);
  if (!from[1].empty()) how->forbiddenfrom = lists.Of(from[1]), how->forbiddento = lists.Of(to[1]);
  return rules;
}

void CheckLinks(Bytes& bytes, const Net& net) {
  Lists lists;
  const bool whole = bytes.Below(3) != 0;
  const Cases cases = MakeCases(bytes, net, whole);
  const auto nodes = Nodes(net);
  const std::vector<int> sizes = testing::SizesOf(net.get());
  const nodelist_bn all = GetNetNodes_bn(net.get());
  learn_links_bn how = {};
  how.size = sizeof how;
  how.score = bytes.Below(3);
  how.method = bytes.Below(5);
  how.missing = whole ? 0 : bytes.Below(2);
  how.restarts = how.missing ? -1 : 2;
  how.prior = bytes.Below(3);
  how.keeplinks = how.method <= 1 ? bytes.Below(2) : 0;
  const double prior = how.prior > 0 ? how.prior : 1;
  if (how.method >= TREE) how.target = nodes[static_cast<std::size_t>(bytes.Below(static_cast<int>(nodes.size())))];
  const Rules rules = MakeRules(bytes, nodes, lists, &how);
  const std::string before = Look(net);
  double is = 0;
  const int steps = LearnLinksCases_bn(all, cases.states.data(), cases.Weights(), cases.numcases, all, &how, &is);
  if (steps < 0) {
    if (Look(net) != before) Fail("refused, and changed", Difference(Look(net), before));
    return;
  }
  CheckSound(net);
  bool hasConstant = false;
  double sum = 0;
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const int parents = ParentSetOf(nodes, nodes[i]), count = __builtin_popcount(static_cast<unsigned>(parents));
    if (parents & rules.forbidden[i]) Fail("a forbidden link", Look(net));
    if (rules.required[i] & ~parents) Fail("a required link is missing", Look(net));
    if (count > (how.method == TREE ? 1 : rules.maxParents))
      FailAt("too many parents by method " + std::to_string(how.method), count, rules.maxParents, net);
    if (whole) sum += ScoreOf(cases, sizes, static_cast<int>(i), parents, how.score, prior);
    hasConstant = hasConstant || IsConstant(cases, i);
  }
  const double again =
      ScoreLinksCases_bn(all, cases.states.data(), cases.Weights(), cases.numcases, all, how.score, prior);
  if (!AreNear(is, again, NEAR_SCORE)) FailAt("score of the links that were learned", is, again, net);
  if (whole && !AreNear(is, sum, NEAR_SCORE)) FailAt("score", is, sum, net);
  if (whole && nodes.size() <= 4) {
    const double best = BestScore(cases, sizes, rules, how.score, prior);
    if (is > best + NEAR_SCORE * std::max(1.0, std::fabs(best))) FailAt("better than the best", is, best, net);
    if (how.method == EXACT && !hasConstant && !AreNear(is, best, NEAR_SCORE)) FailAt("the best links", is, best, net);
  }
  CompileNet_bn(net.get());
  ForgetErrors();
  CheckBeliefs(net);
}

// Cuts lie between numbers, ascend, and leave nothing empty but for those of equal width.
void CheckIntervals(Bytes& bytes, const Net& net) {
  std::vector<double> values;
  std::vector<int> classes;
  const int method = bytes.Below(3), mostbins = 1 + bytes.Below(8);
  for (int i = 0, count = bytes.Below(MAX_NUMBERS); i < count; ++i) {
    const double ODD[] = {undef_dbl_ns, 1e300, -1e300, 5e-324, 1e308, -1e308, 0, 1};
    const int byte = bytes.Next();
    values.push_back(byte >= 248 ? ODD[byte - 248] : (byte - 100) / 8.0);
    classes.push_back(bytes.Below(4) - (byte == 7));
  }
  std::vector<double> bounds(static_cast<std::size_t>(mostbins) + 1, 77);
  const long count = FindIntervals_bn(values.data(), method == 2 ? classes.data() : nullptr,
                                      static_cast<long>(values.size()), method, mostbins, bounds.data());
  if (count < 0) return ForgetErrors();
  if (count < 1 || count > mostbins) FailAt("number of intervals", static_cast<double>(count), mostbins, net);
  bounds.resize(static_cast<std::size_t>(count) + 1);
  if (bounds.front() != -inf_dbl_ns || bounds.back() != inf_dbl_ns) Fail("outermost bounds", "");
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
    if (!(bounds[i] < bounds[i + 1])) FailAt("bounds don't ascend", bounds[i], bounds[i + 1], net);
    const bool holds = std::any_of(values.begin(), values.end(), [&](double value) {
      return value != undef_dbl_ns && value >= bounds[i] && value < bounds[i + 1];
    });
    if (method != 0 && !holds) FailAt("an empty interval", bounds[i], bounds[i + 1], net);
  }
}

}  // namespace
}  // namespace bravic::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace bravic::fuzz;
  const Balance balance;
  Bytes bytes(data, size);
  const int what = bytes.Below(4);
  const Net net = MakeSmallNet(bytes, {.maxNodes = 5,
                                       .maxParents = what == 2 ? bytes.Below(2) : 3,
                                       .maxConfigurations = 200,
                                       .withTinyWeights = false});
  if (what == 0) CheckCounts(bytes, net);
  if (what == 1) CheckExpectation(bytes, net);
  if (what == 2) CheckLinks(bytes, net);
  if (what == 3) CheckIntervals(bytes, net);
  ForgetErrors();
  return 0;
}
