// A host that halts a long operation.
#pragma once

#include "bravic.h"

namespace bravic::testing {

// A progress callback. operation: the first letter of the one that is halted once half of it is done.
inline int BRAVIC_CALL HaltHalfway(void* operation, const char* what, double done, double) {
  return what[0] == *static_cast<const char*>(operation) && done > 0.5;
}

}  // namespace bravic::testing
