// Vectors of probabilities: what may be wrong with one, in flags and in words, and scaling to sum 1.
#pragma once

#include <span>

#include "Bn/model/Records.h"

namespace bravic {

enum VectorFlag : unsigned {
  VECTOR_NEGATIVE = 1,
  VECTOR_MIXED_IMPOSSIBLE = 2,
  VECTOR_SUM_ZERO = 4,
  VECTOR_ABOVE_ONE = 8,
  VECTOR_SUM_NOT_ONE = 16,
  VECTOR_MISSING = 32,
  VECTOR_IMPOSSIBLE = 64
};
// Every entry is looked at; the sum may miss 1 by 2e-6. A NaN counts as negative.
unsigned ValidateVector(std::span<const float> probs);
// The flags that make a vector unfit to be a row (missing and impossible alone are fit).
inline constexpr unsigned VECTOR_FAULTS =
    VECTOR_NEGATIVE | VECTOR_MIXED_IMPOSSIBLE | VECTOR_SUM_ZERO | VECTOR_ABOVE_ONE | VECTOR_SUM_NOT_ONE;
// The phrases of the flags joined; buffer of 320 characters.
const char* VectorFaultText(unsigned flags, bool firstOnly, char* buffer);

enum class RowForm { Fine, Missing, Impossible, ZeroSum };
// Scales a row to sum 1; a row of another form than Fine is left as it is. The sum before (0 unless Fine) is in *sum.
RowForm NormalizeRow(float* row, int numstates, double* sum);

}  // namespace bravic
