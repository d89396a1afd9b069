// bravic check: reads and compiles a net, prints what is wrong with it and how large it is; or only estimates that.
#include <cstdio>

#include "Commands.h"
#include "Json.h"
#include "Terminal.h"
#include "TreeReport.h"

namespace {

struct Options {
  std::string net;
  bool json = false, estimate = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "--estimate",
                .help = "do not compile: print what compiling and all beliefs would take",
                .value = &options->estimate});
  command->Add({.names = "--json", .help = "print JSON, with the messages", .value = &options->json});
}

struct Size {
  const char *label, *key;  // on the page, in JSON
  double value;
  const char* unit = "";
};

std::vector<Size> SizesOf(const Net& net) {
  double links = 0, parameters = 0, decisions = 0;
  const auto nodes = Nodes(net);
  for (node_bn node : nodes) {
    const auto parents = Nodes(GetNodeParents_bn(node));
    links += static_cast<double>(parents.size());
    const int kind = GetNodeKind_bn(node);
    decisions += kind == DECISION_NODE || kind == UTILITY_NODE;
    if (kind != NATURE_NODE) continue;
    double rows = 1;
    for (node_bn parent : parents) rows *= GetNodeNumberStates_bn(parent);
    parameters += rows * std::max(0, GetNodeNumberStates_bn(node) - 1);
  }
  std::vector<Size> sizes = {{"nodes", "nodes", static_cast<double>(nodes.size())},
                             {"links", "links", links},
                             {"parameters", "parameters", parameters}};
  if (decisions > 0) sizes.push_back({"decisions, utilities", "decisions_and_utilities", decisions});
  return sizes;
}

void AddTreeSizes(const Net& net, std::vector<Size>* sizes) {
  const TreeReport tree = ParseTreeReport(JunctionTreeReport_bn(net.get()));
  sizes->push_back({"cliques", "cliques", static_cast<double>(tree.cliques.size())});
  sizes->push_back({"largest clique", "largest_clique", tree.largest});
  sizes->push_back({"total state space", "total_state_space", tree.total});
}

void AddEstimate(const Net& net, std::vector<Size>* sizes) {
  double entries, bytes, seconds;
  if (EstimateCompile_bn(net.get(), &entries, &bytes, &seconds) < 0) return;
  sizes->push_back({"entries", "entries", entries});
  sizes->push_back({"bytes", "bytes", bytes});
  sizes->push_back({"seconds", "seconds", seconds});
}

// Complains of the pending messages and adds them to the list. Answers whether one was an error.
bool TakeMessages(Session& session, Json* list) {
  bool failed = false;
  for (const Message& message : session.TakeMessages()) {
    Complain(message);
    failed |= message.isError;
    list->push_back(
        {{"level", message.isError ? "error" : "warning"}, {"number", message.number}, {"text", message.Whole()}});
  }
  return failed;
}

int Run(const Options& options, Session& session) {
  const Net net = session.ReadAsFarAsPossible(options.net);
  Json messages = Json::array();
  bool failed = TakeMessages(session, &messages) || !net;
  std::vector<Size> sizes;
  if (net && options.estimate) {
    AddEstimate(net, &sizes);
    failed |= TakeMessages(session, &messages);
  } else if (net) {
    sizes = SizesOf(net);
    if (const bool plain = sizes.size() == 3; plain && !failed) {
      CompileNet_bn(net.get());
      failed = TakeMessages(session, &messages);
      if (!failed) AddTreeSizes(net, &sizes);
    }
    if (const long long kilobytes = PeakMemoryKilobytes(); kilobytes >= 0)
      sizes.push_back({"peak memory", "peak_memory_kb", static_cast<double>(kilobytes), " KB"});
  }
  if (options.json) {
    Json result{{"net", net ? Json(GetNetName_bn(net.get())) : Json()}, {"ok", !failed}, {"messages", messages}};
    for (const Size& size : sizes) result[size.key] = options.estimate ? Json(size.value) : CountOf(size.value);
    std::printf("%s\n", result.dump(2).c_str());
  } else {
    for (const Size& size : sizes)
      std::printf(OutputIsTerminal() ? "%-20s %15.*g%s\n" : "%s\t%.*g%s\n", size.label, options.estimate ? 6 : 12,
                  size.value, size.unit);
  }
  return failed ? REFUSED : DONE;
}

}  // namespace

void AddCheck(Program& program) {
  AddCommand<Options>(program, "check", "Read and compile a net; print its problems and sizes", Setup, Run);
}
