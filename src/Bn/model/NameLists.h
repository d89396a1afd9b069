// Arrays of names: of a node's states, of its links. Entries may be NULL or empty, which is the same; so may the whole
// array, where no entry has a name.
#pragma once

namespace bravic {

inline bool IsEmptyName(const char* name) {
  return !name || !*name;
}
const char* NameAt(const char* const* names, int i);  // "" where there is none
bool HasAnyName(const char* const* names, int num);
bool SameNames(const char* const* a, const char* const* b, int num);
char** DupNames(const char* const* names, int num);     // entry by entry; NULL gives NULL
char** DupAnyNames(const char* const* names, int num);  // the same, but NULL where no entry has a name
void FreeNames(char** names);                           // the block and all its entries
// Whether the names are legal and different; the reason of the first fault goes into the buffer (of NAME_REASON_LEN).
bool FitNames(const char* const* names, int num, char* reason);

}  // namespace bravic
