// What inference stands on and findings never change: the nodes, the junction tree, and which node is entered, read and
// multiplied in where.
#pragma once

#include <span>

#include "Bn/engine/Tree.h"

namespace bravic::engine {

// Names a message. A separator carries two: from its first clique to its second, and back.
class MessageId {
 public:
  MessageId() = default;
  // From the separator's clique of that number (0 or 1) to the other.
  MessageId(int separator, int sender) : number_(2 * separator + sender) {}
  int Separator() const { return number_ >> 1; }
  int Sender() const { return number_ & 1; }
  int Receiver() const { return 1 - Sender(); }
  // The message against it, from its receiver to its sender.
  MessageId Opposite() const { return MessageId(Separator(), Receiver()); }
  int Number() const { return number_; }  // from 0, without gaps
  bool operator==(const MessageId&) const = default;

 private:
  int number_ = -1;
};

// One clique's end of a separator.
struct Link {
  int neighbour, separator;
  MessageId in, out;
  int back = -1;              // the other end's place among the neighbour's links
  bool tellsOfHomed = false;  // a node whose table is multiplied in here is in the separator
};

// Variables are nodes of two states or more; nodes of one state are left out of tables.
struct CliqueFacts {
  Vector<int> variables;  // first varies slowest in the potential
  Vector<Link> links;
  Vector<int> homed;    // nodes whose tables are multiplied in here
  Vector<int> entered;  // nodes whose findings are entered here
  Vector<int> lone;     // variables of no other clique
};

struct SeparatorFacts {
  Vector<int> variables;  // first varies slowest in both messages
  Vector<int> read;       // nodes whose beliefs are read here
};

struct Structure {
  // The tree and the parents must outlive it.
  Structure(const JunctionTree& tree, std::span<const int> numstates, std::span<const Vector<int>> parents);

  int NumNodes() const { return numstates.size(); }
  // The clique that the message goes to.
  int ReceiverOf(MessageId message) const { return tree->separators[message.Separator()].cliques[message.Receiver()]; }
  std::span<const int> VariablesOf(MessageId message) const { return separators[message.Separator()].variables; }
  bool IsInClique(int node, int clique) const;
  // The number of entries of the node's table, which is in memory.
  int TableSize(int node) const;
  // The cliques from one to another, both included.
  void FindPath(int from, int to, Vector<int>* path) const;

  const JunctionTree* tree;              // not owned
  std::span<const Vector<int>> parents;  // [node] not owned
  Vector<int> numstates;
  Vector<Vector<int>> children, families;       // [node]; a family: the parents in their order, then the node
  Vector<CliqueFacts> cliques;                  // as in the tree
  Vector<SeparatorFacts> separators;            // as in the tree
  Vector<int> entry;                            // [node] smallest clique that holds it
  Vector<int> readAt;                           // [node] smallest separator that holds it, or -1
  Vector<Vector<int>> cliquesOf, separatorsOf;  // [node]
  Vector<int> parentClique, depth;              // [clique] with the first clique as root
  int smallestClique = 0;

 private:
  void AddCliques();
  void JoinLinks();
  void AddSeparators();
  void PlaceNodes();
  void RootTree();
  Vector<int> VariablesAmong(std::span<const int> members) const;
};

}  // namespace bravic::engine
