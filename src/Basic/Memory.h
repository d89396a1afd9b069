// The counting allocator: every block of the library comes from here. It counts the bytes in live blocks, knows
// the live blocks by address, and keeps an emergency reserve of 200000 bytes that is given back to the heap when
// a request fails and taken again at a later free. Requests that must succeed end the process when even the
// reserve does not help; requests that may fail answer NULL, at once while the reserve is gone.
//
// A host may limit what is held. A request beyond the limit fails as if the heap had refused it, but one that must
// succeed never ends the process for that: it is granted once the reserve is given up, and what may fail fails from
// then on.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace bravic {

// Address checkers see every block where each comes from the heap by itself.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool CUTS_SMALL_BLOCKS = false;
#elif defined(__has_feature)
inline constexpr bool CUTS_SMALL_BLOCKS = !__has_feature(address_sanitizer);
#else
inline constexpr bool CUTS_SMALL_BLOCKS = true;
#endif

inline constexpr std::size_t RESERVE_SIZE = 200000;
inline constexpr std::size_t BLOCK_ALIGNMENT = 8;
inline constexpr int MEMORY_NORMAL = 0, MEMORY_RESIZE_FAILED = -2, MEMORY_LOW = -3999;

// Reserved pointer values beside NULL: "no object" and "undefined name".
extern char noObject, undefinedText;
inline void* Naddr() {
  return &noObject;
}
inline char* UndefPtr() {
  return &undefinedText;
}

// Must succeed. A request for 0 bytes counts as 1. Blocks are aligned to 8 bytes.
void* Allocate(std::size_t nbytes);
void* AllocateCleared(std::size_t count, std::size_t size);
void* Resize(void* block, std::size_t nbytes);  // 0 bytes frees the block and answers NULL
// May fail.
void* TryAllocate(std::size_t nbytes);
void* TryAllocateCleared(std::size_t count, std::size_t size);
void* TryResize(void* block, std::size_t nbytes);  // with the reserve gone: state -2 and the old block
// The block, made at least nbytes long; the discarding forms do not keep the contents.
void* EnsureSize(void* block, std::size_t nbytes);
void* EnsureSizeDiscarding(void* block, std::size_t nbytes);
void* TryEnsureSizeDiscarding(void* block, std::size_t nbytes);  // NULL (old block freed) on failure

void FreeLive(void* block);  // Naddr() does nothing
inline void Free(void* block) {
  if (block) FreeLive(block);
}
std::size_t BlockSize(const void* block);
// Bytes asked for of the block at the address, 1 at least; 0 for any other address, one freed among them.
std::size_t LiveBlockSize(const void* block);
inline bool IsLiveBlock(const void* block) {
  return LiveBlockSize(block) > 0;
}

std::size_t MemoryUsed();
extern void* memoryReserve;  // NULL while it is gone; read through HasReserve
inline bool HasReserve() {
  return memoryReserve != nullptr;
}
int MemoryState();
void SetMemoryState(int state);
// Whether a request of that size may be granted: before much is had in many pieces that must succeed.
bool IsWithinLimit(double nbytes);
// What the library may hold, with its reserve and the rooms of small blocks in whole chunks; 0: no limit. It may be
// less than what is held now.
void SetMemoryLimit(std::uint64_t nbytes);
void StartMemory();
void StopMemory();

#ifndef NDEBUG
// Debug builds abort where a thread asks for memory, or gives it back, while that is forbidden to it.
extern thread_local bool memoryIsForbidden;
#endif

// For fault-injection tests: asked before each request to the heap (the reserve's too); false refuses it.
using HeapGate = bool (*)(std::size_t nbytes);
void SetHeapGate(HeapGate gate);

// std::vector over must-succeed requests; never throws.
template <class T>
struct CountingAllocator {
  using value_type = T;
  CountingAllocator() = default;
  template <class U>
  CountingAllocator(const CountingAllocator<U>&) {}
  T* allocate(std::size_t n) {
    static_assert(alignof(T) <= BLOCK_ALIGNMENT);
    return static_cast<T*>(Allocate(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t) { Free(p); }
  template <class U>
  bool operator==(const CountingAllocator<U>&) const {
    return true;
  }
};
// Indexed and counted by int: there are never 2^31 of anything that is kept in one. Debug builds check every index.
template <class T>
class Vector : public std::vector<T, CountingAllocator<T>> {
  using Base = std::vector<T, CountingAllocator<T>>;

 public:
  using Base::Base;
  int size() const { return static_cast<int>(Base::size()); }
  // The first room is for a few, since most lists are short.
  void push_back(const T& value) {
    StartRoom();
    Base::push_back(value);
  }
  void push_back(T&& value) {
    StartRoom();
    Base::push_back(std::move(value));
  }
  // At least so many.
  void GrowTo(std::size_t n) {
    if (Base::size() < n) Base::resize(n);
  }
  template <std::integral Index>
  T& operator[](Index i) {
    return Base::data()[Checked(i)];
  }
  template <std::integral Index>
  const T& operator[](Index i) const {
    return Base::data()[Checked(i)];
  }

 private:
  void StartRoom() {
    constexpr std::size_t FEW = 24 / sizeof(T);
    if (FEW > 1 && Base::capacity() == 0) Base::reserve(FEW);
  }
  template <class Index>
  std::size_t Checked(Index i) const {
#ifndef NDEBUG
    if (std::cmp_less(i, 0) || std::cmp_greater_equal(i, Base::size())) std::abort();
#endif
    return static_cast<std::size_t>(i);
  }
};

// The size of a span or a string, as vectors count.
template <class Range>
int Count(const Range& range) {
  return static_cast<int>(std::size(range));
}

struct BlockDeleter {
  void operator()(void* block) const { Free(block); }
};
// A block owned by its holder: plain data only (no destructor is run).
template <class T>
using Block = std::unique_ptr<T[], BlockDeleter>;

template <class T>
Block<T> MakeBlock(std::size_t n) {
  static_assert(std::is_trivially_destructible_v<T>);
  return Block<T>(static_cast<T*>(Allocate(n * sizeof(T))));
}
// Empty when the memory is not to be had (also when n entries overflow a size).
template <class T>
Block<T> TryMakeBlock(std::size_t n) {
  static_assert(std::is_trivially_destructible_v<T>);
  if (n > std::numeric_limits<std::size_t>::max() / sizeof(T)) return nullptr;
  return Block<T>(static_cast<T*>(TryAllocate(n * sizeof(T))));
}

// The same as plain pointers, for fields that own them.
template <class T>
T* NewArray(std::size_t n) {
  return MakeBlock<T>(n).release();
}
template <class T>
T* NewCleared(std::size_t n) {
  static_assert(std::is_trivially_destructible_v<T>);
  return static_cast<T*>(AllocateCleared(n, sizeof(T)));
}
// A copy of a whole block; NULL gives NULL.
template <class T>
T* DupBlock(const T* block) {
  if (!block) return nullptr;
  void* copy = Allocate(BlockSize(block));
  return static_cast<T*>(std::memcpy(copy, block, BlockSize(block)));
}

// Constructed objects in counted memory. Those that want more alignment than blocks have, as whatever holds a
// std::function does with some C++ libraries, stand somewhere inside theirs, behind a byte that says where.
template <class T, class... Args>
T* NewObject(Args&&... args) {
  if constexpr (alignof(T) <= BLOCK_ALIGNMENT) {
    return new (Allocate(sizeof(T))) T(std::forward<Args>(args)...);
  } else {
    static_assert(alignof(T) < 256);
    auto* block = static_cast<unsigned char*>(Allocate(sizeof(T) + alignof(T)));
    const std::size_t start = alignof(T) - reinterpret_cast<std::uintptr_t>(block) % alignof(T);
    block[start - 1] = static_cast<unsigned char>(start);
    return new (block + start) T(std::forward<Args>(args)...);
  }
}
template <class T>
void DeleteObject(T* object) {
  if (!object) return;
  object->~T();
  if constexpr (alignof(T) <= BLOCK_ALIGNMENT) {
    Free(object);
  } else {
    auto* place = reinterpret_cast<unsigned char*>(object);
    Free(place - place[-1]);
  }
}
template <class T>
struct ObjectDeleter {
  void operator()(T* object) const { DeleteObject(object); }
};
template <class T>
using Owned = std::unique_ptr<T, ObjectDeleter<T>>;
template <class T, class... Args>
Owned<T> MakeOwned(Args&&... args) {
  return Owned<T>(NewObject<T>(std::forward<Args>(args)...));
}

}  // namespace bravic
