// Interprets bytes as calls of the interface on two nets: a byte picks the operation, those after it its arguments.
// After each, the nets are sound; where the byte asks for it, they are as they were when the call was refused. At the
// end they can be saved, taken back and made again, and their beliefs are right. With BRAVIC_FUZZ_TRACE set the
// operations are printed.
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "Bn/model/Levels.h"
#include "Bn/model/Records.h"
#include "harness.h"
#include "support/rich_net.h"

namespace bravic::fuzz {
namespace {

using testing::Nodes;
using testing::NumStates;
using testing::Random;

constexpr double MAX_CONFIGURATIONS = 4096;
constexpr int MAX_NODES = 12, MAX_PARENTS = 5, MAX_OPERATIONS = 100, UNDO_DEPTH = 200;

const char* const NAMES[] = {"A",
                             "B",
                             "C",
                             "D",
                             "yes",
                             "no",
                             "N1",
                             "probs",
                             "x_9",
                             "",
                             "1a",
                             "a b",
                             "Thirty_one_characters_of_a_name",
                             "caf\xC3\xA9",
                             "q\"\\\n\t",
                             nullptr};
const double NUMBERS[] = {0, 1, -1, 0.5, 2, 3, 10, 1.0 / 3, 1e-30, 1e6, 1234567, 1e30, 1e300, -0.25};

struct Machine {
  Machine(const std::uint8_t* data, std::size_t size) : bytes(data, size), cases(Path("cases.cas")) {}

  net_bn Now() const { return nets[at].get(); }
  node_bn Node() { return NodeOf(at); }
  node_bn NodeOf(int which) {
    const auto nodes = Nodes(nets[which]);
    return nodes.empty() ? nullptr : nodes[static_cast<std::size_t>(bytes.Below(static_cast<int>(nodes.size())))];
  }
  const char* Name() { return NAMES[bytes.Below(std::size(NAMES))]; }
  double Number() {
    const int n = bytes.Next();
    return n == 255   ? undef_dbl_ns
           : n == 254 ? inf_dbl_ns
           : n == 253 ? -inf_dbl_ns
                      : NUMBERS[n % static_cast<int>(std::size(NUMBERS))];
  }
  int State(node_bn node) { return bytes.Below(NumStates(node) + 1); }
  int Link(node_bn node) { return bytes.Below(node ? LengthNodeList_bn(GetNodeParents_bn(node)) : 0); }
  // States of the node's parents, some of them wildcards, few of them wrong.
  const statetype* Parents(node_bn node) {
    row.assign(1, 0);
    for (node_bn parent : Nodes(node ? GetNodeParents_bn(node) : nullptr)) {
      const int n = bytes.Next(), numstates = NumStates(parent);
      row.insert(row.end() - 1, n == 255 ? numstates : n >= 192 ? EVERY_STATE : n % (numstates > 0 ? numstates : 1));
    }
    return row.data();
  }
  const probtype* Probs(node_bn node) {
    const int numstates = NumStates(node), form = bytes.Below(16);
    Random random(static_cast<std::uint64_t>(bytes.Next()));
    probs = testing::RandomRow(random, std::max(numstates, 1), form < 4 ? 0.5 : 0);
    if (form == 4) probs.assign(probs.size(), UNDEF_PROB);
    if (form == 5) probs.assign(probs.size(), IMPOS_PROB);
    if (form == 6) probs.assign(probs.size(), 0.25f);
    if (form == 7) probs.assign(probs.size(), 1e-30f), probs.back() = 1;
    return probs.data();
  }
  nodelist_bn List() {
    nodelist_bn list = NewNodeList_bn(0, Environment());
    const int mask = bytes.Next() | bytes.Next() << 8;
    int bit = 0;
    for (node_bn node : Nodes(nets[at])) {
      if (mask >> bit++ & 1) AddNodeToList_bn(node, list, mask >> 15 ? 0 : LengthNodeList_bn(list));
    }
    return list;
  }
  // The number of configurations of a net and its placeholders is kept small.
  bool HasRoom(int which, double factor = 1) const;

  Bytes bytes;
  Net nets[2];
  int at = 0;
  File cases;
  std::vector<statetype> row;
  std::vector<probtype> probs;
};

bool Machine::HasRoom(int which, double factor) const {
  const auto nodes = Nodes(nets[which]);
  for (node_bn node : nodes) {
    factor *= std::max(NumStates(node), 1);
    const auto parents = Nodes(GetNodeParents_bn(node));
    if (parents.size() > MAX_PARENTS) return false;
    for (node_bn parent : parents) {
      if (IsPlaceholder(parent)) factor *= std::max(NumStates(parent), 1);
    }
  }
  return factor <= MAX_CONFIGURATIONS && nodes.size() <= MAX_NODES;
}

void Begin(Machine& m, int which) {
  const int form = m.bytes.Below(4);
  Random random(static_cast<std::uint64_t>(m.bytes.Next()));
  if (form == 1) m.nets[which] = testing::RandomNet(Environment(), random, {.maxNodes = 8, .maxConfigurations = 300});
  if (form == 2) m.nets[which] = testing::RandomRichNet(Environment(), random);
  if (form == 3) m.nets[which] = testing::ChestClinic(Environment());
  if (!m.nets[which] || !m.HasRoom(which)) m.nets[which].reset(NewNet_bn("Empty", Environment()));
}

void FillTables(Machine& m) {
  Random random(static_cast<std::uint64_t>(m.bytes.Next()));
  for (node_bn node : Nodes(m.nets[m.at])) {
    if (GetNodeKind_bn(node) == NATURE_NODE && NumStates(node) > 0) testing::RandomTable(node, random, 0.1);
    if (GetNodeKind_bn(node) != UTILITY_NODE) continue;
    testing::ForEachRow(node, [&](const statetype* row) { SetNodeFuncValue_bn(node, row, random.Between(-9, 9)); });
  }
}

void SetLevels(Machine& m) {
  const node_bn node = m.Node();
  if (!node) return;
  const int numstates = GetNodeDiscrete_bn(node) ? NumStates(node) : m.bytes.Below(5);
  double levels[16] = {};
  for (int i = 0; i <= std::max(numstates, 1); ++i) levels[i] = m.Number() + (m.bytes.Below(2) != 0 ? i : 0);
  const bool grown = numstates > NumStates(node);
  if (!grown || m.HasRoom(m.at, numstates)) SetNodeLevels_bn(node, numstates, m.bytes.Below(4) != 0 ? levels : nullptr);
}

void SaveAndRead(Machine& m) {
  CheckSaving(m.nets[m.at]);
  const File file(Path("saved.dne"));
  m.nets[m.at].reset(ReadNet_bn(file.get(), 1));
}

void ReadCase(Machine& m) {
  const nodelist_bn list = m.List();
  long at = m.bytes.Below(3) == 0 ? FIRST_CASE : m.bytes.Below(2) == 0 ? NEXT_CASE : m.bytes.Next(), id;
  double freq;
  ReadCase_bn(&at, m.cases.get(), list, &id, &freq);
  FreeNodeList_bn(list);
}

void Reverse(Machine& m) {
  const node_bn node = m.Node();
  const nodelist_bn parents = node ? GetNodeParents_bn(node) : nullptr;
  if (!parents || LengthNodeList_bn(parents) == 0 || !m.HasRoom(m.at)) return;
  const Kept joint(m.nets[m.at]);
  ReverseLink_bn(NthNode_bn(parents, m.Link(node)), node);
  joint.Check(m.nets[m.at]);
}

void Absorb(Machine& m) {
  if (!m.HasRoom(m.at)) return;
  const Kept joint(m.nets[m.at]);
  AbsorbNodes_bn(m.List());
  joint.Check(m.nets[m.at]);
}

template <class Call>
void WithList(Machine& m, Call call) {
  const nodelist_bn list = m.List();
  call(list);
  FreeNodeList_bn(list);
}

template <class Call>
void WithNode(Machine& m, Call call) {
  if (const node_bn node = m.Node()) call(node);
}

struct Operation {
  const char* name;
  bool gradual;  // what it did before it was refused stays
  void (*make)(Machine& m);
};

// The seeds of the corpus say operations by number: new ones go to the end.
const Operation OPERATIONS[] = {
    {"other net", false, [](Machine& m) { m.at = 1 - m.at; }},
    {"another net", false, [](Machine& m) { Begin(m, m.at); }},
    {"node", false,
     [](Machine& m) {
       const int numstates = m.bytes.Below(5);
       if (m.HasRoom(m.at, std::max(numstates, 1))) NewNode_bn(m.Name(), numstates, m.Now());
     }},
    {"delete", false, [](Machine& m) { DeleteNode_bn(m.Node()); }},
    {"link", false,
     [](Machine& m) {
       const node_bn child = m.Node(), parent = m.NodeOf(m.bytes.Below(16) == 0 ? 1 - m.at : m.at);
       if (child && LengthNodeList_bn(GetNodeParents_bn(child)) < MAX_PARENTS) AddLink_bn(parent, child);
     }},
    {"unlink", false, [](Machine& m) { WithNode(m, [&](node_bn node) { DeleteLink_bn(m.Link(node), node); }); }},
    {"switch", false,
     [](Machine& m) { WithNode(m, [&](node_bn node) { SwitchNodeParent_bn(m.Link(node), node, m.Node()); }); }},
    {"reverse", true, Reverse},
    {"absorb", true, Absorb},
    {"optimize", false, [](Machine& m) { WithList(m, [](nodelist_bn list) { OptimizeDecisions_bn(list); }); }},
    {"expected utility", false, [](Machine& m) { GetExpectedUtility_bn(m.Now()); }},
    {"copy", false,
     [](Machine& m) {
       const int to = m.bytes.Below(2);
       WithList(m, [&](nodelist_bn list) {
         double factor = 1;
         for (node_bn node : Nodes(list)) factor *= std::max(NumStates(node), 1);
         const int numnodes = LengthNodeList_bn(list) + LengthNodeList_bn(GetNetNodes_bn(m.nets[to].get()));
         if (numnodes < MAX_NODES && m.HasRoom(to, factor)) {
           FreeNodeList_bn(DuplicateNodes_bn(list, m.nets[to].get()));
         }
       });
     }},
    {"probs", false,
     [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeProbs_bn(node, m.Parents(node), m.Probs(node)); }); }},
    {"tables", true, FillTables},
    {"experience", false,
     [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeExperience_bn(node, m.Parents(node), m.Number()); }); }},
    {"function", false,
     [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeFuncValue_bn(node, m.Parents(node), m.Number()); }); }},
    {"no tables", false, [](Machine& m) { DeleteNodeRelation_bn(m.Node()); }},
    {"deterministic", false, [](Machine& m) { IsNodeDeterministic_bn(m.Node()); }},
    {"compile", false, [](Machine& m) { CompileNet_bn(m.Now()); }},
    {"state", false, [](Machine& m) { WithNode(m, [&](node_bn node) { EnterFinding_bn(node, m.State(node)); }); }},
    {"not", false, [](Machine& m) { WithNode(m, [&](node_bn node) { EnterFindingNot_bn(node, m.State(node)); }); }},
    {"likelihood", false,
     [](Machine& m) {
       WithNode(m, [&](node_bn node) {
         if (NumStates(node) > 0) EnterNodeLikelihood_bn(node, m.Probs(node));
       });
     }},
    {"value", false, [](Machine& m) { WithNode(m, [&](node_bn node) { EnterNodeValue_bn(node, m.Number()); }); }},
    {"retract", false, [](Machine& m) { RetractNodeFindings_bn(m.Node()); }},
    {"retract all", false, [](Machine& m) { RetractAllFindings_bn(m.Now()); }},
    {"belief", false, [](Machine& m) { CheckBelief(m.nets[m.at], m.Node()); }},
    {"beliefs", false, [](Machine& m) { CheckBeliefs(m.nets[m.at]); }},
    {"most probable", false, [](Machine& m) { SetNetFindMPE_bn(m.Now(), m.bytes.Below(2)); }},
    {"auto-update", false, [](Machine& m) { SetNetAutoUpdate_bn(m.Now(), m.bytes.Below(2)); }},
    {"order", false, [](Machine& m) { WithList(m, [&](nodelist_bn list) { SetNetElimOrder_bn(m.Now(), list); }); }},
    {"whole order", false, [](Machine& m) { SetNetElimOrder_bn(m.Now(), GetNetNodes_bn(m.Now())); }},
    {"find order", false, [](Machine& m) { FindElimOrder_bn(m.Now(), 0); }},
    {"report", false, [](Machine& m) { JunctionTreeReport_bn(m.Now()); }},
    {"net name", false, [](Machine& m) { SetNetName_bn(m.Now(), m.Name()); }},
    {"net texts", false, [](Machine& m) { SetNetTitle_bn(m.Now(), m.Name()), SetNetComment_bn(m.Now(), m.Name()); }},
    {"name", false, [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeName_bn(node, m.Name()); }); }},
    {"kind", false, [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeKind_bn(node, m.bytes.Below(7)); }); }},
    {"state name", false,
     [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeStateName_bn(node, m.State(node), m.Name()); }); }},
    {"link name", false,
     [](Machine& m) { WithNode(m, [&](node_bn node) { SetLinkName_bn(node, m.Link(node), m.Name()); }); }},
    {"levels", false, SetLevels},
    {"title", false, [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeTitle_bn(node, m.Name()); }); }},
    {"comment", false, [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeComment_bn(node, m.Name()); }); }},
    {"label", false, [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeText_bn(node, "label", m.Name()); }); }},
    {"state text", false,
     [](Machine& m) { WithNode(m, [&](node_bn node) { SetNodeText_bn(node, "state 1", m.Name()); }); }},
    {"undo", false, [](Machine& m) { UndoLastChange_bn(m.Now()); }},
    {"redo", false, [](Machine& m) { RedoLastChange_bn(m.Now()); }},
    {"depth", false,
     [](Machine& m) { SetUndoDepth_bn(m.bytes.Below(2) == 0 ? UNDO_DEPTH : m.bytes.Below(4), m.Now()); }},
    {"save and read", false, SaveAndRead},
    {"write case", false,
     [](Machine& m) {
       WithList(m, [&](nodelist_bn list) { WriteCase_bn(list, m.cases.get(), m.bytes.Below(4) - 1, m.Number()); });
     }},
    {"read case", true, ReadCase},
    {"learn", true,
     [](Machine& m) { WithList(m, [&](nodelist_bn list) { CaseRevisesProbs_bn(list, 0, m.Number()); }); }},
    {"learn file", true,
     [](Machine& m) {
       WithList(m, [&](nodelist_bn list) { CaseFileRevisesProbs_bn(m.cases.get(), list, 0, m.Number()); });
     }},
    {"fade", false, [](Machine& m) { WithNode(m, [&](node_bn node) { FadeProbs_bn(node, m.Number()); }); }},
    {"draw", true,
     [](Machine& m) { WithList(m, [&](nodelist_bn list) { RandomCase_bn(list, 0, m.bytes.Below(9)); }); }},
    {"generate", true,
     [](Machine& m) {
       WithList(m, [&](nodelist_bn list) {
         GenerateCases_bn(list, m.bytes.Below(5), m.cases.get(), m.bytes.Below(3) - 1, m.Number(), m.bytes.Below(2));
       });
     }},
    {"solve decisions", false, [](Machine& m) { SolveDecisions_bn(m.Now(), m.bytes.Below(2)); }},
    {"observing", false, [](Machine& m) { WithNode(m, [&](node_bn node) { ValueOfObserving_bn(node, m.Node()); }); }},
};

// The net's file without what is made anew when it is needed.
std::string Stripped(const Net& net) {
  std::string text = Saved(net, Path("stripped.dne"));
  for (const char* derived : {"\tchance = ", "\tbelief = ", "ElimOrder = "}) {
    for (std::size_t at = 0; (at = text.find(derived, at)) != std::string::npos;) {
      text.erase(at, text.find(";\n", at) + 2 - at);
    }
  }
  return text;
}

void CheckUndo(const Net& net) {
  const Quickly quickly;
  const auto walk = [&](int(BRAVIC_CALL * step)(net_bn)) {
    while (step(net.get()) == 1) CheckSound(net);
    if (!ErrorNumbers().empty()) Fail("undo or redo is refused", Errors());
  };
  walk(RedoLastChange_bn);
  const std::string forward = Stripped(net);
  walk(UndoLastChange_bn);
  walk(RedoLastChange_bn);
  const std::string after = Stripped(net);
  if (after != forward) Fail("made again differs", Difference(after, forward));
}

std::string BothLooks(const Machine& m) {
  return Look(m.nets[0]) + Look(m.nets[1]);
}

void Run(Machine& m) {
  static const bool tracing = std::getenv("BRAVIC_FUZZ_TRACE");
  for (int which : {0, 1}) Begin(m, which);
  SetUndoDepth_bn(UNDO_DEPTH, m.Now());
  for (int i = 0; i < MAX_OPERATIONS && !m.bytes.Empty(); ++i) {
    // Looking at everything takes longer than most calls.
    const int pick = m.bytes.Next(), number = pick % 64;
    const Operation& operation = OPERATIONS[number % static_cast<int>(std::size(OPERATIONS))];
    const bool watched = pick >= 192 && !operation.gradual;
    const std::string before = watched ? BothLooks(m) : "";
    if (tracing) std::fprintf(stderr, "net %d: %s\n", m.at, operation.name);
    operation.make(m);
    const std::string errors = watched || tracing ? Errors() : "";
    if (tracing) std::fprintf(stderr, "%s", errors.c_str());
    ForgetErrors();
    for (const Net& net : m.nets) CheckSound(net);
    if (!watched || errors.empty()) continue;
    const std::string after = BothLooks(m);
    if (after != before)
      Fail(std::string("refused, and changed: ") + operation.name, errors + Difference(after, before));
  }
}

}  // namespace
}  // namespace bravic::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace bravic::fuzz;
  const Balance balance;
  std::remove(Path("cases.cas").c_str());
  SeedRandom_ns(1, Environment());
  Machine machine(data, size);
  Run(machine);
  for (const Net& net : machine.nets) {
    CheckBeliefs(net);
    CheckSaving(net);
    CheckUndo(net);
    ForgetErrors();
    CompileNet_bn(net.get());
    CheckBeliefs(net);
  }
  SetUndoDepth_bn(1, machine.Now());
  return 0;
}
