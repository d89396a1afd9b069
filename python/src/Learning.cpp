// Counts of cases, tables and links learned from cases in memory.
#include <nanobind/stl/pair.h>
#include <nanobind/stl/vector.h>

#include <algorithm>

#include "Net.h"

namespace binding {
namespace {

// The columns of a table of cases: states [cases x columns] and weights [cases] are nobody else's, so that they stay as
// they are while they are looked at.
struct CaseTable {
  CaseTable(const std::vector<Key>& columns, nb::handle states, nb::handle weights, long cases)
      : columns(columns), states(states, false), weights(weights, false), cases(cases) {
    this->states.CheckSize(static_cast<double>(cases) * static_cast<double>(columns.size()));
    this->weights.CheckSize(static_cast<double>(cases));
  }
  const std::vector<Key>& columns;
  const Array<statetype> states;
  const Array<double> weights;
  const long cases;
};

// Counts belong to a net that Python keeps as long; they go with it at the latest.
class Counts {
 public:
  Counts(Net& net, const std::vector<Key>& nodes) : net_(&net) {
    counts_ = Ask([&] { return NewCounts_bn(NodeList(net, nodes)); });
  }
  ~Counts() { FreeLater(counts_); }
  Counts(const Counts&) = delete;
  Counts& operator=(const Counts&) = delete;

  long Size() {
    return Ask([&] { return CountsSize_bn(counts_); });
  }
  void Add(Counts& more) {
    Ask([&] { AddCounts_bn(counts_, more.counts_); });
  }
  void Count(const std::vector<Key>& columns, nb::handle states, nb::handle weights, long cases) {
    const CaseTable table(columns, states, weights, cases);
    AskLong(
        [&] { CountCases_bn(counts_, NodeList(*net_, columns), table.states.Data(), table.weights.Data(), cases); });
  }
  std::pair<double, long> Expect(const std::vector<Key>& columns, nb::handle states, nb::handle weights, long cases,
                                 int threads) {
    const CaseTable table(columns, states, weights, cases);
    double loglikelihood = 0;
    const long impossible = AskLong([&] {
      CompileNet_bn(net_->Get());
      return ExpectCounts_bn(counts_, NodeList(*net_, columns), table.states.Data(), table.weights.Data(), cases,
                             &loglikelihood, threads);
    });
    return {loglikelihood, impossible};
  }
  void Get(nb::handle object) {
    const Array<double> values(object, true);
    Ask([&] {
      values.CheckSize(static_cast<double>(CountsSize_bn(counts_)));
      GetCounts_bn(counts_, values.Data());
    });
  }
  void Set(nb::handle object) {
    const Array<double> values(object, false);
    Ask([&] {
      values.CheckSize(static_cast<double>(CountsSize_bn(counts_)));
      SetCounts_bn(counts_, values.Data());
    });
  }
  void Learn(double prior) {
    AskLong([&] { LearnCounts_bn(counts_, prior); });
  }

 private:
  Net* net_;
  counts_bn counts_;
};

// (iterations, log likelihood)
std::pair<int, double> LearnEM(Net& net, const std::vector<Key>& columns, nb::handle states, nb::handle weights,
                               long cases, const std::vector<Key>& nodes, int iterations, double tolerance,
                               double prior) {
  const CaseTable table(columns, states, weights, cases);
  double loglikelihood = 0;
  const int made = AskLong([&] {
    CompileNet_bn(net.Get());
    return LearnTablesEMCases_bn(NodeList(net, columns), table.states.Data(), table.weights.Data(), cases,
                                 NodeList(net, nodes), iterations, tolerance, prior, &loglikelihood);
  });
  return {made, loglikelihood};
}

using Links = std::vector<std::pair<Key, Key>>;

std::vector<Key> EndsOf(const Links& links, bool second) {
  std::vector<Key> ends;
  for (const auto& [from, to] : links) ends.push_back(second ? to : from);
  return ends;
}

// How to search, by the names of learn_links_bn. Answers (steps, score).
std::pair<int, double> LearnLinks(Net& net, const std::vector<Key>& columns, nb::handle states, nb::handle weights,
                                  long cases, const std::vector<Key>& nodes, nb::dict options) {
  const CaseTable table(columns, states, weights, cases);
  learn_links_bn how = {};
  how.size = sizeof how;
  Links required, forbidden;
  std::vector<int> tiers;
  Key target = NO_NODE;
  const auto take = [&](const char* name, auto& value) {
    if (options.contains(name)) value = nb::cast<std::decay_t<decltype(value)>>(options[name]);
  };
  take("score", how.score);
  take("method", how.method);
  take("seed", how.seed);
  take("maxparents", how.maxparents);
  take("numthreads", how.numthreads);
  take("keeplinks", how.keeplinks);
  take("missing", how.missing);
  take("prior", how.prior);
  take("maxentries", how.maxentries);
  take("maxseconds", how.maxseconds);
  take("restarts", how.restarts);
  take("target", target);
  take("required", required);
  take("forbidden", forbidden);
  take("tiers", tiers);
  double score = 0;
  const int steps = AskLong([&] {
    const NodeList from(net, EndsOf(required, false)), to(net, EndsOf(required, true));
    const NodeList notFrom(net, EndsOf(forbidden, false)), notTo(net, EndsOf(forbidden, true));
    if (!required.empty()) how.requiredfrom = from, how.requiredto = to;
    if (!forbidden.empty()) how.forbiddenfrom = notFrom, how.forbiddento = notTo;
    if (target != NO_NODE) how.target = net.At(target);
    if (tiers.size() == nodes.size() && !tiers.empty()) how.tiers = tiers.data();
    return LearnLinksCases_bn(NodeList(net, columns), table.states.Data(), table.weights.Data(), cases,
                              NodeList(net, nodes), &how, &score);
  });
  return {steps, score};
}

double ScoreLinks(Net& net, const std::vector<Key>& columns, nb::handle states, nb::handle weights, long cases,
                  const std::vector<Key>& nodes, int score, double prior) {
  const CaseTable table(columns, states, weights, cases);
  return AskLong([&] {
    return ScoreLinksCases_bn(NodeList(net, columns), table.states.Data(), table.weights.Data(), cases,
                              NodeList(net, nodes), score, prior);
  });
}

// Into bounds [bins + 1]; answers how many intervals there are.
long FindIntervals(nb::handle values, nb::handle classes, long count, int method, int bins, nb::handle bounds) {
  const Array<double> numbers(values, false), found(bounds, true);
  const Array<int> states(classes, false);
  numbers.CheckSize(static_cast<double>(count));
  states.CheckSize(static_cast<double>(count));
  found.CheckSize(static_cast<double>(bins) + 1);
  return AskLong([&] { return FindIntervals_bn(numbers.Data(), states.Data(), count, method, bins, found.Data()); });
}

}  // namespace

void BindLearning(nb::module_& module, NetClass& bound) {
  nb::class_<Counts>(module, "Counts")
      .def(nb::init<Net&, const std::vector<Key>&>(), nb::keep_alive<1, 2>())
      .def("size", &Counts::Size)
      .def("add", &Counts::Add)
      .def("count", &Counts::Count, nb::arg(), nb::arg(), nb::arg().none(), nb::arg())
      .def("expect", &Counts::Expect, nb::arg(), nb::arg(), nb::arg().none(), nb::arg(), nb::arg())
      .def("get", &Counts::Get)
      .def("set", &Counts::Set)
      .def("learn", &Counts::Learn);
  module.def("find_intervals", FindIntervals, nb::arg(), nb::arg().none(), nb::arg(), nb::arg(), nb::arg(), nb::arg());
  bound
      .def("learn_em", LearnEM, nb::arg(), nb::arg(), nb::arg().none(), nb::arg(), nb::arg(), nb::arg(), nb::arg(),
           nb::arg())
      .def("learn_links", LearnLinks, nb::arg(), nb::arg(), nb::arg().none(), nb::arg(), nb::arg(), nb::arg())
      .def("score_links", ScoreLinks, nb::arg(), nb::arg(), nb::arg().none(), nb::arg(), nb::arg(), nb::arg(),
           nb::arg());
}

}  // namespace binding
