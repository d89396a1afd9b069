#include "Basic/Environ.h"

#include "Basic/ErrorTable.h"

namespace bravic {

environ_ns currentEnviron = nullptr;
const char* currentFunction = nullptr;
int checkingLevel = CHECK_LISTS;

}  // namespace bravic
