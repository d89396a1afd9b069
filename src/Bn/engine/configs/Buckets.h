// Bucket elimination (Dechter 1999): variables leave the product of the tables one after the other, by a sum or by the
// largest entry. The tables that hold a maximized variable when it is its turn (its bucket) are kept, so that
// configurations can be followed back from the last variable to the first.
//
// Numbers are doubles where the tables show that no product can leave their range, else of unlimited range.
#pragma once

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/configs/BucketOrder.h"

namespace bravic::engine {

template <class Number>
class Buckets {
 public:
  // Both must outlive it.
  Buckets(const ConfigQuestion& question, const BucketOrder& order);
  // The tables of the nodes that matter (all for an empty span), then every step. Done; Inconsistent where the product
  // is 0 throughout; NoMemory; Halted; Vanished where doubles are not enough.
  Status Run(std::span<const unsigned char> matters, Interrupt* interrupt);
  // Of the best configuration of what is maximized.
  WideNumber Largest() const { return largest_; }
  // The product over the bucket at that place of the order for each state of its variable, [states]; only their
  // proportions count. states [node] of those that are eliminated later.
  void Values(int place, std::span<const int> states, Vector<Number>* values) const;

 private:
  struct Table {
    Vector<int> variables, strides;  // the first eliminated last, and fastest
    Block<Number> entries;
    int size = 1;
    int low = 0;  // no positive entry is below 2^low; of doubles
  };
  Status AddTables(int node);
  Status AddNodeTable(int node);
  Status AddWeights(int node);
  Status Add(Owned<Table> table);
  Owned<Table> MakeTable(std::span<const int> variables) const;
  Status Eliminate(int place, Interrupt* interrupt);
  template <int INPUTS>
  void Combine(std::span<const Owned<Table>> inputs, int place, Table* to, Interrupt* interrupt) const;

  const ConfigQuestion& question_;
  const BucketOrder& order_;
  Vector<Vector<Owned<Table>>> buckets_;  // [place] tables, by the first eliminated of their variables
  WideNumber largest_ = ToWide(1);
};

extern template class Buckets<double>;
extern template class Buckets<WideNumber>;

}  // namespace bravic::engine
