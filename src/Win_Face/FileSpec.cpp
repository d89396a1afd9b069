#include "Win_Face/FileSpec.h"

#include <cstring>

#include "Basic/Memory.h"
#include "Basic/Text.h"

namespace bravic {
namespace {

filespec_ns allSpecs = nullptr;

constexpr std::size_t MAX_FILE_NAME = 4095;

}  // namespace

const char* FileNameFault(const char* name) {
  if (!name) return "is missing";
  if (!*name) return "is empty (contains no characters)";
  if (std::strlen(name) > MAX_FILE_NAME) return "is too long";
  return nullptr;
}

filespec_ns NewFileSpec(const char* name) {
  filespec_ns file = NewCleared<filespec_rec>(1);
  file->tag = FILESPEC_TAG;
  file->name = DupText(name);
  file->nextCase = -1;
  file->next = allSpecs;
  file->prev = &allSpecs;
  if (allSpecs) allSpecs->prev = &file->next;
  allSpecs = file;
  return file;
}

void DropKept(filespec_ns file) {
  if (file->kept) file->freeKept(file->kept);
  file->kept = nullptr;
}

void FreeFileSpec(filespec_ns file) {
  if (!file) return;
  DropKept(file);
  *file->prev = file->next;
  if (file->next) file->next->prev = file->prev;
  file->tag = NO_TAG;
  Free(file->name);
  Free(file);
}

void FreeAllFileSpecs() {
  while (allSpecs) FreeFileSpec(allSpecs);
}

}  // namespace bravic
