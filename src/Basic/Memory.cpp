#include "Basic/Memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Basic/Errors.h"
#include "Basic/Format.h"

namespace bravic {

char noObject, undefinedText;
void* memoryReserve = nullptr;
#ifndef NDEBUG
thread_local bool memoryIsForbidden = false;
#endif

namespace {

// Ahead of every block. The spare word keeps the caller's bytes aligned to 8.
struct Header {
  std::uint32_t size;
  std::uint32_t spare;
};
static_assert(sizeof(Header) == 8);

constexpr std::size_t MIN_SLOTS = 1024;

std::size_t memused = 0;
int memoryState = MEMORY_NORMAL;
bool started = false;
HeapGate heapGate = nullptr;

// The live blocks: an open-addressing set of addresses in raw heap memory. It grows at half full; when it cannot
// grow it goes on filling, and a block that finds it full is refused.
std::uintptr_t* slots = nullptr;  // [numSlots], 0 is empty
std::size_t numSlots = 0;         // a power of 2
std::size_t numBlocks = 0;
int slotShift = 0;  // 64 less the binary logarithm of numSlots

bool GateRefuses(std::size_t nbytes) {
  return heapGate && !heapGate(nbytes);
}

std::size_t HomeSlot(std::uintptr_t address) {
  return static_cast<std::size_t>(((address >> 3) * 0x9E3779B97F4A7C15u) >> slotShift);
}

void PutAddress(std::uintptr_t address) {
  std::size_t i = HomeSlot(address);
  while (slots[i]) i = (i + 1) & (numSlots - 1);
  slots[i] = address;
}

// numSlots when absent.
std::size_t FindAddress(std::uintptr_t address) {
  if (!numSlots) return 0;
  for (std::size_t i = HomeSlot(address); slots[i]; i = (i + 1) & (numSlots - 1)) {
    if (slots[i] == address) return i;
  }
  return numSlots;
}

void RemoveSlot(std::size_t hole) {
  for (std::size_t j = (hole + 1) & (numSlots - 1); slots[j]; j = (j + 1) & (numSlots - 1)) {
    const std::size_t home = HomeSlot(slots[j]);
    if (((j - home) & (numSlots - 1)) < ((j - hole) & (numSlots - 1))) continue;
    slots[hole] = slots[j];
    hole = j;
  }
  slots[hole] = 0;
}

bool GrowRegistry() {
  const std::size_t newNum = numSlots ? numSlots * 2 : MIN_SLOTS;
  const std::size_t nbytes = newNum * sizeof(std::uintptr_t);
  if (newNum < numSlots || nbytes / sizeof(std::uintptr_t) != newNum || GateRefuses(nbytes)) return false;
  auto* grown = static_cast<std::uintptr_t*>(std::calloc(newNum, sizeof(std::uintptr_t)));
  if (!grown) return false;
  std::uintptr_t* old = slots;
  const std::size_t oldNum = numSlots;
  slots = grown;
  numSlots = newNum;
  slotShift = 64;
  for (std::size_t n = newNum; n > 1; n >>= 1) --slotShift;
  for (std::size_t i = 0; i < oldNum; ++i) {
    if (old[i]) PutAddress(old[i]);
  }
  std::free(old);
  return true;
}

// One slot always stays empty, so that every search ends.
bool HasRoomForOneMore() {
  if (numBlocks < numSlots / 2 || GrowRegistry()) return true;
  return numBlocks + 1 < numSlots;
}

bool Oversized(std::size_t nbytes) {
  constexpr std::uint64_t LARGEST = 0xFFFFFFFFu, ROOM = std::numeric_limits<std::size_t>::max() - sizeof(Header);
  return nbytes > std::min(LARGEST, ROOM);
}

Header* HeaderOf(void* block) {
  return static_cast<Header*>(block) - 1;
}

void CheckPermission() {
#ifndef NDEBUG
  if (memoryIsForbidden) std::abort();
#endif
}

// One attempt, without recourse to the reserve.
void* AskHeap(std::size_t nbytes, bool cleared) {
  CheckPermission();
  if (Oversized(nbytes) || !HasRoomForOneMore() || GateRefuses(nbytes + sizeof(Header))) return nullptr;
  void* raw = cleared ? std::calloc(1, nbytes + sizeof(Header)) : std::malloc(nbytes + sizeof(Header));
  if (!raw) return nullptr;
  Header* header = static_cast<Header*>(raw);
  header->size = static_cast<std::uint32_t>(nbytes);
  header->spare = 0;
  void* block = header + 1;
  PutAddress(reinterpret_cast<std::uintptr_t>(block));
  ++numBlocks;
  memused += nbytes;
  return block;
}

void* AskHeapToResize(void* block, std::size_t slot, std::size_t nbytes) {
  CheckPermission();
  if (Oversized(nbytes) || GateRefuses(nbytes + sizeof(Header))) return nullptr;
  const std::size_t oldSize = HeaderOf(block)->size;
  void* raw = std::realloc(HeaderOf(block), nbytes + sizeof(Header));
  if (!raw) return nullptr;
  Header* header = static_cast<Header*>(raw);
  header->size = static_cast<std::uint32_t>(nbytes);
  memused = memused - oldSize + nbytes;
  const auto address = reinterpret_cast<std::uintptr_t>(header + 1);
  if (slots[slot] != address) {
    RemoveSlot(slot);
    PutAddress(address);
  }
  return header + 1;
}

// Optional requests are for better times. Before accounting starts (a module used alone) there is no reserve to miss.
bool IsShort() {
  return started && !memoryReserve;
}

void TakeReserve() {
  if (!GateRefuses(RESERVE_SIZE)) memoryReserve = std::malloc(RESERVE_SIZE);
}

void GiveReserveBack() {
  std::free(memoryReserve);
  memoryReserve = nullptr;
}

[[noreturn]] void EndForWantOfMemory(std::size_t nbytes) {
  PrintFramed(OUT_OF_MEMORY, static_cast<long>(nbytes));
  std::exit(1);
}

// The request has failed once: tries it again on the reserve's memory, or ends the process.
template <class Request>
void* AskWithReserve(std::size_t nbytes, ErrorFor<long> warning, Request request) {
  if (!memoryReserve) EndForWantOfMemory(nbytes);
  GiveReserveBack();
  void* block = request();
  if (!block) EndForWantOfMemory(nbytes);
  Report(warning, static_cast<long>(nbytes));
  memoryState = MEMORY_LOW;
  return block;
}

void* MustAllocate(std::size_t nbytes, bool cleared) {
  if (void* block = AskHeap(nbytes, cleared)) return block;
  return AskWithReserve(nbytes, LOW_MEMORY, [=] { return AskHeap(nbytes, cleared); });
}

// The count of bytes, at least 1; false when it overflows.
bool Product(std::size_t count, std::size_t size, std::size_t* nbytes) {
  if (size && count > std::numeric_limits<std::size_t>::max() / size) {
    *nbytes = std::numeric_limits<std::size_t>::max();
    return false;
  }
  *nbytes = count * size;
  if (!*nbytes) *nbytes = 1;
  return true;
}

// The registry's slot of a block passed in; numSlots, with a complaint, for what is none.
std::size_t SlotOfLive(void* mp) {
  if (!BRAVIC_ASSERT_TEXT(mp != UndefPtr(), "mp != UNDEF_PTR")) return numSlots;
  const std::size_t slot = FindAddress(reinterpret_cast<std::uintptr_t>(mp));
  if (slot == numSlots && started) AssertFailed(__FILE__, __LINE__, "IsLiveBlock(mp)");
  return slot;
}

}  // namespace

void* Allocate(std::size_t nbytes) {
  return MustAllocate(nbytes ? nbytes : 1, false);
}

void* AllocateCleared(std::size_t count, std::size_t size) {
  std::size_t nbytes;
  if (!Product(count, size, &nbytes)) EndForWantOfMemory(nbytes);
  return MustAllocate(nbytes, true);
}

void* TryAllocate(std::size_t nbytes) {
  return IsShort() ? nullptr : AskHeap(nbytes ? nbytes : 1, false);
}

void* TryAllocateCleared(std::size_t count, std::size_t size) {
  std::size_t nbytes;
  return !IsShort() && Product(count, size, &nbytes) ? AskHeap(nbytes, true) : nullptr;
}

void* Resize(void* block, std::size_t nbytes) {
  if (!block || block == Naddr()) return nbytes ? Allocate(nbytes) : nullptr;
  if (!nbytes) {
    Free(block);
    return nullptr;
  }
  const std::size_t slot = SlotOfLive(block);
  if (slot == numSlots) return block;
  if (void* moved = AskHeapToResize(block, slot, nbytes)) return moved;
  return AskWithReserve(nbytes, LOW_MEMORY_TO_GROW, [=] { return AskHeapToResize(block, slot, nbytes); });
}

void* TryResize(void* block, std::size_t nbytes) {
  if (IsShort()) {
    memoryState = MEMORY_RESIZE_FAILED;
    return block;
  }
  if (!block || block == Naddr()) return nbytes ? TryAllocate(nbytes) : nullptr;
  if (!nbytes) {
    Free(block);
    return nullptr;
  }
  const std::size_t slot = SlotOfLive(block);
  if (slot == numSlots) return block;
  void* moved = AskHeapToResize(block, slot, nbytes);
  if (!moved) memoryState = MEMORY_RESIZE_FAILED;
  return moved;
}

void* EnsureSize(void* block, std::size_t nbytes) {
  return block && BlockSize(block) >= nbytes ? block : Resize(block, nbytes ? nbytes : 1);
}

void* EnsureSizeDiscarding(void* block, std::size_t nbytes) {
  if (block && BlockSize(block) >= nbytes) return block;
  Free(block);
  return Allocate(nbytes);
}

void* TryEnsureSizeDiscarding(void* block, std::size_t nbytes) {
  if (block && BlockSize(block) >= nbytes) return block;
  Free(block);
  return TryAllocate(nbytes);
}

void Free(void* block) {
  if (!block || block == Naddr()) return;
  CheckPermission();
  const std::size_t slot = SlotOfLive(block);
  if (slot == numSlots) return;
  RemoveSlot(slot);
  --numBlocks;
  memused -= HeaderOf(block)->size;
  std::free(HeaderOf(block));
  if (!memoryReserve && started) TakeReserve();
}

std::size_t BlockSize(const void* block) {
  if (!block || block == Naddr()) return 0;
  if (!BRAVIC_ASSERT_TEXT(block != UndefPtr(), "mp != UNDEF_PTR")) return 0;
  return (static_cast<const Header*>(block) - 1)->size;
}

bool IsLiveBlock(const void* block) {
  return block && FindAddress(reinterpret_cast<std::uintptr_t>(block)) != numSlots;
}

std::size_t MemoryUsed() {
  return memused;
}

int MemoryState() {
  return memoryState;
}

void SetMemoryState(int state) {
  memoryState = state;
}

void StartMemory() {
  BRAVIC_ASSERT(memused == 0);
  started = true;
  memoryState = MEMORY_NORMAL;
  if (!memoryReserve) TakeReserve();
}

// What hosts have left behind (nets, node lists) is given back too.
void StopMemory() {
  started = false;
  GiveReserveBack();
  for (std::size_t i = 0; i < numSlots; ++i) {
    if (slots[i]) std::free(HeaderOf(reinterpret_cast<void*>(slots[i])));
  }
  std::free(slots);
  slots = nullptr;
  numSlots = numBlocks = 0;
  memused = 0;
}

void SetHeapGate(HeapGate gate) {
  heapGate = gate;
}

}  // namespace bravic
