// Typed objects: the tag word that heads every record, and the tables of type names, data sizes and data
// starts indexed by tag. Record types of higher layers register themselves at start-up.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bravic {

// Low 12 bits: the type tag; upper 4 bits: flags of the owning module.
using TagWord = std::uint16_t;

enum Tag : TagWord {
  NO_TAG = 0,
  DOUBLE_TAG = 10,
  STRING_TAG = 17,
  REPORT_TAG = 18,
  FILESPEC_TAG = 19,
  CONSOLE_TAG = 21,
  ENVIRON_TAG = 33,
  BNET_TAG = 47,
  BNODE_TAG = 48,
  STUB_TAG = 49,
  NODELIST_TAG = 50,
  UNDO_TAG = 53,
  COUNTS_TAG = 54,
};

inline constexpr TagWord TAG_MASK = 0x0FFF;
inline constexpr TagWord INDIRECT_FLAG = 0x1000;   // the data is reached through the pointer in the second word
inline constexpr TagWord PERMANENT_FLAG = 0x2000;  // error records that live until shutdown
inline constexpr int NUM_TAGS = 56;

// The tag of any record (its first 16 bits); the pointer must not be NULL.
inline int TagOf(const void* object) {
  return *static_cast<const TagWord*>(object) & TAG_MASK;
}

using FreeFunction = void (*)(void* object);

void StartTypes();  // first step of start-up: "???" everywhere, then the scalar types
// Gives a tag its name, its record size and, when it can be freed by tag, how (see FreeObject_sy).
void RegisterType(int tag, const char* name, std::size_t size, FreeFunction free);

const char* TypeName(int tag);
void* ObjectData(void* object);
std::size_t TypeDataSize(TagWord word);      // 4 for an indirect object, else the size table's entry
std::size_t StoredSize(const void* object);  // sizes below 5 count as 4
// Whether the address is that of a live record of the type: a block with its tag, of its size at least.
bool IsRecord(const void* object, int tag);
void* BoxDouble(double value);     // owned by the caller; freed by Free
void FreeObject_sy(void* object);  // any tagged object; NULL is ignored; CANT_FREE_OBJECT_TYPE for other tags

}  // namespace bravic
