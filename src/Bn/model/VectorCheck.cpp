// One walk over a vector finds every fault at once; the words for each are looked up when somebody asks. The sum of
// floats is seldom 1 to the last bit, so its bounds leave room for rounding.
#include "Bn/model/VectorCheck.h"

#include <cstring>

namespace bravic {
namespace {

// The order is that of the faults in a text.
struct Phrase {
  unsigned flag;
  unsigned unless;  // left out when this flag is set as well
  const char* text;
};
constexpr Phrase PHRASES[] = {
    {VECTOR_NEGATIVE, 0, "has a negative probability"},
    {VECTOR_MIXED_IMPOSSIBLE, 0, "some probabilities indicate an impossible condition and some don't"},
    {VECTOR_SUM_ZERO, 0, "sum of probabilities is 0 (and no unspecified probabs)"},
    {VECTOR_ABOVE_ONE, 0, "has a probability greater than 1"},
    {VECTOR_SUM_NOT_ONE, VECTOR_SUM_ZERO, "sum of probabilities isn't 1"},
    {VECTOR_MISSING, 0, "has a missing probability"},
    {VECTOR_IMPOSSIBLE, VECTOR_MIXED_IMPOSSIBLE, "indicates an impossible condition"},
};
constexpr double MAX_SUM = 1.000002, MIN_SUM = 0.999998;

}  // namespace

unsigned ValidateVector(std::span<const float> probs) {
  unsigned flags = 0;
  double sum = 0;
  bool hasProbability = false;
  for (const float p : probs) {
    if (p >= 0) {
      sum += p;
      hasProbability = true;
      if (p > 1) flags |= VECTOR_ABOVE_ONE;
    } else if (p == IMPOS_PROB) {
      flags |= VECTOR_IMPOSSIBLE;
    } else if (p == UNDEF_PROB) {
      flags |= VECTOR_MISSING;
    } else {
      flags |= VECTOR_NEGATIVE;
    }
  }
  if (flags & VECTOR_IMPOSSIBLE) {
    if (hasProbability) flags |= VECTOR_MIXED_IMPOSSIBLE;
  } else if (sum > MAX_SUM) {
    flags |= VECTOR_SUM_NOT_ONE;
  } else if (sum < MIN_SUM && !(flags & VECTOR_MISSING)) {
    flags |= VECTOR_SUM_NOT_ONE;
    if (sum == 0) flags |= VECTOR_SUM_ZERO;
  }
  return flags;
}

const char* VectorFaultText(unsigned flags, bool firstOnly, char* buffer) {
  char* end = buffer;
  for (const Phrase& phrase : PHRASES) {
    if (!(flags & phrase.flag) || (flags & phrase.unless)) continue;
    if (end != buffer) {
      if (firstOnly) break;
      *end++ = ',';
      *end++ = ' ';
    }
    const std::size_t length = std::strlen(phrase.text);
    std::memcpy(end, phrase.text, length);
    end += length;
  }
  *end = 0;
  return end == buffer ? std::strcpy(buffer, "okay") : buffer;
}

// Summed from the last state to the first, and in double, since other sums end in other bits.
RowForm NormalizeRow(float* row, int numstates, double* sum) {
  *sum = 0;
  double total = 0;
  for (int k = numstates; k-- > 0;) {
    if (row[k] == UNDEF_PROB) return RowForm::Missing;
    if (row[k] == IMPOS_PROB) return RowForm::Impossible;
    total += row[k];
  }
  if (total == 0) return RowForm::ZeroSum;
  *sum = total;
  const double scale = 1.0 / total;
  for (int k = 0; k < numstates; ++k) row[k] = static_cast<float>(row[k] * scale);
  return RowForm::Fine;
}

}  // namespace bravic
