#include "Basic/uncalled/Arrays.h"

#include <cstdint>
#include <cstring>
#include <utility>

namespace bravic {
namespace {

constexpr int SHORT_RUN = 7, MEDIAN_ABOVE = 25, STACK_ROOM = 66;

// The text is the assertion that fails for an array out of order.
template <class T, class Before>
int Search(const T* array, int length, T x, const char* text, Before before) {
  if (length <= 0 || before(x, array[0])) return -1;
  if (!before(x, array[length - 1])) return length - 1;
  int lo = 0, hi = length - 1;
  while (lo < hi - 1) {
    if (!BRAVIC_ASSERT_TEXT(!before(array[hi], array[lo]), text)) return lo;
    const int mid = (lo + hi) >> 1;
    if (before(x, array[mid])) {
      hi = mid;
    } else if (before(array[mid], x)) {
      lo = mid;
    } else {
      if (mid == 0 || array[mid - 1] != x) return mid;
      hi -= 2;  // decides which element of a run of equal ones is found
    }
  }
  return lo;
}

template <class T>
int SearchUp(const T* array, int length, T x) {
  return Search(array, length, x, "arr[lo] <= arr[hi]", [](T a, T b) { return a < b; });
}

template <class T>
void SwapAs(void* a, void* b, std::size_t) {
  T x, y;
  std::memcpy(&x, a, sizeof(T));
  std::memcpy(&y, b, sizeof(T));
  std::memcpy(a, &y, sizeof(T));
  std::memcpy(b, &x, sizeof(T));
}

void SwapBytes(void* a, void* b, std::size_t size) {
  auto *x = static_cast<unsigned char*>(a), *y = static_cast<unsigned char*>(b);
  for (std::size_t i = 0; i < size; ++i) std::swap(x[i], y[i]);
}

struct Sorter {
  std::size_t size;
  Compare compare;
  Swap swap;

  char* At(char* lo, std::size_t i) const { return lo + i * size; }

  char* Pivot(char* lo, char* hi, std::size_t n) const {
    char* middle = At(lo, (n - 1) / 2);
    if (n <= MEDIAN_ABOVE) return middle;
    char* beforeLast = hi - size;
    if (compare(lo, middle) >= 0) {
      if (compare(beforeLast, middle) < 0) return middle;
      return compare(beforeLast, lo) < 0 ? beforeLast : lo;
    }
    if (compare(beforeLast, middle) > 0) return middle;
    return compare(beforeLast, lo) > 0 ? beforeLast : lo;
  }

  // The last element of the lower part; both parts are shorter than the whole.
  char* Partition(char* lo, char* hi, char* pivot) const {
    char *i = lo, *j = hi;
    for (;;) {
      while (compare(j, pivot) > 0) j -= size;
      while (compare(i, pivot) < 0) i += size;
      if (i >= j) return j;
      swap(i, j, size);
      if (pivot == i) {
        pivot = j;
      } else if (pivot == j) {
        pivot = i;
      }
      j -= size;
      i += size;
    }
  }

  void SortShort(char* lo, char* hi) const {
    for (char* p = lo; p < hi; p += size) {
      char* smallest = p;
      for (char* q = p + size; q <= hi; q += size) {
        if (compare(q, smallest) < 0) smallest = q;
      }
      if (smallest != p) swap(p, smallest, size);
    }
  }
};

}  // namespace

int SearchSorted(const int* array, int length, int x) {
  return SearchUp(array, length, x);
}

int SearchSorted(const float* array, int length, float x) {
  return SearchUp(array, length, x);
}

int SearchSorted(const double* array, int length, double x) {
  return SearchUp(array, length, x);
}

int SearchSortedDown(const double* array, int length, double x) {
  return Search(array, length, x, "arr[lo] >= arr[hi]", [](double a, double b) { return a > b; });
}

int SearchNearest(const double* array, int length, double x) {
  if (!BRAVIC_ASSERT_TEXT(length >= 1, "arrsize >= 1")) return -1;
  const int below = SearchSorted(array, length, x);
  if (below < 0) return 0;
  if (below == length - 1) return below;
  return x - array[below] <= array[below + 1] - x ? below : below + 1;
}

void Sort(void* array, int length, std::size_t elementSize, Compare compare, Swap swap) {
  if (!BRAVIC_ASSERT_TEXT((array && array != Naddr()) || length == 0, "(arr && (arr != NADDR)) || len == 0") ||
      !BRAVIC_ASSERT_TEXT(length >= 0, "len >= 0") || !BRAVIC_ASSERT_TEXT(elementSize > 0, "elsize > 0") ||
      !BRAVIC_ASSERT_TEXT(compare != nullptr, "test") || length < 2) {
    return;
  }
  if (!swap) swap = elementSize == 4 ? SwapAs<std::uint32_t> : elementSize == 8 ? SwapAs<std::uint64_t> : SwapBytes;
  const Sorter sorter{elementSize, compare, swap};
  char* stack[STACK_ROOM];
  int sp = 0;
  char* lo = static_cast<char*>(array);
  char* hi = sorter.At(lo, length - 1);
  for (;;) {
    const std::size_t n = hi < lo ? 0 : (hi - lo) / elementSize + 1;
    if (n >= SHORT_RUN) {
      char* j = sorter.Partition(lo, hi, sorter.Pivot(lo, hi, n));
      if (!BRAVIC_ASSERT(sp < STACK_ROOM)) return;
      if (hi - j < j + elementSize - lo) {
        stack[sp++] = lo;
        stack[sp++] = j;
        lo = j + elementSize;
      } else {
        stack[sp++] = j + elementSize;
        stack[sp++] = hi;
        hi = j;
      }
      continue;
    }
    if (n > 1) sorter.SortShort(lo, hi);
    if (!sp) return;
    hi = stack[--sp];
    lo = stack[--sp];
  }
}

void RankSort(void* const* source, int length, void** destination, Rank rank, int maxRank) {
  if (!BRAVIC_ASSERT_TEXT(maxRank >= 0, "maxrank >= 0") ||
      !BRAVIC_ASSERT_TEXT(source != destination || length == 0, "(void **)sarr != (void **)darr || len == 0") ||
      !BRAVIC_ASSERT_TEXT(rank != nullptr, "rank")) {
    return;
  }
  Vector<int> last(maxRank + 1);  // index of the last place that each rank still has free
  for (int i = 0; i < length; ++i) ++last[rank(source[i])];
  --last[0];
  for (int i = 1; i < last.size(); ++i) last[i] += last[i - 1];
  for (int i = length; i-- > 0;) destination[last[rank(source[i])]--] = source[i];
}

int MapForward(const ValueMap* map, int x) {
  if (!map) return x;
  for (int i = 0; i < map->length; ++i) {
    if (map->from[i] == x) return map->to[i];
  }
  return x;
}

int MapBackward(const ValueMap* map, int x) {
  if (!map) return x;
  const ValueMap back{map->to, map->from, map->length};
  return MapForward(&back, x);
}

}  // namespace bravic
