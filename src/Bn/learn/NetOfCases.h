// A net made of a case file: a node for each of its columns, whose states are the entries that occur there.
#pragma once

#include <span>

#include "Bn/model/Records.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

inline constexpr int MOST_STATES_OF_COLUMN = 1000;  // unless a host says otherwise

struct NetOfCases {
  int maxstates = MOST_STATES_OF_COLUMN;
  std::span<const char*const> omitted, numbers;  // names of columns
};
// NULL with a failure posted.
net_bn NewNetOfCases(filespec_ns file, const char* name, const NetOfCases& how);

}  // namespace bravic
