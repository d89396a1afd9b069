#include "Learning.h"

#include <algorithm>

#include "Cases.h"
#include "Commands.h"

namespace {

// In the order of the library's numbers.
const std::vector<std::string> SCORES = {"bic", "bdeu", "loglik"}, METHODS = {"hill", "order", "exact", "tree", "tan"};

int PlaceOf(const std::string& name, const std::vector<std::string>& names) {
  const auto at = std::find(names.begin(), names.end(), name);
  return at == names.end() ? -1 : static_cast<int>(at - names.begin());
}

std::string CheckScore(const std::string& text) {
  return PlaceOf(text, SCORES) >= 0 ? "" : "'" + text + "' is no score (bic, bdeu, loglik)";
}

std::vector<const char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<const char*> pointers;
  for (const std::string& text : texts) pointers.push_back(text.c_str());
  return pointers;
}

}  // namespace

std::string CheckSearchMethod(const std::string& text) {
  return PlaceOf(text, METHODS) >= 0 ? "" : "'" + text + "' is no method (hill, order, exact, tree, tan)";
}

std::string CheckMethodOrNaive(const std::string& text) {
  return text == NAIVE || PlaceOf(text, METHODS) >= 0
             ? ""
             : "'" + text + "' is no method (naive, hill, order, exact, tree, tan)";
}

void AddSearchOptions(Command* command, SearchOptions* options, const std::string& needs) {
  command->Add({.names = "--score",
                .form = "SCORE",
                .help = "what is to be highest: bic (if left out), bdeu or loglik",
                .value = &options->score,
                .needs = needs,
                .check = CheckScore});
  command->Add({.names = "--ess",
                .form = "X",
                .help = "equivalent sample size of bdeu; 1 if left out",
                .value = &options->ess,
                .needs = needs,
                .check = CheckPositive});
  command->Add({.names = "--max-parents",
                .form = "N",
                .help = "how many parents a node may have; 4 for exact if left out, else any number",
                .value = &options->maxParents,
                .needs = needs,
                .check = CheckPositive});
  command->Add({.names = "--max-entries",
                .form = "X",
                .help = "how many entries the junction tree may have in all",
                .value = &options->maxEntries,
                .needs = needs,
                .check = CheckPositive});
  command->Add({.names = "--seconds",
                .form = "S",
                .help = "how long to search at most; the result may then depend on the machine",
                .value = &options->seconds,
                .needs = needs,
                .check = CheckPositive});
}

learn_links_bn HowToSearch(const SearchOptions& options) {
  learn_links_bn how = {};
  how.size = sizeof how;
  how.score = PlaceOf(options.score, SCORES);
  how.method = PlaceOf(options.method, METHODS);
  how.maxparents = options.maxParents;
  how.prior = options.ess;
  how.maxentries = options.maxEntries;
  how.maxseconds = options.seconds;
  return how;
}

void AddColumnOptions(Command* command, ColumnOptions* options, const std::string& excludes) {
  command->Add({.names = "--omit",
                .form = "COLUMN",
                .help = "leave this column out of the net; may be given several times",
                .value = &options->omitted,
                .excludes = excludes});
  command->Add({.names = "--max-states",
                .form = "N",
                .help = "most states of a node of the net; 1000 if left out",
                .value = &options->maxStates,
                .excludes = excludes,
                .check = CheckPositive});
}

Net NetOfCases(const ColumnOptions& options, const std::vector<std::string>& numbers, const InputFile& input,
               const char* name, Session& session) {
  const std::vector<const char*> omitted = Pointers(options.omitted), asNumbers = Pointers(numbers);
  net_of_cases_bn how = {};
  how.size = sizeof how;
  how.maxstates = options.maxStates;
  how.numomitted = static_cast<int>(omitted.size());
  how.omitted = omitted.data();
  how.numnumbers = static_cast<int>(asNumbers.size());
  how.numbers = asNumbers.data();
  Net net(NewNetOfCases_bn(session.Named(input).get(), name, &how));
  session.Check();
  if (!omitted.empty()) session.Ignore(COLUMNS_SKIPPED);
  return net;
}

void AddLearnOptions(Command* command, LearnOptions* options, const std::string& outputHelp) {
  command->Add({.names = "NET", .help = NET_HELP, .value = &options->net, .required = true, .file = true});
  command->Add({.names = "CASES",
                .help = "case files; - is the standard input",
                .value = &options->cases,
                .required = true,
                .file = true});
  command->Add({.names = "--output,-o", .form = "OUT", .help = outputHelp, .value = &options->output, .file = true});
  command->Add({.names = "--force", .help = FORCE_HELP, .value = &options->force});
  command->Add({.names = "--node",
                .form = "NODE",
                .help = "learn the table of this node only; may be given several times",
                .value = &options->nodes});
  AddStrict(command, &options->strict);
}
