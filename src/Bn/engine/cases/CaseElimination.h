// Cases of large nets of which much is known: what is left of the net is a different one for every set of known nodes,
// and often falls apart into small pieces. Its variables are eliminated one by one in an order found for that set, and
// beliefs are read on the way back (bucket elimination, Dechter 1999). What is below everything that is known or asked
// for is left out.
//
// Whether a case is computed so, and in which order, depends on which nodes are known in it alone, so that the answers
// do not depend on other cases. Nothing is allocated while one is computed.
#pragma once

#include "Bn/engine/Numbers.h"
#include "Bn/engine/cases/FreeOrder.h"
#include "Bn/engine/cases/SingleCase.h"

namespace bravic::engine {

class CaseElimination {
 public:
  // takesAll: whatever fits, however cheap the tree is.
  explicit CaseElimination(const CaseTree& tree, bool takesAll = false);
  // Makes the tables, where they are not made yet; false without memory.
  bool Prepare();

  // What one thread computes in.
  class Room {
   public:
    explicit Room(const CaseElimination& all);
    bool IsMade() const { return tables_ != nullptr; }

   private:
    friend class CaseElimination;
    // What belongs to a bucket. Lists of nodes and buckets end with NONE.
    struct Step {
      int firstNode = NONE, firstChild = NONE, nextChild = NONE;
      int message = 0, belief = 0;  // tables over the others, inward and outward,
      int own = 0, gathered = 0;    //   and over the variable: its belief, the messages about it alone multiplied
      int numTables = 0;
      bool isVisited = false;  // on the way back
      bool gathers = false;    // some messages are about its variable alone
      int low = 0;             // no positive entry of its latest message is below 2^this
      int lowOfGathered = 0;   //   and of those that are multiplied
      int exponent = 0;        // the message inward is 2^this times the entries
      int exponentOfGathered = 0;
    };

    Block<double> tables_;
    FreeOrder order_;
    Vector<int> states_;             // [node] FREE, or the state
    Vector<unsigned char> isKnown_;  // [node] in the cases that the order is for
    bool hasPattern_ = false, suits_ = false;
    Vector<unsigned char> matters_;  // [node]
    Vector<Step> steps_;             // [bucket]
    Vector<int> nextNode_;           // [node] in the same bucket
    Vector<int> constant_;           // nodes whose tables have no free variable
    Vector<int> members_;            // variables at hand
    ShapeMaker maker_;
    PassShape shape_;
    Vector<const double*> factors_;
    Vector<PassTarget> targets_;
  };
  // Whether the case is to be computed in this way; the room is ready for it then.
  bool Suits(const int* states, Room* room) const;
  // The case. beliefs [states of all targets] or NULL. logProb: of a possible case.
  CaseFate Solve(Room* room, float* beliefs, double* logProb) const;

 private:
  static constexpr int NONE = -1;
  struct Table {
    std::ptrdiff_t first = NONE;  // of its entries, or NONE without a table
    int low = 0;                  // no positive entry is below 2^this
  };
  using Step = Room::Step;

  bool EnterStates(const int* states, Room* room) const;
  double CostOverTree(const Room& room) const;
  void FindMattering(Room* room) const;
  bool FindOrder(Room* room) const;
  bool PlaceTables(Room* room) const;
  void MarkVisited(Room* room) const;
  int SizeOf(std::span<const int> variables) const;
  void BeginPass(int bucket, Room* room, int* low) const;
  void AddTable(int node, Room* room) const;
  void AddMessage(std::span<const int> variables, int first, Room* room) const;
  void AddTarget(std::span<const int> variables, int first, Room* room) const;
  void RunPass(Room* room) const;
  int Scale(int first, int size, Room* room, int* low) const;
  CaseFate SendInward(int bucket, Room* room) const;
  bool Gather(const Step& from, int numStates, Step* to, Room* room) const;
  void SendBack(int bucket, Room* room) const;
  bool VisitOutward(int bucket, Room* room, float* beliefs) const;
  ScaledNumber MultiplyConstants(const Room& room) const;
  void ReadKnown(const Room& room, float* beliefs) const;

  const CaseTree& tree_;
  const Structure& structure_;
  const bool takesAll_;
  Vector<Table> tables_;          // [node]
  Block<double> entries_;         // of all tables, rows normalized
  Vector<int> topological_;       // nodes, parents first
  Vector<unsigned char> always_;  // [node] matters whatever is known
  Vector<int> targetOf_;          // [node] the target, or NONE
  Vector<int> beliefAt_;          // [target] its first belief
};

}  // namespace bravic::engine
