// Small blocks, of which there are very many: they are cut from chunks, each of blocks of one size, and stay there when
// they are given back, so that taking and giving back are a few instructions (Bonwick 1994, "The slab allocator"). A
// chunk stands at a multiple of its size, so that a block's address tells its chunk. Chunks come from the heap several
// at a time and go back when all memory does; those without blocks serve blocks of any size again.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bravic {

// Ahead of every block. The second word keeps the caller's bytes aligned to 8.
struct Header {
  std::uint32_t size;   // as asked for
  std::uint32_t state;  // of a small block: LIVE_BLOCK, or 0 when it was given back
};
static_assert(sizeof(Header) == 8);
inline constexpr std::uint32_t LIVE_BLOCK = 0x4C495645;

struct FreeBlock {
  Header header;
  FreeBlock* next;
};

struct Chunk {
  Chunk *next, *previous;  // of those with room for the same size, or of the spare ones
  FreeBlock* freed;        // given back
  std::uint32_t stride;    // bytes of a block, its header among them
  std::uint32_t inverse;   // 2^32 / stride, rounded up
  std::uint32_t cut;       // bytes cut into blocks so far, from the first block on
  std::uint32_t numLive, capacity;
};

inline constexpr std::size_t CHUNK_SIZE = 8192, FIRST_IN_CHUNK = (sizeof(Chunk) + 15) / 16 * 16;
inline constexpr std::size_t STRIDE_STEP = 16, LARGEST_STRIDE = 512;  // a node's record among them

inline Chunk* ChunkAround(std::uintptr_t address) {
  return reinterpret_cast<Chunk*>(address & ~static_cast<std::uintptr_t>(CHUNK_SIZE - 1));
}

// Whether the address behind a header is that of a block of the chunk that is not given back.
inline bool IsLiveIn(const Chunk* chunk, std::uintptr_t address) {
  const std::uintptr_t raw = address - sizeof(Header), first = reinterpret_cast<std::uintptr_t>(chunk) + FIRST_IN_CHUNK;
  if (raw < first || raw - first >= chunk->cut) return false;
  const std::uint64_t offset = raw - first;
  if ((offset * chunk->inverse >> 32) * chunk->stride != offset) return false;
  return reinterpret_cast<const Header*>(raw)->state == LIVE_BLOCK;
}

class SmallBlocks {
 public:
  static constexpr bool Holds(std::size_t nbytes) { return nbytes <= LARGEST_STRIDE; }
  bool HasRoom(std::size_t nbytes) const { return withRoom_[SizeClass(nbytes)] != nullptr; }
  // Makes room for blocks of so many bytes. isNew: the chunk, at an address that held none before; NULL for a spare
  // one. False when the heap has no more.
  bool AddChunk(std::size_t nbytes, Chunk** isNew);
  // There must be room. The header's state is set.
  Header* Take(std::size_t nbytes) {
    Chunk* chunk = withRoom_[SizeClass(nbytes)];
    Header* block;
    if (chunk->freed) {
      block = &chunk->freed->header;
      chunk->freed = chunk->freed->next;
    } else {
      block = reinterpret_cast<Header*>(reinterpret_cast<char*>(chunk) + FIRST_IN_CHUNK + chunk->cut);
      chunk->cut += chunk->stride;
    }
    block->state = LIVE_BLOCK;
    if (++chunk->numLive == chunk->capacity) Unlink(chunk);
    return block;
  }
  void GiveBack(Chunk* chunk, Header* header) {
    auto* block = reinterpret_cast<FreeBlock*>(header);
    header->state = 0;
    block->next = chunk->freed;
    chunk->freed = block;
    if (chunk->numLive-- == chunk->capacity) Link(chunk);
    if (chunk->numLive == 0 && (chunk->next || chunk->previous)) MakeSpare(chunk);
  }
  // Of chunks that serve blocks of some size now.
  int NumServing() const { return numServing_; }
  void GiveAllBack();

 private:
  struct Slab {
    Slab* next;
  };

  static std::size_t SizeClass(std::size_t nbytes) { return (nbytes + STRIDE_STEP - 1) / STRIDE_STEP; }
  void Link(Chunk* chunk) {
    Chunk*& head = withRoom_[chunk->stride / STRIDE_STEP];
    chunk->previous = nullptr;
    chunk->next = head;
    if (head) head->previous = chunk;
    head = chunk;
  }
  void Unlink(Chunk* chunk) {
    if (chunk->next) chunk->next->previous = chunk->previous;
    if (chunk->previous)
      chunk->previous->next = chunk->next;
    else
      withRoom_[chunk->stride / STRIDE_STEP] = chunk->next;
    chunk->next = chunk->previous = nullptr;
  }
  void MakeSpare(Chunk* chunk);

  Chunk* withRoom_[LARGEST_STRIDE / STRIDE_STEP + 1] = {};  // [blocks of so many steps]
  Chunk* spare_ = nullptr;
  int numServing_ = 0;
  Slab* slabs_ = nullptr;
  char *uncut_ = nullptr, *end_ = nullptr;  // of the newest slab, what is no chunk yet
};

}  // namespace bravic
