// Random changes of a net, each one call, of the interface or of those that only the library itself offers; some are
// refused.
#pragma once

#include <functional>

#include "support/nets.h"

namespace bravic::testing {

class Changes {
 public:
  // Picks the nodes, rows and values that all the changes are about, and what they need. The net has nodes.
  Changes(const Net& net, Random& random, const std::string& caseFile, environ_ns env);
  ~Changes();
  Changes(const Changes&) = delete;
  Changes& operator=(const Changes&) = delete;

  int NumKinds() const { return int(kinds_.size()); }
  const char* Name(int kind) const { return kinds_[std::size_t(kind)].first; }
  // One that a failure leaves as far as it got; all of it is one step back.
  static bool IsGradual(int kind) { return kind < NUM_GRADUAL; }
  // One that is no change when it is made again.
  bool IsSetting(int kind) const { return kind >= NumKinds() - NUM_SETTINGS; }
  void Make(int kind) const { kinds_[std::size_t(kind)].second(); }

 private:
  static constexpr int NUM_GRADUAL = 4, NUM_SETTINGS = 21;

  nodelist_bn list_, one_;
  filespec_ns cases_;
  std::vector<std::pair<const char*, std::function<void()>>> kinds_;
};

}  // namespace bravic::testing
