// Reads arbitrary bytes as a case file about a small net. Row by row and learned as a whole it says the same; what was
// learned can be unlearned; and the rows written to a file of the library's own come back from it. Then a net is made
// of the file, whose states are those that its rows have, however many of them are read at once.
#include <algorithm>
#include <cmath>

#include "harness.h"

namespace bravic::fuzz {
namespace {

using testing::Nodes;
using testing::NumStates;

constexpr int MAX_ROWS = 100;

// Out of bounds: the entry counts as missing, and reading goes on.
constexpr int OUT_OF_BOUNDS = 2086;

// A continuous node without intervals keeps a net from being compiled; with it the others are read, not scored.
Net Small(bool withReal) {
  Net net(NewNet_bn("Small", Environment()));
  AddNode(net, "A", {"yes", "no", "s2"}, {}, {0.5f, 0.25f, 0.25f});
  const node_bn level = NewNode_bn("B", 3, net.get()), range = NewNode_bn("C", 0, net.get());
  const double levels[] = {-1, 2.5, 1000}, bounds[] = {-inf_dbl_ns, 0, 1, inf_dbl_ns};
  SetNodeLevels_bn(level, 3, levels);
  SetNodeLevels_bn(range, 3, bounds);
  AddLink_bn(testing::Named(net, "A"), level);
  AddLink_bn(level, range);
  testing::Random random(1);
  for (node_bn node : {level, range}) testing::RandomTable(node, random, 0);
  if (withReal) NewNode_bn("D", 0, net.get());
  CompileNet_bn(net.get());
  ForgetErrors();
  return net;
}

// Of the nodes that have tables, all rows with their experience, which is the base experience where there is none.
std::vector<double> Learned(const Net& net) {
  std::vector<double> all;
  for (node_bn node : Nodes(net)) {
    if (!HasRelation_bn(node)) continue;
    testing::ForEachRow(node, [&](const statetype* row) {
      const probtype* probs = GetNodeProbs_bn(node, row);
      all.insert(all.end(), probs, probs + NumStates(node));
      const double experience = GetNodeExperience_bn(node, row);
      all.push_back(experience == undef_dbl_ns ? NumStates(node) * BaseExperience_bn : experience);
    });
  }
  return all;
}

void Compare(const char* what, const std::vector<double>& is, const std::vector<double>& was) {
  for (std::size_t i = 0; i < is.size(); ++i) {
    if (std::fabs(is[i] - was[i]) <= 1e-4 * std::max(1.0, std::fabs(was[i]))) continue;
    Fail(what, "entry " + std::to_string(i) + " is " + std::to_string(is[i]) + ", not " + std::to_string(was[i]));
  }
}

struct Rows {
  int count = 0;
  double weight = 0;   // of all together
  bool whole = false;  // read to the end
  std::string findings;
};

// Reads all rows as findings, and hands each over.
template <class Visit>
Rows ReadRows(const Net& net, const std::string& path, Visit visit) {
  Rows rows;
  const File file(path);
  long at = FIRST_CASE, id = -1;
  double freq = -1;
  for (; rows.count < MAX_ROWS; at = NEXT_CASE) {
    ReadCase_bn(&at, file.get(), GetNetNodes_bn(net.get()), &id, &freq);
    rows.whole = at == NO_MORE_CASES;
    ForgetErrors();
    if (at < 0) break;
    ++rows.count;
    rows.weight += freq < 0 ? 1 : freq;
    rows.findings += std::to_string(id) + " " + std::to_string(freq);
    for (node_bn node : Nodes(net)) rows.findings += " " + std::to_string(GetNodeFinding_bn(node));
    rows.findings += "\n";
    CheckBeliefs(net);
    visit(at, id, freq);
  }
  RetractAllFindings_bn(net.get());
  ForgetErrors();
  return rows;
}

// Writes the rows of one file to another, which comes back with the same findings.
Rows Rewrite(const Net& net, const std::string& from, const std::string& to) {
  std::remove(to.c_str());
  const File file(to);
  return ReadRows(net, from, [&](long, long id, double freq) {
    if (WriteCase_bn(GetNetNodes_bn(net.get()), file.get(), std::max(id, 0L), std::max(freq, 0.0)) < 0) {
      Fail("writing a case", Errors());
    }
  });
}

void CheckRows(const std::string& input, bool withReal) {
  const Net net = Small(withReal);
  const std::string once = Path("once.cas"), twice = Path("twice.cas"), thrice = Path("thrice.cas");
  const Rows rows = Rewrite(net, input, once);
  if (rows.count == 0) return;
  // Values and frequencies have six digits in the first file already.
  const Rows first = Rewrite(net, once, twice), second = Rewrite(net, twice, thrice);
  if (first.count != rows.count || !first.whole) Fail("own case file", testing::ReadWhole(once));
  if (first.findings != second.findings) Fail("own case file differs", Difference(second.findings, first.findings));
  const std::string is = testing::ReadWhole(thrice), was = testing::ReadWhole(twice);
  if (is != was) Fail("case file written again differs", Difference(is, was));
  const File file(twice);
  ReadRows(net, twice, [&](long at, long, double) {
    const std::string inOrder = Look(net);
    ReadCase_bn(&at, file.get(), GetNetNodes_bn(net.get()), nullptr, nullptr);
    if (Look(net) != inOrder) Fail("a row by its place differs", Difference(Look(net), inOrder));
  });
}

void CheckLearning(const std::string& input) {
  const Net whole = Small(false), single = Small(false);
  const File file(input);
  const auto before = Learned(whole);
  const Rows rows = ReadRows(single, input, [&](long, long, double freq) {
    CaseRevisesProbs_bn(GetNetNodes_bn(single.get()), 0, freq < 0 ? 1 : freq);
    if (!ErrorNumbers().empty()) Fail("learning a case", Errors());
  });
  CaseFileRevisesProbs_bn(file.get(), GetNetNodes_bn(whole.get()), 0, 1);
  std::set<int> refusals = ErrorNumbers();
  refusals.erase(OUT_OF_BOUNDS);
  const std::string errors = Errors();
  ForgetErrors();
  CheckSound(whole);
  if (!(rows.weight < 1000)) return;
  if (rows.whole != refusals.empty() && rows.count < MAX_ROWS) {
    Fail("read whole and refused in learning, or the other way round", std::to_string(rows.count) + "\n" + errors);
  }
  if (rows.count < MAX_ROWS) Compare("learned case by case, and as a whole", Learned(single), Learned(whole));
  if (!refusals.empty()) return;
  CaseFileRevisesProbs_bn(file.get(), GetNetNodes_bn(whole.get()), 0, -1);
  refusals = ErrorNumbers();
  refusals.erase(OUT_OF_BOUNDS);
  if (!refusals.empty()) Fail("unlearning", Errors());
  Compare("unlearned", Learned(whole), before);
}

// The rows in blocks of that many: of each its number, frequency and states.
std::string ReadBlocks(const Net& net, const std::string& path, long size, std::set<std::pair<node_bn, int>>* states) {
  const File file(path);
  const auto nodes = Nodes(net);
  const auto width = nodes.size(), room = static_cast<std::size_t>(size);
  std::vector<statetype> block(room * width);
  std::vector<long> ids(room);
  std::vector<double> freqs(room);
  std::string all;
  double position = 0;
  long count = 0;
  while ((count = ReadCaseStates_bn(file.get(), GetNetNodes_bn(net.get()), &position, size, block.data(), ids.data(),
                                    freqs.data())) > 0) {
    for (std::size_t row = 0; row < static_cast<std::size_t>(count); ++row) {
      all += std::to_string(ids[row]) + " " + std::to_string(freqs[row]);
      for (std::size_t i = 0; i < width; ++i) {
        const statetype state = block[row * width + i];
        all += " " + std::to_string(state);
        if (states && state != UNDEF_STATE) states->insert({nodes[i], state});
      }
      all += "\n";
    }
  }
  if (count < 0) Fail("the file a net was made of can't be read", Errors() + testing::ReadWhole(path));
  ForgetErrors();
  return all;
}

Net MakeOfCases(const std::string& input) {
  const Pace pace(testing::ReadWhole(input).size());
  const File file(input);
  return Net(NewNetOfCases_bn(file.get(), "Sheet", nullptr));
}

void CheckNetOfCases(const std::string& input) {
  const Net net = MakeOfCases(input);
  ForgetErrors();
  if (!net) return;
  CheckSound(net);
  std::set<std::pair<node_bn, int>> states;
  const std::string rows = ReadBlocks(net, input, 1, &states);
  for (long size : {3L, 1000L}) {
    const std::string others = ReadBlocks(net, input, size, nullptr);
    if (others != rows) Fail("rows in larger blocks differ", Difference(others, rows));
  }
  for (node_bn node : Nodes(net))
    for (int state = 0; state < NumStates(node); ++state)
      if (!states.contains({node, state}))
        Fail("a state that no row has", GetNodeStateName_bn(node, state) + Look(net));
  for (const auto& [node, state] : states)
    if (state < 0 || state >= NumStates(node)) Fail("a state out of bounds", std::to_string(state) + Look(net));
  const std::string own = Path("sheet.cas");
  const Rows as = Rewrite(net, input, own);
  if (as.count > 0 && as.whole && Rewrite(net, own, Path("again.cas")).count != as.count)
    Fail("rows of a net made of cases", testing::ReadWhole(own));
  CheckSaving(net);
}

}  // namespace
}  // namespace bravic::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace bravic::fuzz;
  const Balance balance;
  const std::string path = Path("input.cas");
  bravic::testing::WriteWhole(path, {reinterpret_cast<const char*>(data), size});
  CheckRows(path, false);
  CheckRows(path, true);
  CheckLearning(path);
  CheckNetOfCases(path);
  return 0;
}
