// Cases of large nets one at a time, each without the variables that are known in it: messages over the tree in
// doubles. A message inward is kept for the next case where nothing behind it is known otherwise; it is the same bits
// then. Cases that follow each other in order of what is known deepest in the tree (SortKey) keep the most.
//
// Nothing is allocated while a case is computed, so that several threads can, each in a room of its own.
#pragma once

#include "Bn/engine/PlainPass.h"
#include "Bn/engine/cases/CaseTree.h"

namespace bravic::engine {

// What has become of a case: its numbers are too small for what they are computed with, or it is possible or not.
enum class CaseFate : unsigned char { POSSIBLE, IMPOSSIBLE, DOUBTFUL };

class SingleCase {
 public:
  explicit SingleCase(const CaseTree& tree);
  // Potentials are made anew.
  void TablesChanged();
  // Makes the potentials, where they are not made yet; false without memory.
  bool Prepare();
  // The columns of a case, those that are entered deepest in the tree first.
  const Vector<int>& SortKey() const { return sortKey_; }
  // Whether no clique has so many tables that its passes allocate: several threads may compute then.
  bool FitsThreads() const { return mostTables_ <= MOST_PLAIN_TABLES; }

  // What one thread computes in.
  class Room {
   public:
    explicit Room(const SingleCase& all);
    bool IsMade() const { return tables_ != nullptr; }

   private:
    friend class SingleCase;
    Block<double> tables_;
    Vector<int> states_;             // [node] FREE, or the state
    Vector<unsigned char> isStale_;  // [clique] its message inward
    Vector<int> low_;                // [separator] no positive entry of its latest message is below 2^this
    Vector<long long> exponent_;     // [separator] the message inward is 2^this times the entries
    bool isFirst_ = true;
    ShapeMaker maker_;
    PassShape shape_;
    Vector<const double*> factors_;
    Vector<PassTarget> targets_;
    Vector<double> sums_;             // [state]
    Vector<unsigned char> isNeeded_;  // [clique] on the way outward
  };
  // states: a case's, by columns. beliefs [states of all targets, tables of all families] or NULL; families that are
  // known whole are left out of it. logProb: of a possible case.
  CaseFate Solve(const int* states, Room* room, float* beliefs, double* logProb) const;

 private:
  struct Potential {
    Block<float> floats;
    Block<double> doubles;  // in place of floats where these lose entries
    int low = 0;            // no positive entry is below 2^this
  };
  // Where tables begin in a room.
  struct Place {
    int message = 0, belief = CaseTree::NOWHERE;
  };

  bool Fill(int clique);
  void EnterStates(const int* states, Room* room) const;
  template <class Visit>
  void ForEachEntry(std::span<const int> variables, const Room& room, Visit visit) const;
  void AddFactor(std::span<const int> variables, const double* table, Room* room) const;
  void AddTarget(std::span<const int> variables, double* table, Room* room) const;
  void BeginPass(int clique, bool isOutward, Room* room, int* low) const;
  void RunPass(int clique, Room* room) const;
  int Scale(int separator, double* table, Room* room) const;
  bool SendInward(int clique, Room* room) const;
  bool VisitOutward(int clique, Room* room, float* beliefs) const;
  bool IsWhole(int family, const Room& room) const;
  void MarkNeeded(Room* room) const;
  void ReadFamily(int family, Room* room, float* beliefs) const;
  void ReadBelief(int target, std::span<const int> variables, const double* table, Room* room, float* beliefs) const;

  const CaseTree& tree_;
  const Structure& structure_;
  Vector<Potential> potentials_;  // [clique]
  int numFilled_ = 0;
  long long exponent_ = 0;          // of their product
  Vector<Place> places_;            // [separator]
  Vector<int> insideAt_;            // [target] its own table, if it has one
  Vector<int> beliefAt_;            // [target] its first belief
  Vector<int> tableAt_, familyAt_;  // [family] its own table, and its first belief
  Vector<Vector<int>> families_;    // [family] variables
  int roomSize_ = 1;                // the first entry is the total
  int mostTables_ = 0, mostStates_ = 1;
  Vector<int> sortKey_;
};

}  // namespace bravic::engine
