// What others need to know of UAI files: findings, and whether a net loses names in them.
#pragma once

#include <string>
#include <vector>

#include "formats/Description.h"
#include "formats/Problems.h"

namespace formats {

// Whether nodes and states are called as those that are read from such a file.
bool HasUaiNames(const NetDescription& net);

struct UaiFinding {
  int variable, state, line;
};
using UaiCase = std::vector<UaiFinding>;

std::vector<UaiCase> ReadUaiFindings(const std::string& text, Problems* problems);

}  // namespace formats
