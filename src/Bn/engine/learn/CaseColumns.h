// A data set for learning, held by columns: a node's states in all cases one behind the other, in as few bytes as its
// number of states takes. Cases may bear weights; they are held as whole numbers of a unit that is a power of two, so
// that counts are exact and the same in whatever order, and by however many threads, the cases are counted.
#pragma once

#include <cstdint>
#include <span>

#include "Basic/Memory.h"

namespace bravic::engine {

// Cases as hosts have them. States below 0 are not known.
struct CaseRows {
  const int* states;  // [numCases x width]
  std::ptrdiff_t numCases;
  int width;
  std::span<const int> columns;  // [nodes] of states; less than 0: there is none, all cells are missing
  const double* weights;         // [numCases] finite, 0 or more; or NULL: 1 each
};

class CaseColumns {
 public:
  explicit CaseColumns(std::span<const int> numstates);
  // All at once or in parts; false without memory, and then nothing more may be asked of them. Cases of weight 0 are
  // left out.
  bool Add(const CaseRows& rows);
  // To be called once, after all were added. Equal cases become one with their weight where that makes few of many.
  bool Finish();

  int NumNodes() const { return columns_.size(); }
  int NumStates(int node) const { return columns_[node].numStates; }
  bool HasMissing(int node) const { return columns_[node].numMissing > 0; }
  // No two known cells differ.
  bool IsConstant(int node) const { return columns_[node].isConstant; }
  std::ptrdiff_t NumRows() const { return numRows_; }
  double TotalWeight() const { return static_cast<double>(total_) * unit_; }

  // Rows' weights in units; NULL: 1 each.
  const std::int64_t* Weights() const { return weights_.get(); }
  std::int64_t TotalUnits() const { return total_; }
  double Unit() const { return unit_; }
  // Calls visit with the column as an array of some unsigned type. Missing cells hold the number of states.
  template <class Visit>
  auto With(int node, Visit visit) const {
    const Column& column = columns_[node];
    if (column.bytes == 1) return visit(reinterpret_cast<const std::uint8_t*>(column.cells.get()));
    if (column.bytes == 2) return visit(reinterpret_cast<const std::uint16_t*>(column.cells.get()));
    return visit(reinterpret_cast<const std::uint32_t*>(column.cells.get()));
  }
  int State(int node, std::ptrdiff_t row) const {
    return With(node, [row](const auto* cells) { return static_cast<int>(cells[row]); });
  }

 private:
  struct Column {
    int numStates = 0, bytes = 1;
    std::ptrdiff_t numMissing = 0;
    bool isConstant = false;
    Block<unsigned char> cells;  // [room x bytes]
  };

  bool MakeRoom(std::ptrdiff_t numRows);
  bool SetWeights();
  bool MergeEqual();
  void Hash(std::uint64_t* hashes) const;
  bool AreEqual(std::ptrdiff_t a, std::ptrdiff_t b) const;

  Vector<Column> columns_;
  std::ptrdiff_t numRows_ = 0, room_ = 0;
  bool hasWeights_ = false;
  Block<double> given_;  // [room] weights as they come
  Block<std::int64_t> weights_;
  std::int64_t total_ = 0;
  double unit_ = 1;
};

// counts [configurations of the parents x states]: the weight of the cases in which all of them are known, first parent
// slowest.
void CountFamily(const CaseColumns& cases, int node, std::span<const int> parents, double* counts);

}  // namespace bravic::engine
