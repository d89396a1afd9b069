// bravic decide: the optimal decisions of a decision network, and what they attain.
#include <cstdio>

#include "Commands.h"
#include "Files.h"
#include "Findings.h"
#include "Json.h"
#include "Spelling.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net, output;
  FindingOptions findings;
  bool json = false, force = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  AddFindingOptions(command, &options->findings);
  command->Add({.names = "--output,-o",
                .form = "OUT",
                .help = "write the net with its decision tables to this file, in the format of its extension; - is the "
                        "standard output, in place of the tables",
                .value = &options->output,
                .file = true});
  command->Add({.names = "--force", .help = FORCE_HELP, .value = &options->force});
  command->Add({.names = "--json", .help = "print JSON", .value = &options->json});
  command->notes =
      "Each decision's table has a row per configuration of what is known when it is taken: the states of its\n"
      "parents and the state to choose. Piped, rows begin with the decision's name and their columns are\n"
      "PARENT=STATE ... STATE, separated by tabs; the last row is \"*\", \"expected utility\" and its value.";
}

bool NextConfiguration(const std::vector<node_bn>& nodes, std::vector<statetype>* states) {
  for (std::size_t i = nodes.size(); i-- > 0;) {
    if (++(*states)[i] < GetNodeNumberStates_bn(nodes[i])) return true;
    (*states)[i] = 0;
  }
  return false;
}

struct Row {
  std::vector<std::string> states;  // of the parents
  std::string choice;
};

std::vector<Row> RowsOf(node_bn decision, const std::vector<node_bn>& parents) {
  std::vector<Row> rows;
  std::vector<statetype> states(parents.size(), 0);
  do {
    Row row;
    for (std::size_t i = 0; i < parents.size(); ++i) row.states.push_back(StateText(parents[i], states[i]));
    row.choice = StateText(decision, static_cast<statetype>(GetNodeFuncValue_bn(decision, states.data())));
    rows.push_back(row);
  } while (NextConfiguration(parents, &states));
  return rows;
}

void PrintTable(node_bn decision, const std::vector<node_bn>& parents, const std::vector<Row>& rows) {
  std::vector<std::size_t> widths;
  for (std::size_t i = 0; i < parents.size(); ++i) {
    widths.push_back(std::string(GetNodeName_bn(parents[i])).size());
    for (const Row& row : rows) widths[i] = std::max(widths[i], row.states[i].size());
  }
  for (std::size_t i = 0; i < parents.size(); ++i)
    std::printf("%-*s  ", static_cast<int>(widths[i]), GetNodeName_bn(parents[i]));
  std::printf("| %s\n", GetNodeName_bn(decision));
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < parents.size(); ++i)
      std::printf("%-*s  ", static_cast<int>(widths[i]), row.states[i].c_str());
    std::printf("| %s\n", row.choice.c_str());
  }
  std::printf("\n");
}

Json JsonOf(node_bn decision, const std::vector<node_bn>& parents, const std::vector<Row>& rows) {
  Json table = Json::array();
  for (const Row& row : rows) {
    Json when = Json::object();
    for (std::size_t i = 0; i < parents.size(); ++i) when[GetNodeName_bn(parents[i])] = row.states[i];
    table.push_back({{"when", when}, {"choose", row.choice}});
  }
  return {{"name", GetNodeName_bn(decision)}, {"table", table}};
}

void PrintRows(node_bn decision, const std::vector<node_bn>& parents, const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    std::printf("%s", GetNodeName_bn(decision));
    for (std::size_t i = 0; i < parents.size(); ++i)
      std::printf("\t%s=%s", GetNodeName_bn(parents[i]), row.states[i].c_str());
    std::printf("\t%s\n", row.choice.c_str());
  }
}

void PrintDecisions(const Options& options, const Net& net, double utility, Session& session) {
  Json list = Json::array();
  for (node_bn decision : Nodes(net)) {
    // Made decisions have nothing left to choose.
    if (GetNodeKind_bn(decision) != DECISION_NODE || GetNodeFinding_bn(decision) >= 0) continue;
    const std::vector<node_bn> parents = Nodes(GetNodeParents_bn(decision));
    const std::vector<Row> rows = RowsOf(decision, parents);
    if (options.json) {
      list.push_back(JsonOf(decision, parents, rows));
    } else {
      (OutputIsTerminal() ? PrintTable : PrintRows)(decision, parents, rows);
    }
  }
  session.Check();
  if (options.json) {
    const Json result{{"net", GetNetName_bn(net.get())}, {"decisions", list}, {"expected_utility", utility}};
    std::printf("%s\n", result.dump(2).c_str());
  } else {
    std::printf(OutputIsTerminal() ? "Expected utility: %.6g\n" : "*\texpected utility\t%.6g\n", utility);
  }
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  EnterFindings(options.findings, net, session);
  OptimizeDecisions_bn(GetNetNodes_bn(net.get()));
  session.Check();
  const double utility = GetExpectedUtility_bn(net.get());
  session.Check();
  if (options.output.empty() || !IsStandardOutput(options.output)) PrintDecisions(options, net, utility, session);
  if (!options.output.empty()) session.Write(net, options.output, options.force);
  return DONE;
}

}  // namespace

void AddDecide(Program& program) {
  AddCommand<Options>(program, "decide", "Find the optimal decisions of a decision network", Setup, Run);
}
