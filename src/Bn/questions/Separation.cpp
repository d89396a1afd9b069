// Separation is decided by Shachter's "Bayes ball" (1998), which goes along each link at most once in either direction.
// A placeholder stands for nothing that is known of, and passes nothing on.
#include "Bn/questions/Separation.h"

#include "Bn/model/Members.h"
#include "Bn/model/NodeOrder.h"

namespace bravic {
namespace {

class Ball {
 public:
  Ball(net_bn net, const nodelist_rec& given) : marks_(PresentNodes(net).num, 0) {
    for (const bnode* node : Entries(given)) marks_[node->index] |= KNOWN;
  }

  void StartAt(node_bn node) {
    if (!(marks_[node->index] & KNOWN)) Reach(node, FROM_CHILD);
  }
  // From where it was started to wherever it gets. From a child it goes on to parents and children, from a parent to
  // children; a node that is known sends back to its parents what comes from one of them.
  void Roll() {
    while (!arrivals_.empty()) {
      const auto [node, from] = arrivals_.back();
      arrivals_.pop_back();
      const bool isKnown = marks_[node->index] & KNOWN;
      if (from == (isKnown ? FROM_PARENT : FROM_CHILD))
        for (node_bn parent : Entries(node->preds)) Reach(parent, FROM_CHILD);
      if (!isKnown)
        for (node_bn child : Entries(node->succs)) Reach(child, FROM_PARENT);
    }
  }
  // What is known depends on nothing any more.
  bool HasReached(const bnode& node) const {
    const unsigned mark = marks_[node.index];
    return !(mark & KNOWN) && (mark & (FROM_CHILD | FROM_PARENT));
  }

 private:
  enum Mark : unsigned char { KNOWN = 1, FROM_CHILD = 2, FROM_PARENT = 4 };
  struct Arrival {
    node_bn node;
    Mark from;
  };

  void Reach(node_bn node, Mark from) {
    if (IsStub(*node) || marks_[node->index] & from) return;
    marks_[node->index] |= from;
    arrivals_.push_back({node, from});
  }

  Vector<unsigned char> marks_;  // [node] by its place in the net
  Vector<Arrival> arrivals_;
};

}  // namespace

bool AreSeparated(net_bn net, const nodelist_rec& some, const nodelist_rec& others, const nodelist_rec& given) {
  if (!net) return true;
  Ball ball(net, given);
  for (node_bn node : Entries(some)) ball.StartAt(node);
  ball.Roll();
  for (const bnode* node : Entries(others))
    if (ball.HasReached(*node)) return false;
  return true;
}

nodelist_bn MarkovBlanket(const bnode& node) {
  Vector<node_bn> blanket;
  const int mark = NewMark();
  const auto add = [&](node_bn other) {
    if (other == &node || IsStub(*other) || other->mark == mark) return;
    other->mark = mark;
    blanket.push_back(other);
  };
  for (node_bn parent : Entries(node.preds)) add(parent);
  for (node_bn child : Entries(node.succs)) add(child);
  for (const bnode* child : Entries(node.succs))
    for (node_bn parent : Entries(child->preds)) add(parent);
  return NewListOf(blanket);
}

}  // namespace bravic
