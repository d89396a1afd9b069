// File specifications.
#include "Bravic/ApiCall.h"
#include "Win_Face/FileSpec.h"

using namespace bravic;

filespec_ns BRAVIC_CALL FileNamed_ns(const char* name, environ_ns env) {
  ApiCall call("FileNamed_ns");
  if (!call.HasReserve()) return nullptr;
  if (const char* fault = FileNameFault(name)) {
    Report(BAD_FILE_NAME, fault);
    return nullptr;
  }
  if (!call.CheckEnviron(env)) return nullptr;
  return NewFileSpec(name);
}

void BRAVIC_CALL FreeFileSpec_ns(filespec_ns file) {
  ApiCall call("FreeFileSpec_ns");
  if (file && call.CheckFile(file)) FreeFileSpec(file);
}
