#include "Bn/model/SharedAnswers.h"

#include <algorithm>
#include <utility>

#include "Basic/Memory.h"

namespace bravic {
namespace {

struct SharedVector {
  SharedVector* older;
  int length;
  float* values() { return reinterpret_cast<float*>(this + 1); }
};
SharedVector* sharedOnes = nullptr;
SharedVector* sharedOneThenZeros = nullptr;
constexpr int MIN_SHARED = 20;

// Older vectors stay, since hosts may hold them.
const float* SharedAnswer(SharedVector*& newest, int numstates, float rest) {
  if (!newest || newest->length < numstates) {
    const int length = newest ? std::max(numstates, newest->length > (1 << 28) ? 0 : newest->length * 3)
                              : std::max(numstates, MIN_SHARED);
    auto* vector = static_cast<SharedVector*>(Allocate(sizeof(SharedVector) + length * sizeof(float)));
    *vector = {newest, length};
    std::fill_n(vector->values(), length, rest);
    vector->values()[0] = 1;
    newest = vector;
  }
  return newest->values();
}

void FreeShared(SharedVector*& newest) {
  while (newest) Free(std::exchange(newest, newest->older));
}

}  // namespace

const float* SharedOnes(int numstates) {
  return SharedAnswer(sharedOnes, numstates, 1);
}

const float* SharedOneThenZeros(int numstates) {
  return SharedAnswer(sharedOneThenZeros, numstates, 0);
}

void FreeSharedAnswers() {
  FreeShared(sharedOnes);
  FreeShared(sharedOneThenZeros);
}

}  // namespace bravic
