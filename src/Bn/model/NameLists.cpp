#include "Bn/model/NameLists.h"

#include "Basic/Format.h"
#include "Basic/Memory.h"
#include "Basic/Text.h"

namespace bravic {

const char* NameAt(const char* const* names, int i) {
  return names ? OrEmpty(names[i]) : "";
}

bool HasAnyName(const char* const* names, int num) {
  for (int i = 0; names && i < num; ++i) {
    if (!IsEmptyName(names[i])) return true;
  }
  return false;
}

bool SameNames(const char* const* a, const char* const* b, int num) {
  for (int i = 0; i < num; ++i) {
    if (!EqualText(NameAt(a, i), NameAt(b, i))) return false;
  }
  return true;
}

char** DupNames(const char* const* names, int num) {
  if (!names) return nullptr;
  auto** copy = static_cast<char**>(AllocateCleared(num, sizeof(char*)));
  for (int i = 0; i < num; ++i) copy[i] = DupText(names[i]);
  return copy;
}

char** DupAnyNames(const char* const* names, int num) {
  if (!HasAnyName(names, num)) return nullptr;
  auto** copy = static_cast<char**>(AllocateCleared(num, sizeof(char*)));
  for (int i = 0; i < num; ++i) copy[i] = IsEmptyName(names[i]) ? nullptr : DupText(names[i]);
  return copy;
}

void FreeNames(char** names) {
  if (!names) return;
  const auto num = BlockSize(names) / sizeof(char*);
  for (std::size_t i = 0; i < num; ++i) Free(names[i]);
  Free(names);
}

bool FitNames(const char* const* names, int num, char* reason) {
  for (int i = 0; names && i < num; ++i) {
    if (IsEmptyName(names[i])) continue;
    if (CheckNameText(names[i], reason)) return false;
    for (int k = 0; k < i; ++k) {
      if (!EqualText(names[i], OrEmpty(names[k]))) continue;
      FormatText(reason, NAME_REASON_LEN, "'%.30s' is used twice (by %d and %d)", names[i], k, i);
      return false;
    }
  }
  return true;
}

}  // namespace bravic
