#include "Basic/Environ.h"

namespace bravic {

environ_ns currentEnviron = nullptr;
const char* currentFunction = nullptr;
int checkingLevel = CHECK_LISTS;

}  // namespace bravic
