// WebAssembly has nets as texts alone: there are no files that every host could give it.
#if defined(__wasi__)

#include "formats/Files.h"

namespace formats {

bool ReadFile(const std::string&, std::string*, Problems* problems) {
  problems->Add(CANT_READ_FILE, 0, {"there are no files here"});
  return false;
}

bool WriteFile(const std::string&, std::string_view, Problems* problems) {
  problems->Add(CANT_WRITE_FILE, 0, {"there are no files here"});
  return false;
}

}  // namespace formats

#endif
