// Files, read whole and written whole.
#pragma once

#include <string>
#include <string_view>

#include "formats/Problems.h"

namespace formats {

// Reads all there is in a file, a device or a pipe.
bool ReadFile(const std::string& path, std::string* text, Problems* problems);

// Puts the text into the file. A regular file is replaced when all is written, behind symbolic links and with its
// permissions, and stays as it was on failure; devices and pipes are written to.
bool WriteFile(const std::string& path, std::string_view text, Problems* problems);

}  // namespace formats
