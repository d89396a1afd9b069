// The states that pick the rows of a table, one row after the other; the last parent's run fastest.
#pragma once

#include <utility>
#include <vector>

#include "bravic.h"

namespace formats {

class RowStates {
 public:
  // counts: the parents' numbers of states.
  explicit RowStates(std::vector<int> counts) : counts_(std::move(counts)), states_(counts_.size() + 1, 0) {}
  const statetype* Get() const { return states_.data(); }
  // After the last row comes the first.
  void Next() {
    for (int i = static_cast<int>(counts_.size()) - 1; i >= 0; --i) {
      if (++states_[i] < counts_[i]) return;
      states_[i] = 0;
    }
  }

 private:
  std::vector<int> counts_;
  std::vector<statetype> states_;
};

}  // namespace formats
