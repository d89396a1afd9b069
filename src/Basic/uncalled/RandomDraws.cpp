#include "Basic/uncalled/RandomDraws.h"

#include <cmath>
#include <cstring>
#include <utility>

#include "Basic/Errors.h"
#include "Basic/Memory.h"
#include "Basic/Random.h"

namespace bravic {
namespace {

constexpr int PRODUCT_FITS_BELOW = 3000, INTEGER_DRAWS_BELOW = 32767;

template <class T>
void Subset(T* array, int length, int subsetSize) {
  if (!BRAVIC_ASSERT_TEXT(0 <= subsetSize && subsetSize <= length, "0 <= subsetsize && subsetsize <= len")) return;
  for (int i = 0; i < subsetSize; ++i) std::swap(array[i], array[i + UniformBelow(length - i)]);
}

}  // namespace

int UniformBelow(int n) {
  if (n < INTEGER_DRAWS_BELOW) return UniformBelowByInteger(n);
  return static_cast<int>(static_cast<double>(DrawReal()) * n);
}

int UniformBelowByInteger(int n) {
  if (n < PRODUCT_FITS_BELOW) return DrawInteger() * n / NUM_INTEGER_DRAWS;
  return static_cast<int>(static_cast<double>(DrawInteger()) * n / NUM_INTEGER_DRAWS);
}

double DrawExponential() {
  return -std::log(static_cast<double>(DrawReal()));
}

void RandomSubset(int* array, int length, int subsetSize) {
  Subset(array, length, subsetSize);
}

void RandomSubset(void** array, int length, int subsetSize) {
  Subset(array, length, subsetSize);
}

char* RandomPattern(int length, int numOnes, char* buffer) {
  if (!BRAVIC_ASSERT_TEXT(0 <= numOnes && numOnes <= length, "0 <= numones && numones <= len")) return nullptr;
  if (!buffer) buffer = static_cast<char*>(Allocate(length));
  const bool mostlyOnes = numOnes >= length / 2;
  std::memset(buffer, mostlyOnes, length);
  int numExchanges = mostlyOnes ? length - numOnes : numOnes;
  if (!BRAVIC_ASSERT_TEXT(0 <= numExchanges && numExchanges <= length, "0 <= numexchgs && numexchgs <= len")) {
    return buffer;
  }
  while (numExchanges > 0) {
    char& entry = buffer[UniformBelow(length)];
    if (entry != static_cast<char>(mostlyOnes)) continue;
    entry = static_cast<char>(!mostlyOnes);
    --numExchanges;
  }
  return buffer;
}

}  // namespace bravic
