#include "Basic/SmallBlocks.h"

#include <cstdlib>

namespace bravic {

namespace {

// Little enough for the emergency reserve to stand in for.
constexpr std::size_t CHUNKS_IN_SLAB = 8, SLAB_SIZE = (CHUNKS_IN_SLAB + 1) * CHUNK_SIZE;

}  // namespace

bool SmallBlocks::AddChunk(std::size_t nbytes, Chunk** isNew) {
  *isNew = nullptr;
  Chunk* chunk = spare_;
  if (chunk) {
    spare_ = chunk->next;
  } else {
    if (static_cast<std::size_t>(end_ - uncut_) < CHUNK_SIZE) {
      auto* slab = static_cast<Slab*>(std::malloc(SLAB_SIZE));
      if (!slab) return false;
      slab->next = slabs_;
      slabs_ = slab;
      end_ = reinterpret_cast<char*>(slab) + SLAB_SIZE;
      const auto first = reinterpret_cast<std::uintptr_t>(slab + 1) + CHUNK_SIZE - 1;
      uncut_ = reinterpret_cast<char*>(ChunkAround(first));
    }
    *isNew = chunk = reinterpret_cast<Chunk*>(uncut_);
    uncut_ += CHUNK_SIZE;
  }
  chunk->freed = nullptr;
  chunk->stride = static_cast<std::uint32_t>(SizeClass(nbytes) * STRIDE_STEP);
  chunk->inverse = static_cast<std::uint32_t>(((std::uint64_t{1} << 32) + chunk->stride - 1) / chunk->stride);
  chunk->cut = chunk->numLive = 0;
  chunk->capacity = static_cast<std::uint32_t>((CHUNK_SIZE - FIRST_IN_CHUNK) / chunk->stride);
  Link(chunk);
  ++numServing_;
  return true;
}

void SmallBlocks::MakeSpare(Chunk* chunk) {
  Unlink(chunk);
  chunk->cut = 0;
  chunk->next = spare_;
  spare_ = chunk;
  --numServing_;
}

void SmallBlocks::GiveAllBack() {
  while (slabs_) {
    Slab* slab = slabs_;
    slabs_ = slab->next;
    std::free(slab);
  }
  *this = {};
}

}  // namespace bravic
