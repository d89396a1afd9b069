// Vectors that failing calls answer: read-only, shared by all, alive until the library closes, since hosts may hold
// them.
#pragma once

namespace bravic {

// At least numstates long.
const float* SharedOnes(int numstates);
const float* SharedOneThenZeros(int numstates);
void FreeSharedAnswers();

}  // namespace bravic
