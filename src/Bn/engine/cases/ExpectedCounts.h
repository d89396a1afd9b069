// Expected counts of cases with missing cells, the expectation of EM (Dempster, Laird & Rubin 1977; Lauritzen 1995): of
// each case and family whose states are known one entry gets the case's weight; where a member is missing the weight is
// spread over the table by the family's joint belief given the case (ManyCases.h). Equal cases are computed once, with
// their weights added. Each entry is summed in doubles case by case in one order, so that threads, each summing
// families of its own, change no bit.
#pragma once

#include "Bn/engine/cases/ManyCases.h"

namespace bravic::engine {

class ExpectedCounts {
 public:
  // question: its families are those to be counted, it has no targets. states [numCases x observed] and weights
  // [numCases] or NULL must outlive it.
  ExpectedCounts(CaseQuestion question, const int* states, const double* weights, std::ptrdiff_t numCases,
                 CaseWay way = CaseWay::CHEAPEST);

  struct Outcome {
    double logLikelihood = 0;  // of the possible cases
    std::ptrdiff_t numImpossible = 0;
  };
  // sums [entries of all families]: filled. NoMemory, Halted: neither is finished.
  Status Expect(int numThreads, const ProgressFunction& progress, double* sums, Outcome* outcome);
  // Tables are other ones from now on.
  void TablesChanged() { many_.TablesChanged(); }

 private:
  struct Family {
    Vector<int> columns;  // [member] of the cases; HIDDEN; ALONE for one of one state
    Vector<int> sizes;    // [member]
    int first, size;      // its entries
  };
  struct Chunk;
  static constexpr int HIDDEN = -1, ALONE = -2;

  bool GatherKinds(const int* states, const double* weights, std::ptrdiff_t numCases);
  void AddFamily(const Family& family, const Chunk& chunk, double* sums) const;
  int FindEntry(const Family& family, const int* row) const;

  ManyCases many_;
  int width_ = 0, numEntries_ = 0;
  Vector<Family> families_;
  const int* states_;  // [kinds x width], the host's or gathered
  std::ptrdiff_t numKinds_ = 0;
  Block<int> gathered_;
  Block<double> weights_;          // [kinds]
  Block<std::ptrdiff_t> numSame_;  // [kinds] cases
  bool isMade_ = false;
};

}  // namespace bravic::engine
