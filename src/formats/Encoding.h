// The bytes of a file as the readers want them: UTF-8 without a mark at its beginning, and line feeds alone.
#pragma once

#include <string>

#include "formats/Problems.h"

namespace formats {

// What is not UTF-8 is Latin-1 where the head says so (an XML head, or comments that begin with "%"), and else with a
// warning.
void MakePlain(std::string* text, Problems* problems);

}  // namespace formats
