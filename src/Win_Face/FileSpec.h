// File specifications: what FileNamed_ns answers. A specification remembers its name and, for case files, the
// offset after the case last read, what its host was warned of, and what was read ahead of the file; it keeps no file
// open.
#pragma once

#include "Basic/Errors.h"
#include "Basic/TypedObject.h"
#include "bravic.h"

struct filespec_rec {
  bravic::TagWord tag;
  char* name;          // owned; as the host gave it
  long long nextCase;  // offset after the case last read, -1 before any
  bool toldColumns;    // that some of a case file's columns are no node's
  bool toldUnknown;    // of a first row with entries that name no state; then numUntold counts them
  long numUntold;
  void* kept;  // owned: what was read of the file (files/KeptReader.h), or NULL
  void (*freeKept)(void* kept);
  filespec_ns next, *prev;  // all specifications, so that close frees what hosts leave
};

namespace bravic {

// Why a name cannot be a file's, to follow "it"; NULL for a name that can.
const char* FileNameFault(const char* name);
filespec_ns NewFileSpec(const char* name);
void FreeFileSpec(filespec_ns file);
void DropKept(filespec_ns file);
void FreeAllFileSpecs();

}  // namespace bravic
