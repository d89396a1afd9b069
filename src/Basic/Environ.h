// The environment record and the library-wide state of the call frame. Declared low so that every layer can
// read its settings; filled by src/Bravic.
#pragma once

#include "Basic/TypedObject.h"
#include "bravic.h"

namespace bravic {

inline constexpr int STAGE_CREATED = 0, STAGE_TYPES = 10, STAGE_SYSTEM = 20, STAGE_MEMORY = 30, STAGE_STARTED = 40;
inline constexpr int CHECK_NOTHING = 23, CHECK_BASIC = 24, CHECK_LISTS = 25, CHECK_DEEP = 26;
inline constexpr char PRODUCT_NAME[] = "Bravic";

}  // namespace bravic

struct environ_rec {
  bravic::TagWord tag;
  int stage;      // STAGE_... reached by start-up
  int hasFileIO;  // tri-states: -1 undetermined, 0, 1
  int hasUserInteraction;
  int hasGUI;  // 0 always
  int hasUserInterpreter;
  report_ns errs;          // the main group, owned
  report_ns currentGroup;  // where new records are posted; shared, not owned
  int repetitionMode;      // 1, 2 or 3; see Errors.h
  int errorLabel;          // label of the next error record
  bool closed;             // by CloseBravic_bn; the record is not used again until it is created anew
  long memoryLimit;        // kilobytes, as the host said; 0: none
  const char* whoChanged;  // given to new nodes by reference; NULL unless something sets it
};

namespace bravic {

extern environ_ns currentEnviron;    // NULL before the first validation and after close
extern const char* currentFunction;  // exported function now running, or NULL
extern int checkingLevel;            // 23 .. 26

}  // namespace bravic
