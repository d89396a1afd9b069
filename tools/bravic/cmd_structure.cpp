// bravic structure: links and tables learned from cases.
#include <cstdio>

#include "Cases.h"
#include "Columns.h"
#include "Commands.h"
#include "Files.h"
#include "Learning.h"
#include "Spelling.h"

namespace {

struct Options {
  std::string cases, start, target, output;
  std::vector<std::string> required, forbidden;
  SearchOptions search{.method = "hill"};
  ColumnOptions columns;
  int seed = 0, threads = 1, restarts = 0;
  bool force = false, strict = false;
};

void Setup(Command* command, Options* options) {
  command->Add({.names = "CASES", .help = CASES_HELP, .value = &options->cases, .required = true, .file = true});
  command->Add({.names = "--method",
                .form = "METHOD",
                .help = "how to search: hill (if left out), order, exact, tree or tan",
                .value = &options->search.method,
                .check = CheckSearchMethod});
  command->Add({.names = "--target",
                .form = "NODE",
                .help = "what tan is to tell by the others, or the root of a tree",
                .value = &options->target});
  AddSearchOptions(command, &options->search, "");
  command->Add({.names = "--require",
                .form = "A:B",
                .help = "a link from A to B that there must be; may be given several times",
                .value = &options->required});
  command->Add({.names = "--forbid",
                .form = "A:B",
                .help = "a link from A to B that there must not be; may be given several times",
                .value = &options->forbidden});
  command->Add({.names = "--seed",
                .form = "K",
                .help = "seed of what is drawn at random",
                .value = &options->seed,
                .check = CheckNotNegative});
  command->Add({.names = "--restarts",
                .form = "R",
                .help = "how many further searches from changed links; 20 if left out",
                .value = &options->restarts,
                .check = CheckPositive});
  command->Add(
      {.names = "--threads", .form = "N", .help = THREADS_HELP, .value = &options->threads, .check = CheckNotNegative});
  command->Add({.names = "--start",
                .form = "NET",
                .help = "learn the links of this net's nodes, beginning with those that it has; if left out, of a net "
                        "with a node for each column",
                .value = &options->start,
                .file = true});
  AddColumnOptions(command, &options->columns, "--start");
  command->Add({.names = "--output,-o",
                .form = "OUT",
                .help = "the file to write the net to, in the format of its extension",
                .value = &options->output,
                .required = true,
                .file = true});
  command->Add({.names = "--force", .help = FORCE_HELP, .value = &options->force});
  AddStrict(command, &options->strict);
  command->notes =
      "Piped, the output has a row for each link, parent and child, and last one headed *: score, and the score of "
      "the\n"
      "links. A column that never changes is left without links. The tables of the net are learned from the same\n"
      "cases, each row as if it had been seen once more, spread evenly.";
}

// "A:B", split at the ":" at which both are nodes, since spellings may hold others.
std::pair<node_bn, node_bn> FindLink(const std::string& text, const Net& net) {
  for (std::size_t at = text.find(':'); at != std::string::npos; at = text.find(':', at + 1)) {
    node_bn from = FindNode_bn(text.substr(0, at).c_str(), net.get());
    node_bn to = FindNode_bn(text.substr(at + 1).c_str(), net.get());
    if (from && to) return {from, to};
  }
  const std::size_t at = text.find(':');
  if (at == std::string::npos) throw Misuse("'" + text + "' is no link (A:B)");
  return {FindNode(text.substr(0, at), net), FindNode(text.substr(at + 1), net)};
}

struct LinkLists {
  NodeList from, to;
};

LinkLists FindLinks(const std::vector<std::string>& texts, const Net& net, Session& session) {
  std::vector<node_bn> from, to;
  for (const std::string& text : texts) {
    const auto [parent, child] = FindLink(text, net);
    from.push_back(parent);
    to.push_back(child);
  }
  return {MakeList(from, session), MakeList(to, session)};
}

Net MakeNet(const Options& options, const InputFile& input, Session& session) {
  if (!options.start.empty()) return session.Read(options.start);
  return NetOfCases(options.columns, {}, input, "Learned", session);
}

void PrintLinks(nodelist_bn nodes, double score) {
  Columns columns({"parent", "child"});
  for (node_bn child : Nodes(nodes))
    for (node_bn parent : Nodes(GetNodeParents_bn(child))) columns.Add({GetNodeName_bn(parent), GetNodeName_bn(child)});
  char text[40];
  std::snprintf(text, sizeof text, "%.8g", score);
  columns.Add({"*", "score", text});
  columns.Print();
}

int Run(const Options& options, Session& session) {
  session.BeStrict(options.strict);
  const InputFile input(options.cases);
  const Net net = MakeNet(options, input, session);
  const File file = session.Named(input);
  const NodeList nodes(CaseFileNodes_bn(file.get(), net.get()));
  session.Check();
  const LinkLists required = FindLinks(options.required, net, session);
  const LinkLists forbidden = FindLinks(options.forbidden, net, session);
  learn_links_bn how = HowToSearch(options.search);
  how.seed = options.seed;
  how.keeplinks = !options.start.empty();
  how.target = options.target.empty() ? nullptr : FindNode(options.target, net);
  how.requiredfrom = required.from.get();
  how.requiredto = required.to.get();
  how.forbiddenfrom = forbidden.from.get();
  how.forbiddento = forbidden.to.get();
  how.restarts = options.restarts;
  SetThreads_ns(options.threads, session.Environment());
  double score = 0;
  LearnLinks_bn(file.get(), nodes.get(), &how, &score);
  session.CheckCases();
  session.Write(net, options.output, options.force);
  PrintLinks(nodes.get(), score);
  return 0;
}

}  // namespace

void AddStructure(Program& program) {
  AddCommand<Options>(program, "structure", "Learn links and tables from cases", Setup, Run);
}
