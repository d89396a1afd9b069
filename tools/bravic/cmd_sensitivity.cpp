// bravic sensitivity: which entries of tables a belief depends on most.
#include <algorithm>
#include <cmath>
#include <limits>

#include "Columns.h"
#include "Commands.h"
#include "Findings.h"
#include "Spelling.h"

namespace {

struct Options {
  std::string net, target;
  FindingOptions findings;
  long top = 0;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "--target",
                .form = "NODE=STATE",
                .help = "the belief of interest",
                .value = &options->target,
                .required = true,
                .check = CheckAssignment});
  AddFindingOptions(command, &options->findings);
  command->Add({.names = "--top",
                .form = "N",
                .help = "print the steepest N only",
                .value = &options->top,
                .check = CheckPositive});
  command->notes =
      "Piped, the output has one row per entry of a table with the columns node, parents' states (A=x,B=y),\n"
      "state, value, derivative of the belief by the value, and the belief were the value 0 and 1 (\"-\" where\n"
      "the findings would be impossible), separated by tabs; the other entries of a row keep their\n"
      "proportions. The steepest first.";
}

struct Entry {
  node_bn node;
  std::size_t number;  // in the node's table
  double value, derivative, atZero, atOne;
};

std::size_t SizeOfTable(node_bn node) {
  auto size = static_cast<std::size_t>(GetNodeNumberStates_bn(node));
  for (node_bn parent : Nodes(GetNodeParents_bn(node)))
    size *= static_cast<std::size_t>(GetNodeNumberStates_bn(parent));
  return size;
}

// Of the row that holds an entry.
std::vector<statetype> ParentStates(node_bn node, std::size_t number) {
  const auto parents = Nodes(GetNodeParents_bn(node));
  std::vector<statetype> states(parents.size() + 1, 0);
  std::size_t row = number / static_cast<std::size_t>(GetNodeNumberStates_bn(node));
  for (std::size_t k = parents.size(); k-- > 0;) {
    const auto numstates = static_cast<std::size_t>(GetNodeNumberStates_bn(parents[k]));
    states[k] = static_cast<statetype>(row % numstates);
    row /= numstates;
  }
  return states;
}

std::string RowText(node_bn node, const std::vector<statetype>& states) {
  const auto parents = Nodes(GetNodeParents_bn(node));
  std::string text;
  for (std::size_t k = 0; k < parents.size(); ++k)
    text += (k > 0 ? "," : "") + std::string(GetNodeName_bn(parents[k])) + "=" + StateText(parents[k], states[k]);
  return text;
}

// The belief at x, where there is one.
double BeliefAt(const double* c, double x) {
  constexpr double IMPOSSIBLE = 1e-12;  // beside a divisor of 1 for the value there is
  const double divisor = c[2] * x + c[3];
  return divisor > IMPOSSIBLE ? std::clamp((c[0] * x + c[1]) / divisor, 0.0, 1.0)
                              : std::numeric_limits<double>::quiet_NaN();
}

std::string BeliefText(double belief) {
  return std::isnan(belief) ? "-" : NumberText(belief);
}

// Of a derivative beside the belief.
constexpr double ROUNDING = 1e-8;

std::vector<Entry> EntriesOf(const std::vector<node_bn>& nodes, const std::vector<double>& coefficients) {
  std::vector<Entry> entries;
  const double* c = coefficients.data();
  for (node_bn node : nodes) {
    const auto numstates = static_cast<std::size_t>(GetNodeNumberStates_bn(node));
    const std::size_t size = SizeOfTable(node);
    for (std::size_t first = 0; first < size; first += numstates) {
      const probtype* row = GetNodeProbs_bn(node, ParentStates(node, first).data());
      for (std::size_t k = 0; k < numstates; ++k, c += 4) {
        const double divisor = c[2] * row[k] + c[3];
        double derivative = (c[0] * c[3] - c[1] * c[2]) / (divisor * divisor);
        if (std::abs(derivative) <= ROUNDING * BeliefAt(c, row[k])) derivative = 0;
        if (row[k] >= 0) entries.push_back({node, first + k, row[k], derivative, BeliefAt(c, 0), BeliefAt(c, 1)});
      }
    }
  }
  return entries;
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  session.Compile(net);
  EnterFindings(options.findings, net, session);
  const auto [target, state] = FindNodeAndState(options.target, net);
  CheckPossible(net, session);
  std::vector<node_bn> nodes = Nodes(net);
  std::erase_if(nodes, [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE; });
  std::size_t size = 0;
  for (node_bn node : nodes) size += SizeOfTable(node);
  std::vector<double> coefficients(4 * size);
  const NodeList list = MakeList(nodes, session);
  BeliefSensitivities_bn(target, state, list.get(), coefficients.data());
  session.Check();

  std::vector<Entry> entries = EntriesOf(nodes, coefficients);
  std::stable_sort(entries.begin(), entries.end(),
                   [](const Entry& a, const Entry& b) { return std::abs(a.derivative) > std::abs(b.derivative); });
  if (options.top > 0 && static_cast<std::size_t>(options.top) < entries.size())
    entries.resize(static_cast<std::size_t>(options.top));
  Columns columns({"node", "parents", "state", "value", "derivative", "at 0", "at 1"});
  for (const Entry& entry : entries) {
    const auto numstates = static_cast<std::size_t>(GetNodeNumberStates_bn(entry.node));
    columns.Add({GetNodeName_bn(entry.node), RowText(entry.node, ParentStates(entry.node, entry.number)),
                 StateText(entry.node, static_cast<statetype>(entry.number % numstates)), NumberText(entry.value),
                 NumberText(entry.derivative), BeliefText(entry.atZero), BeliefText(entry.atOne)});
  }
  columns.Print();
  return 0;
}

}  // namespace

void AddSensitivity(Program& program) {
  AddCommand<Options>(program, "sensitivity", "Rank table entries by what a belief depends on", Setup, Run);
}
