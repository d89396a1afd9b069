// bravic decide: the optimal decisions of a decision network, and what they attain; or what it is worth to observe a
// node.
#include <algorithm>
#include <cstdio>

#include "Commands.h"
#include "Files.h"
#include "Findings.h"
#include "Json.h"
#include "Spelling.h"
#include "Terminal.h"

namespace {

struct Options {
  std::string net, output, method;
  std::vector<std::string> observed;
  FindingOptions findings;
  bool json = false, force = false;
};

constexpr int LIMITED = 0, FULL = 1;                  // of SolveDecisions_bn
constexpr int NOT_ORDERED = 2265, NEEDS_LINK = 2561;  // why nothing is remembered
constexpr int ERROR_LEVEL = 5;                        // of GetError_ns
constexpr int FOLLOWS_DECISION = 2564;                // why a node can't be observed

std::string CheckMethod(const std::string& text) {
  return text == "limited" || text == "full" ? "" : "is neither limited nor full";
}

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  AddFindingOptions(command, &options->findings);
  command->Add({.names = "--method",
                .form = "limited|full",
                .help =
                    "what a decision knows: its parents alone, or also what earlier ones knew and chose; full where "
                    "that can be, if left out",
                .value = &options->method,
                .check = CheckMethod});
  command->Add({.names = "--observe",
                .form = "NODE",
                .help = "print what it is worth to know this node at each decision, in place of the tables",
                .value = &options->observed,
                .excludes = "--output"});
  command->Add({.names = "--output,-o",
                .form = "OUT",
                .help = "write the net with its decision tables to this file, in the format of its extension; - is the "
                        "standard output, in place of the tables",
                .value = &options->output,
                .file = true});
  command->Add({.names = "--force", .help = FORCE_HELP, .value = &options->force});
  command->Add({.names = "--json", .help = "print JSON", .value = &options->json});
  command->notes =
      "Utility nodes add up. Each decision's table has a row per configuration of what matters when it is taken: the\n"
      "states of those parents and the state to choose. Piped, rows begin with the decision's name and their columns "
      "are\n"
      "PARENT=STATE ... STATE, separated by tabs; the last row is \"*\", \"expected utility\" and its value. With\n"
      "--observe the columns are node, decision and by how much the expected utility rises if the node is known at "
      "the\n"
      "decision and later, nothing being forgotten; decisions that the node depends on are left out.";
}

bool NextConfiguration(const std::vector<node_bn>& nodes, std::vector<statetype>* states) {
  for (std::size_t i = nodes.size(); i-- > 0;) {
    if (++(*states)[i] < GetNodeNumberStates_bn(nodes[i])) return true;
    (*states)[i] = 0;
  }
  return false;
}

struct Row {
  std::vector<std::string> states;  // of the parents that matter
  std::string choice;
};

statetype ChoiceAt(node_bn decision, const std::vector<statetype>& states) {
  return static_cast<statetype>(GetNodeFuncValue_bn(decision, states.data()));
}

// Whether the choice depends on the parent.
bool Matters(node_bn decision, const std::vector<node_bn>& parents, std::size_t parent) {
  std::vector<statetype> states(parents.size() + 1, 0);
  do {
    if (states[parent] == 0) continue;
    std::vector<statetype> first = states;
    first[parent] = 0;
    if (ChoiceAt(decision, states) != ChoiceAt(decision, first)) return true;
  } while (NextConfiguration(parents, &states));
  return false;
}

// parents: all of them to begin with; those that do not matter are taken out.
std::vector<Row> RowsOf(node_bn decision, std::vector<node_bn>* parents) {
  const std::vector<node_bn> all = *parents;
  std::vector<std::size_t> places;
  parents->clear();
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!Matters(decision, all, i)) continue;
    places.push_back(i);
    parents->push_back(all[i]);
  }
  std::vector<Row> rows;
  std::vector<statetype> states(parents->size(), 0), whole(all.size() + 1, 0);
  do {
    Row row;
    for (std::size_t i = 0; i < parents->size(); ++i) {
      row.states.push_back(StateText((*parents)[i], states[i]));
      whole[places[i]] = states[i];
    }
    row.choice = StateText(decision, ChoiceAt(decision, whole));
    rows.push_back(row);
  } while (NextConfiguration(*parents, &states));
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
    std::vector<node_bn> parents = Nodes(GetNodeParents_bn(decision));
    const std::vector<Row> rows = RowsOf(decision, &parents);
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

// The errors pending now, if any: whether one of those numbers is among them. They stay pending otherwise.
bool IsRefusedFor(std::initializer_list<int> numbers, Session& session) {
  for (report_ns report = nullptr; (report = GetError_ns(session.Environment(), ERROR_LEVEL, report));) {
    if (std::count(numbers.begin(), numbers.end(), ErrorNumber_ns(report)) == 0) continue;
    ClearErrors_ns(session.Environment(), ERROR_LEVEL);
    return true;
  }
  return false;
}

double Solve(const Options& options, const Net& net, Session& session) {
  double utility = SolveDecisions_bn(net.get(), options.method == "limited" ? LIMITED : FULL);
  // What is forgotten as it is drawn is forgotten.
  if (options.method.empty() && IsRefusedFor({NOT_ORDERED, NEEDS_LINK}, session)) {
    utility = SolveDecisions_bn(net.get(), LIMITED);
  }
  session.Check();
  return utility;
}

struct Worth {
  node_bn node, decision;
  double value;
};

// Of each node at the decisions that it does not depend on; refused where there is none.
std::vector<Worth> FindWorths(const Options& options, const Net& net, Session& session) {
  std::vector<Worth> worths;
  for (const std::string& name : options.observed) {
    node_bn node = FindNode(name, net);
    for (node_bn decision : Nodes(net)) {
      if (GetNodeKind_bn(decision) != DECISION_NODE || GetNodeFinding_bn(decision) >= 0) continue;
      const double value = ValueOfObserving_bn(node, decision);
      if (IsRefusedFor({FOLLOWS_DECISION}, session)) continue;
      session.Check();
      worths.push_back({node, decision, value});
    }
  }
  if (worths.empty()) throw Refusal("no decision is left to be taken that does not come before what is observed");
  return worths;
}

void PrintWorths(const Options& options, const Net& net, const std::vector<Worth>& worths) {
  Json list = Json::array();
  for (const Worth& worth : worths) {
    const char *const node = GetNodeName_bn(worth.node), *const decision = GetNodeName_bn(worth.decision);
    if (options.json)
      list.push_back({{"node", node}, {"decision", decision}, {"value", worth.value}});
    else
      std::printf(OutputIsTerminal() ? "%s known at %s: %.6g\n" : "%s\t%s\t%.6g\n", node, decision, worth.value);
  }
  if (options.json) std::printf("%s\n", Json{{"net", GetNetName_bn(net.get())}, {"observed", list}}.dump(2).c_str());
}

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  EnterFindings(options.findings, net, session);
  if (!options.observed.empty()) {
    PrintWorths(options, net, FindWorths(options, net, session));
    return DONE;
  }
  const double utility = Solve(options, net, session);
  if (options.output.empty() || !IsStandardOutput(options.output)) PrintDecisions(options, net, utility, session);
  if (!options.output.empty()) session.Write(net, options.output, options.force);
  return DONE;
}

}  // namespace

void AddDecide(Program& program) {
  AddCommand<Options>(program, "decide", "Find the optimal decisions of a decision network", Setup, Run);
}
