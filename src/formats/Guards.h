// What the core is asked of and to put back: settings, records, and nets that did not become whole.
#pragma once

#include <memory>

#include "bravic.h"
#include "formats/ErrorRows.h"

namespace formats {

inline constexpr int NO_FINDING = -8;  // of GetNodeFinding_bn

struct FreeNet {
  void operator()(net_bn net) const { FreeNet_bn(net); }
};
using FreedNet = std::unique_ptr<bnet, FreeNet>;

// Whether errors were recorded since this was made.
class ErrorsSince {
 public:
  explicit ErrorsSince(environ_ns env) : env_(env) {
    while (report_ns next = GetError_ns(env, 0, last_)) last_ = next;
  }
  // All records are walked through: of one that is below the danger asked for, the list would not go on.
  bool Any() const {
    report_ns report = last_;
    while ((report = GetError_ns(env_, 0, report)) != nullptr) {
      if (ErrorDanger_ns(report) >= ERROR_ERR) return true;
    }
    return false;
  }

 private:
  environ_ns env_;
  report_ns last_ = nullptr;
};

// Records nothing for undo while a net is built: it is new, and what is written down for each change would be thrown
// away. The depth is that of all nets alike, and is put back.
class NoUndo {
 public:
  explicit NoUndo(net_bn net) : net_(net), depth_(SetUndoDepth_bn(0, net)) {}
  ~NoUndo() {
    if (depth_ > 0) SetUndoDepth_bn(depth_, net_);
  }
  NoUndo(const NoUndo&) = delete;
  NoUndo& operator=(const NoUndo&) = delete;

 private:
  net_bn net_;
  int depth_;
};

}  // namespace formats
