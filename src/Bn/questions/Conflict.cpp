// Smallest sets of findings that contradict a state. Where few matter, by implicit hitting sets (Ignatiev, Previti,
// Liffiton & Marques-Silva 2015): a set that rules the state out must hit everything whose absence makes it possible.
// Sets that hit all of those known so far are tried by rising size; one that does not rule the state out yet is grown
// until nothing can be added, and what is left out then has to be hit, too. So the first that does is a smallest.
// Where more matter, findings are dropped one by one as long as the rest does.
#include <algorithm>
#include <bit>
#include <cstdint>

#include "Bn/questions/Asked.h"
#include "Bn/questions/Explain.h"

namespace bravic {
namespace {

constexpr int FEW = 20;                    // findings that matter
constexpr double ENTRIES_OF_A_NODE = 100;  // what a check takes beside sums, about

class ConflictSearch {
 public:
  ConflictSearch(net_bn net, node_bn node, statetype state);

  // False with an error posted.
  bool Ask(Conflict* answer, Vector<node_bn>* findings) {
    return engine_.Ask(found_.size() + 1, [&] { return Search(answer, findings); });
  }

 private:
  engine::Status Search(Conflict* answer, Vector<node_bn>* findings);
  bool IsPossible(const Vector<unsigned char>& isIn);
  bool IsPossible(std::uint32_t set);
  Vector<unsigned char> WhatMatters() const;
  void Keep(const Vector<unsigned char>& isKept);
  std::uint32_t FindSmallest();
  void DropWhatCanBeSpared(Vector<unsigned char>* isIn);
  bool HasFailed() const { return status_ != engine::Status::Done; }

  EngineLoan engine_;
  node_bn node_;
  statetype state_;
  Vector<node_bn> found_;       // without the node itself
  Vector<unsigned char> isIn_;  // [found] whether the engine has it
  engine::Status status_ = engine::Status::Done;
};

ConflictSearch::ConflictSearch(net_bn net, node_bn node, statetype state)
    : engine_(net), node_(node), state_(state), found_(engine_.NodesWithFindings()) {
  if (state == EVERY_STATE) return;
  const auto own = std::find(found_.begin(), found_.end(), node);
  if (own != found_.end()) found_.erase(own);
}

// Whether the state is, with those of the findings. Without meaning once something has failed.
bool ConflictSearch::IsPossible(const Vector<unsigned char>& isIn) {
  if (HasFailed()) return false;
  for (int k = 0; k < found_.size(); ++k) {
    if (isIn_[k] == isIn[k]) continue;
    isIn_[k] = isIn[k];
    if (isIn[k])
      engine_.RestoreFinding(*found_[k]);
    else
      engine_.ClearFinding(*found_[k]);
  }
  const engine::Status answer = engine_->Check();
  const bool isAnswer = answer == engine::Status::Done || answer == engine::Status::Inconsistent;
  if (engine_->Halts(ENTRIES_OF_A_NODE * engine_.NumNodes()) || !isAnswer)
    status_ = isAnswer ? engine::Status::Halted : answer;
  return answer == engine::Status::Done;
}

bool ConflictSearch::IsPossible(std::uint32_t set) {
  Vector<unsigned char> isIn;
  for (int k = 0; k < found_.size(); ++k) isIn.push_back(set >> k & 1);
  return IsPossible(isIn);
}

// Of findings that no path through ancestors of the rest connects with the node, none bears on it.
Vector<unsigned char> ConflictSearch::WhatMatters() const {
  Vector<unsigned char> matters(found_.size(), 1);
  if (state_ == EVERY_STATE) return matters;
  const CompiledNet& compiled = *node_->innet->compiled;
  const int n = compiled.nodes.size();
  Vector<unsigned char> isAncestor(n, 0), isJoined(n, 0);
  Vector<int> open;
  const auto add = [&open](Vector<unsigned char>& marks, int i) {
    if (marks[i]) return;
    marks[i] = 1;
    open.push_back(i);
  };
  const auto take = [&open] {
    const int i = open.back();
    open.pop_back();
    return i;
  };
  for (const bnode* node : found_) add(isAncestor, node->compiledIndex);
  add(isAncestor, node_->compiledIndex);
  while (!open.empty())
    for (int parent : compiled.parents[take()]) add(isAncestor, parent);
  Vector<Vector<int>> children(n);
  for (int i = 0; i < n; ++i)
    for (int parent : compiled.parents[i])
      if (isAncestor[i]) children[parent].push_back(i);
  add(isJoined, node_->compiledIndex);
  while (!open.empty()) {
    const int i = take();
    for (int parent : compiled.parents[i]) add(isJoined, parent);
    for (int child : children[i]) add(isJoined, child);
  }
  for (int k = 0; k < found_.size(); ++k) matters[k] = isJoined[found_[k]->compiledIndex];
  return matters;
}

// Of the findings those, which the engine has.
void ConflictSearch::Keep(const Vector<unsigned char>& isKept) {
  Vector<node_bn> kept;
  for (int k = 0; k < found_.size(); ++k)
    if (isKept[k]) kept.push_back(found_[k]);
  IsPossible(isKept);
  found_ = std::move(kept);
  isIn_.assign(found_.size(), 1);
}

// All of them together rule the state out, none of them does not.
std::uint32_t ConflictSearch::FindSmallest() {
  const std::uint32_t all = (std::uint32_t{1} << found_.size()) - 1;
  Vector<std::uint32_t> toBeHit;
  for (int size = 1; size <= found_.size(); ++size) {
    // The sets of that size, by their numbers (Gosper 1972).
    for (std::uint32_t set = (std::uint32_t{1} << size) - 1; set <= all && !HasFailed();) {
      if (std::all_of(toBeHit.begin(), toBeHit.end(), [set](std::uint32_t other) { return set & other; })) {
        if (!IsPossible(set)) return set;
        std::uint32_t grown = set;
        for (int k = 0; k < found_.size() && !HasFailed(); ++k) {
          const std::uint32_t larger = grown | std::uint32_t{1} << k;
          if (larger != grown && IsPossible(larger)) grown = larger;
        }
        toBeHit.push_back(all & ~grown);
      }
      const std::uint32_t lowest = set & -set, ripple = set + lowest;
      set = (((set ^ ripple) >> 2) / lowest) | ripple;
    }
  }
  return all;
}

void ConflictSearch::DropWhatCanBeSpared(Vector<unsigned char>* isIn) {
  for (unsigned char& in : *isIn) {
    in = 0;
    if (IsPossible(*isIn)) in = 1;
    if (HasFailed()) return;
  }
}

engine::Status ConflictSearch::Search(Conflict* answer, Vector<node_bn>* findings) {
  *answer = Conflict::Found;
  findings->clear();
  for (const bnode* node : found_) engine_.ClearFinding(*node);
  isIn_.assign(found_.size(), 0);
  if (state_ != EVERY_STATE) engine_.SetState(*node_, state_);
  if (!IsPossible(isIn_)) return status_;  // by itself
  const bool isOther = node_->evidence != UNDEF_STATE && node_->evidence != state_;
  if (state_ != EVERY_STATE && (isOther || (node_->likelihood && node_->likelihood[state_] == 0))) {
    findings->push_back(node_);
    return status_;
  }
  Vector<unsigned char> isIn(found_.size(), 1);
  if (IsPossible(isIn)) {
    *answer = Conflict::NotThere;
    return status_;
  }
  if (found_.size() > FEW) {
    isIn = WhatMatters();
    // What has nothing to do with the node may contradict itself.
    if (IsPossible(isIn)) isIn.assign(found_.size(), 1);
    Keep(isIn);
    isIn.assign(found_.size(), 1);
  }
  if (found_.size() > FEW) {
    DropWhatCanBeSpared(&isIn);
  } else {
    const std::uint32_t set = FindSmallest();
    for (int k = 0; k < found_.size(); ++k) isIn[k] = set >> k & 1;
  }
  for (int k = 0; k < found_.size(); ++k)
    if (isIn[k]) findings->push_back(found_[k]);
  return status_;
}

}  // namespace

Conflict FindConflict(node_bn node, statetype state, Vector<node_bn>* findings) {
  net_bn net = node->innet;
  if (!CheckCompiled(*net) || !CheckHaveBeliefs(std::span(&node, 1))) return Conflict::Failed;
  Conflict answer = Conflict::Failed;
  ConflictSearch search(net, node, state);
  return search.Ask(&answer, findings) ? answer : Conflict::Failed;
}

}  // namespace bravic
