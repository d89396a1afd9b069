#include "Basic/Memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "Basic/Errors.h"
#include "Basic/Format.h"
#include "Basic/SmallBlocks.h"

namespace bravic {

char noObject, undefinedText;
void* memoryReserve = nullptr;
#ifndef NDEBUG
thread_local bool memoryIsForbidden = false;
#endif

namespace {

constexpr std::size_t MIN_SLOTS = 1024;

std::size_t memused = 0;
int memoryState = MEMORY_NORMAL;
bool started = false;
HeapGate heapGate = nullptr;

std::uint64_t memoryLimit = 0;  // 0: none
bool limitIsLifted = false;     // for a request that must succeed and has nothing else to hope for
std::size_t heldLarge = 0;      // bytes of the blocks that stand alone, their headers among them

SmallBlocks smallBlocks;
constexpr std::uintptr_t CHUNK_BIT = 1;  // no block's address is odd

// The live blocks but the small ones, and with CHUNK_BIT the chunks of those: an open-addressing set of addresses in
// raw heap memory. It grows at half full; when it cannot grow it goes on filling, and a block that finds it full is
// refused.
std::uintptr_t* slots = nullptr;  // [numSlots], 0 is empty
std::size_t numSlots = 0;         // a power of 2
std::size_t numAddresses = 0;
int slotShift = 0;  // 64 less the binary logarithm of numSlots

bool GateRefuses(std::size_t nbytes) {
  return heapGate && !heapGate(nbytes);
}

bool IsBeyondLimit(std::size_t nbytes) {
  if (memoryLimit == 0 || limitIsLifted) return false;
  const std::uint64_t small = static_cast<std::uint64_t>(smallBlocks.NumServing()) * CHUNK_SIZE;
  const std::uint64_t held = heldLarge + small + (memoryReserve ? RESERVE_SIZE : 0);
  return held > memoryLimit || nbytes > memoryLimit - held;
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
  if (numAddresses < numSlots / 2 || GrowRegistry()) return true;
  return numAddresses + 1 < numSlots;
}

constexpr std::uint64_t LARGEST_BLOCK =
    std::min<std::uint64_t>(0xFFFFFFFFu, std::numeric_limits<std::size_t>::max() - sizeof(Header));

bool Oversized(std::size_t nbytes) {
  return nbytes > LARGEST_BLOCK;
}

Header* HeaderOf(void* block) {
  return static_cast<Header*>(block) - 1;
}

void* Enter(Header* header, std::size_t nbytes) {
  header->size = static_cast<std::uint32_t>(nbytes);
  memused += nbytes;
  return header + 1;
}

// There must be room for an address. NULL when there is no memory for more small blocks.
Header* TakeFromNewChunk(std::size_t nbytes) {
  Chunk* added;
  if (!smallBlocks.AddChunk(nbytes, &added)) return nullptr;
  if (added) {
    PutAddress(reinterpret_cast<std::uintptr_t>(added) | CHUNK_BIT);
    ++numAddresses;
  }
  return smallBlocks.Take(nbytes);
}

// There must be room for an address.
void* AskHeapForLarge(std::size_t nbytes, bool cleared) {
  void* raw = cleared ? std::calloc(1, nbytes + sizeof(Header)) : std::malloc(nbytes + sizeof(Header));
  if (!raw) return nullptr;
  Header* header = static_cast<Header*>(raw);
  header->state = 0;
  heldLarge += nbytes + sizeof(Header);
  PutAddress(reinterpret_cast<std::uintptr_t>(header + 1));
  ++numAddresses;
  return Enter(header, nbytes);
}

void CheckPermission() {
#ifndef NDEBUG
  if (memoryIsForbidden) std::abort();
#endif
}

// One attempt, without recourse to the reserve.
void* AskHeap(std::size_t nbytes, bool cleared) {
  CheckPermission();
  const std::size_t full = nbytes + sizeof(Header);
  if (Oversized(nbytes) || GateRefuses(full)) return nullptr;
  const bool isSmall = CUTS_SMALL_BLOCKS && SmallBlocks::Holds(full), isReady = isSmall && smallBlocks.HasRoom(full);
  if (!isReady && (IsBeyondLimit(isSmall ? CHUNK_SIZE : full) || !HasRoomForOneMore())) return nullptr;
  Header* header = isReady ? smallBlocks.Take(full) : isSmall ? TakeFromNewChunk(full) : nullptr;
  if (!header) return AskHeapForLarge(nbytes, cleared);
  if (cleared) std::memset(header + 1, 0, nbytes);
  return Enter(header, nbytes);
}

// Where a block is: in a chunk, or else in a slot of the registry.
struct Place {
  Chunk* chunk;      // NULL for a large block
  std::size_t slot;  // of it
  bool isLive;
};

Place Find(const void* block) {
  const auto address = reinterpret_cast<std::uintptr_t>(block);
  Chunk* chunk = ChunkAround(address);
  if (FindAddress(reinterpret_cast<std::uintptr_t>(chunk) | CHUNK_BIT) != numSlots)
    return {chunk, numSlots, IsLiveIn(chunk, address)};
  const std::size_t slot = FindAddress(address);
  return {nullptr, slot, slot != numSlots};
}

void GiveBack(const Place& place, Header* header) {
  memused -= header->size;
  if (place.chunk) {
    smallBlocks.GiveBack(place.chunk, header);
  } else {
    RemoveSlot(place.slot);
    --numAddresses;
    heldLarge -= header->size + sizeof(Header);
    std::free(header);
  }
}

void* AskHeapToResizeSmall(const Place& place, Header* header, std::size_t nbytes) {
  const std::size_t oldSize = header->size;
  if (nbytes + sizeof(Header) <= place.chunk->stride) {
    memused -= oldSize;
    return Enter(header, nbytes);
  }
  void* moved = AskHeap(nbytes, false);
  if (!moved) return nullptr;
  std::memcpy(moved, header + 1, std::min(oldSize, nbytes));
  GiveBack(place, header);
  return moved;
}

void* AskHeapToResize(void* block, const Place& place, std::size_t nbytes) {
  CheckPermission();
  if (place.chunk) return AskHeapToResizeSmall(place, HeaderOf(block), nbytes);
  if (Oversized(nbytes) || GateRefuses(nbytes + sizeof(Header))) return nullptr;
  const std::size_t oldSize = HeaderOf(block)->size;
  if (nbytes > oldSize && IsBeyondLimit(nbytes - oldSize)) return nullptr;
  void* raw = std::realloc(HeaderOf(block), nbytes + sizeof(Header));
  if (!raw) return nullptr;
  Header* header = static_cast<Header*>(raw);
  const auto address = reinterpret_cast<std::uintptr_t>(header + 1);
  if (slots[place.slot] != address) {
    RemoveSlot(place.slot);
    PutAddress(address);
  }
  memused -= oldSize;
  heldLarge += nbytes - oldSize;
  return Enter(header, nbytes);
}

// Optional requests are for better times. Before accounting starts (a module used alone) there is no reserve to miss.
bool IsShort() {
  return started && !memoryReserve;
}

void TakeReserve() {
  if (!IsBeyondLimit(RESERVE_SIZE) && !GateRefuses(RESERVE_SIZE)) memoryReserve = std::malloc(RESERVE_SIZE);
}

void GiveReserveBack() {
  std::free(memoryReserve);
  memoryReserve = nullptr;
}

[[noreturn]] void EndForWantOfMemory(std::size_t nbytes) {
  PrintFramed(OUT_OF_MEMORY, static_cast<long>(nbytes));
  std::exit(1);
}

// The request has failed once: tries it again on the reserve's memory and beyond the limit, or ends the process.
template <class Request>
void* AskWithReserve(std::size_t nbytes, ErrorFor<long> warning, Request request) {
  const bool hadReserve = HasReserve();
  if (!hadReserve && memoryLimit == 0) EndForWantOfMemory(nbytes);
  GiveReserveBack();
  limitIsLifted = true;
  void* block = request();
  limitIsLifted = false;
  if (!block) EndForWantOfMemory(nbytes);
  if (!hadReserve) return block;
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

// Where a block passed in is; with a complaint where it is none.
Place FindLive(void* mp) {
  if (!BRAVIC_ASSERT_TEXT(mp != UndefPtr(), "mp != UNDEF_PTR")) return {nullptr, numSlots, false};
  const Place place = Find(mp);
  if (!place.isLive && started) AssertFailed(__FILE__, __LINE__, "IsLiveBlock(mp)");
  return place;
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
  const Place place = FindLive(block);
  if (!place.isLive) return block;
  if (void* moved = AskHeapToResize(block, place, nbytes)) return moved;
  return AskWithReserve(nbytes, LOW_MEMORY_TO_GROW, [=] { return AskHeapToResize(block, Find(block), nbytes); });
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
  const Place place = FindLive(block);
  if (!place.isLive) return block;
  void* moved = AskHeapToResize(block, place, nbytes);
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

void FreeLive(void* block) {
  if (block == Naddr()) return;
  CheckPermission();
  const Place place = FindLive(block);
  if (!place.isLive) return;
  GiveBack(place, HeaderOf(block));
  if (!memoryReserve && started) TakeReserve();
}

std::size_t BlockSize(const void* block) {
  if (!block || block == Naddr()) return 0;
  if (!BRAVIC_ASSERT_TEXT(block != UndefPtr(), "mp != UNDEF_PTR")) return 0;
  return (static_cast<const Header*>(block) - 1)->size;
}

std::size_t LiveBlockSize(const void* block) {
  return block && Find(block).isLive ? (static_cast<const Header*>(block) - 1)->size : 0;
}

bool IsWithinLimit(double nbytes) {
  return nbytes <= LARGEST_BLOCK && !IsBeyondLimit(static_cast<std::size_t>(nbytes));
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

void SetMemoryLimit(std::uint64_t nbytes) {
  memoryLimit = nbytes;
  if (!memoryReserve && started) TakeReserve();
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
    if (slots[i] && !(slots[i] & CHUNK_BIT)) std::free(HeaderOf(reinterpret_cast<void*>(slots[i])));
  }
  smallBlocks.GiveAllBack();
  std::free(slots);
  slots = nullptr;
  numSlots = numAddresses = 0;
  memused = heldLarge = 0;
  memoryLimit = 0;
}

void SetHeapGate(HeapGate gate) {
  heapGate = gate;
}

}  // namespace bravic
