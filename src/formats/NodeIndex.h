// Nodes of a description by their names as spelled; of doubled ones the first.
#pragma once

#include <string>
#include <unordered_map>

#include "formats/Description.h"

namespace formats {

class NodeIndex {
 public:
  NodeIndex() = default;
  explicit NodeIndex(const NetDescription& net) {
    for (const NodeDescription& node : net.nodes) Add(node.name.text);
  }
  // For the next node; answers false where the name is there already.
  bool Add(const std::string& name) { return numbers_.try_emplace(name, numAdded_++).second; }
  // -1 where there is none.
  int Find(const std::string& name) const {
    const auto it = numbers_.find(name);
    return it == numbers_.end() ? -1 : it->second;
  }

 private:
  std::unordered_map<std::string, int> numbers_;
  int numAdded_ = 0;
};

}  // namespace formats
