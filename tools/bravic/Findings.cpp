#include "Findings.h"

#include <charconv>
#include <fstream>
#include <limits>
#include <utility>

#include "Cases.h"
#include "Files.h"
#include "Spelling.h"
#include "Terminal.h"
#include "bravic_formats.h"

namespace {

// Answers of GetNodeFinding_bn besides states.
constexpr int LIKELIHOOD_FINDING = -6, NEGATIVE_FINDING = -7, NO_FINDING = -8;

double Number(const std::string& text) {
  double number = 0;
  const char* last = text.data() + text.size();
  const auto [end, fault] = std::from_chars(text.data(), last, number);
  if (fault != std::errc() || end != last) throw Refusal("'" + text + "' is not a number");
  return number;
}

std::vector<probtype> Numbers(const std::string& text) {
  std::vector<probtype> numbers;
  for (std::size_t start = 0; start <= text.size();) {
    const auto comma = std::min(text.find(',', start), text.size());
    numbers.push_back(static_cast<probtype>(Number(text.substr(start, comma - start))));
    start = comma + 1;
  }
  return numbers;
}

void EnterLikelihood(const std::string& assignment, const Net& net, Session& session) {
  const auto [node, text] = FindNodeOf(assignment, net);
  const auto likelihood = Numbers(text);
  const auto numstates = static_cast<std::size_t>(GetNodeNumberStates_bn(node));
  if (likelihood.size() != numstates) {
    throw Refusal("the likelihood of '" + std::string(GetNodeName_bn(node)) + "' has " +
                  std::to_string(likelihood.size()) + " numbers, but the node has " + std::to_string(numstates) +
                  " states");
  }
  EnterNodeLikelihood_bn(node, likelihood.data());
  session.Check();
}

// What a row of a case file says, of the nodes that can be known in cases.
void EnterCase(const InputFile& input, long number, const Net& net, Session& session) {
  CaseBlocks cases(input, net, session);
  const std::vector<node_bn>& nodes = cases.Columns();
  cases.Choose(nodes, 0);
  std::size_t row = 0;
  do {
    if (!cases.Next()) {
      throw Refusal("file '" + input.ShownName() + "' has " + std::to_string(cases.Number(0) - 1) +
                    " cases, and no case " + std::to_string(number));
    }
    row = static_cast<std::size_t>(number - cases.Number(0));
  } while (row >= cases.Size());
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const statetype state = cases.States()[row * nodes.size() + i];
    if (state >= 0) EnterFinding_bn(nodes[i], state);
    session.Check();
  }
}

// A UAI file of findings holds numbers alone, while a case file begins with a comment or with names.
bool IsFindingsFile(const std::string& path) {
  std::ifstream file(path);
  char first = 0;
  while (file >> first && first == '#') file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  return first >= '0' && first <= '9';
}

void EnterEvidence(const FindingOptions& options, const Net& net, Session& session) {
  const InputFile input(options.evidence);
  if (!IsFindingsFile(input.Path())) return EnterCase(input, options.number, net, session);
  session.Show(input.Path(), input.ShownName());
  ReadFindingsFormat_bn(net.get(), input.Path().c_str(), options.number);
  session.Check();
}

// Says which findings came with the net, so that nobody takes them for none.
void TellStoredFindings(const Net& net) {
  constexpr int MAX_TOLD = 5;
  std::string told;
  int number = 0;
  for (node_bn node : Nodes(net)) {
    if (GetNodeNumberStates_bn(node) == 0) continue;
    const int finding = GetNodeFinding_bn(node);
    if (finding == NO_FINDING || ++number > MAX_TOLD) continue;
    told += (told.empty() ? "" : ", ") + std::string(GetNodeName_bn(node));
    if (finding >= 0) told += "=" + StateText(node, finding);
  }
  if (number == 0) return;
  if (number > MAX_TOLD) told += " and " + std::to_string(number - MAX_TOLD) + " more";
  Complain("the net holds findings, which count: " + told + " (--no-stored-findings leaves them aside)");
}

}  // namespace

std::string CheckAssignment(const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
    return "'" + text + "' is not of the form NODE=...";
  }
  return "";
}

void AddFindingOptions(Command* command, FindingOptions* options) {
  const auto add = [&](const char* names, std::vector<std::string>* to, const char* form, const char* help) {
    command->Add({.names = names, .form = form, .help = help, .value = to, .check = CheckAssignment});
  };
  add("--finding,-f", &options->states, "NODE=STATE", "the node is in the state");
  add("--not", &options->nots, "NODE=STATE", "the node is not in the state");
  add("--likelihood", &options->likelihoods, "NODE=X,X,...", "the likelihood of each state of the node");
  add("--value", &options->values, "NODE=X", "the node's value (for nodes with levels)");
  command->Add({.names = "--evidence",
                .form = "FILE",
                .help = "what the first case of a case file or of a UAI file of findings says; - is the standard input",
                .value = &options->evidence,
                .file = true});
  command->Add({.names = "--case",
                .form = "N",
                .help = "with --evidence: another case than the first, by its number",
                .value = &options->number,
                .needs = "--evidence",
                .check = CheckPositive});
  AddStoredFindingsOption(command, &options->leaveStored);
}

void AddStoredFindingsOption(Command* command, bool* leave) {
  command->Add(
      {.names = "--no-stored-findings", .help = "leave the findings aside that the net file holds", .value = leave});
}

void TakeStoredFindings(bool leave, const Net& net, Session& session) {
  if (!leave) return TellStoredFindings(net);
  for (node_bn node : Nodes(net)) RetractNodeFindings_bn(node);
  session.Check();
}

void EnterFindings(const FindingOptions& options, const Net& net, Session& session) {
  TakeStoredFindings(options.leaveStored, net, session);
  if (!options.evidence.empty()) EnterEvidence(options, net, session);
  for (const auto& assignment : options.states) {
    const auto [node, state] = FindNodeAndState(assignment, net);
    EnterFinding_bn(node, state);
    session.Check();
  }
  for (const auto& assignment : options.nots) {
    const auto [node, state] = FindNodeAndState(assignment, net);
    EnterFindingNot_bn(node, state);
    session.Check();
  }
  for (const auto& assignment : options.likelihoods) EnterLikelihood(assignment, net, session);
  for (const auto& assignment : options.values) {
    const auto [node, text] = FindNodeOf(assignment, net);
    EnterNodeValue_bn(node, Number(text));
    session.Check();
  }
}

std::string FindingText(node_bn node) {
  if (GetNodeNumberStates_bn(node) == 0) return "";
  const int finding = GetNodeFinding_bn(node);
  const std::string name = GetNodeName_bn(node);
  if (finding >= 0) return name + "=" + StateText(node, finding);
  if (finding == LIKELIHOOD_FINDING) return name + " (likelihood)";
  if (finding != NEGATIVE_FINDING) return "";
  std::string excluded;
  for (statetype s = 0; s < GetNodeNumberStates_bn(node); ++s)
    if (GetNodeLikelihood_bn(node)[s] == 0) excluded += (excluded.empty() ? "" : ",") + StateText(node, s);
  return name + "!=" + excluded;
}

// Any node serves to ask for what rules out every state.
nodelist_bn Contradiction(const Net& net) {
  for (node_bn node : Nodes(net))
    if (GetNodeKind_bn(node) == NATURE_NODE) return ConflictingFindings_bn(node, EVERY_STATE);
  return nullptr;
}

double CheckPossible(const Net& net, Session& session) {
  const double probability = CaseProbability_bn(net.get());
  try {
    session.Check();
  } catch (const Refusal& refusal) {
    const NodeList set{probability == 0 ? Contradiction(net) : nullptr};
    std::string named;
    if (set)
      for (node_bn node : Nodes(set.get())) named += (named.empty() ? ": " : ", ") + FindingText(node);
    throw Refusal(refusal.what() + named, refusal.place);
  }
  return probability;
}

Mark MarkOf(node_bn node, statetype state) {
  const int finding = GetNodeFinding_bn(node);
  if (finding == state) return Mark::Found;
  if (finding == NEGATIVE_FINDING && GetNodeLikelihood_bn(node)[state] == 0) return Mark::Excluded;
  return finding == LIKELIHOOD_FINDING ? Mark::Weighed : Mark::None;
}

const char* MarkText(Mark mark) {
  switch (mark) {
    case Mark::Found:
      return "found";
    case Mark::Excluded:
      return "excluded";
    case Mark::Weighed:
      return "weighed";
    case Mark::None:
      break;
  }
  return "";
}
