// Without a caller in the library: plain arrays whose length the owner holds and whose room the allocator knows:
// appending, searching sorted arrays, sorting, and maps of values.
#pragma once

#include <cstddef>
#include <type_traits>

#include "Basic/Errors.h"
#include "Basic/Memory.h"

namespace bravic {

inline constexpr int ARRAY_CHUNK = 32;

// Appends. An array may be NULL only while its length is 0.
template <class T>
void AppendIntoRoom(T* array, int* length, T value) {  // the caller guarantees the room
  array[(*length)++] = value;
}

template <class T>
void AppendGrowing(T** array, int* length, T value, std::size_t growth) {
  static_assert(std::is_trivially_copyable_v<T>);
  if (!BRAVIC_ASSERT_TEXT(*array || *length == 0, "*arrvar || *lenvar==0")) return;
  if (BlockSize(*array) / sizeof(T) < static_cast<std::size_t>(*length) + 1) {
    *array = static_cast<T*>(Resize(*array, (*length + growth) * sizeof(T)));
  }
  AppendIntoRoom(*array, length, value);
}
template <class T>
void AppendExact(T** array, int* length, T value) {
  AppendGrowing(array, length, value, 1);
}
template <class T>
void AppendBy32(T** array, int* length, T value) {
  AppendGrowing(array, length, value, ARRAY_CHUNK);
}

// For arrays made by this function alone: the room follows from the length.
template <class T>
void AppendChunked(T** array, int* length, T value) {
  static_assert(std::is_trivially_copyable_v<T>);
  if (!BRAVIC_ASSERT_TEXT(*array || *length == 0, "*arrvar || *lenvar==0")) return;
  if (*length % ARRAY_CHUNK == 0) {
    *array = static_cast<T*>(Resize(*array, (*length + ARRAY_CHUNK) * sizeof(T)));
  }
  AppendIntoRoom(*array, length, value);
}

template <class T>
void AppendIfAbsent(T* array, int* length, T value) {
  if (!BRAVIC_ASSERT_TEXT(array || *length == 0, "arr || *lenvar==0")) return;
  for (int i = 0; i < *length; ++i) {
    if (array[i] == value) return;
  }
  AppendIntoRoom(array, length, value);
}

// The index of the last element not greater than x in an ascending array, -1 when there is none. Of a run of equal
// values it may be any one.
int SearchSorted(const int* array, int length, int x);
int SearchSorted(const float* array, int length, float x);
int SearchSorted(const double* array, int length, double x);
// In a descending array: the last element not less than x.
int SearchSortedDown(const double* array, int length, double x);
// The element of an ascending array nearest to x, the lower one of two; the array has at least one.
int SearchNearest(const double* array, int length, double x);

using Compare = int (*)(const void* a, const void* b);
using Swap = void (*)(void* a, void* b, std::size_t size);
// Sorts in place, without recursion; not stable. Without a swap, one is chosen by the element's size.
void Sort(void* array, int length, std::size_t elementSize, Compare compare, Swap swap = nullptr);

// A stable counting sort of pointers by their ranks, 0 .. maxRank, into another array.
using Rank = int (*)(const void* element);
void RankSort(void* const* source, int length, void** destination, Rank rank, int maxRank);

// x's counterpart: to[i] for from[i]. x itself when it is absent or there is no map.
struct ValueMap {
  const int* from;  // [length], owned by whoever made the map; likewise to
  const int* to;
  int length;
};
int MapForward(const ValueMap* map, int x);
int MapBackward(const ValueMap* map, int x);

}  // namespace bravic
