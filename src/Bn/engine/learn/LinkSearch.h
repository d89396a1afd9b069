// What all methods of searching for links have in common: what they are given, and what they find. Each is a function
// in a file of its own. Links are given by the parents of each node, ascending.
//
// All of them keep the rules and, where there is one, the limit on entries, at every step: what is found may always be
// used. The links to start from must keep them. A seed binds the result, on every machine and for any number of
// threads, unless the seconds cut the search short.
#pragma once

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/infer/Terms.h"
#include "Bn/engine/learn/EntryLimit.h"
#include "Bn/engine/learn/FamilyScores.h"
#include "Bn/engine/learn/LinkRules.h"

namespace bravic::engine {

using Links = Vector<Vector<int>>;  // [node] its parents, ascending

struct LinkSearch {
  FamilyScores* scores = nullptr;
  const LinkRules* rules = nullptr;
  EntryLimit* limit = nullptr;     // NULL: none
  Interrupt* interrupt = nullptr;  // NULL: nobody looks in
  Links start;                     // required links among them; no cycle
  int target = -1;                 // of a tree: its root; of a classifier: what is to be told
  std::uint64_t seed = 0;
  int restarts = 0;       // further searches from changed links
  double maxSeconds = 0;  // 0: as long as it takes
};

struct FoundLinks {
  Links parents;
  double score = 0;
  int steps = 0;                 // changes made on the way
  bool isBest = false;           // of all that the rules allow
  Status status = Status::Done;  // Halted, NoMemory: nothing else is of use
};

FoundLinks SearchHill(const LinkSearch& search);
FoundLinks SearchOrders(const LinkSearch& search);
FoundLinks SearchExact(const LinkSearch& search);  // up to MOST_SUBSET_NODES nodes
FoundLinks SearchTree(const LinkSearch& search);
FoundLinks SearchTan(const LinkSearch& search);  // needs a target, which the rules give no parents
using SearchMethod = FoundLinks (*)(const LinkSearch&);

// By one of them, with missing cells filled in again and again. The score answered is that of the cases as they are;
// completed: the cases as last filled in, to make tables of.
struct ScoreChoice {
  ScoreKind kind = ScoreKind::BIC;
  double prior = 1;
  int numThreads = 1;
};
FoundLinks SearchMissing(const LinkSearch& search, SearchMethod method, const ScoreChoice& choice,
                         Owned<CaseColumns>* completed);

}  // namespace bravic::engine
