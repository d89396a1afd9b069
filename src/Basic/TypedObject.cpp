#include "Basic/TypedObject.h"

#include <cstring>

#include "Basic/Errors.h"
#include "Basic/Memory.h"

namespace bravic {
namespace {

struct TypeRow {
  const char* name = "???";
  std::size_t size = 0;
  bool dataAtTag = false;  // the data begins at the type word itself, not at the second word
  FreeFunction free = nullptr;
};

TypeRow types[NUM_TAGS];

constexpr struct {
  int tag;
  const char* name;
  std::size_t size;
} SCALARS[] = {
    {1, "notype", 0}, {2, "void", 0},     {3, "int", 4},    {4, "uint", 4},    {5, "short", 2},    {6, "ushort", 2},
    {7, "long", 4},   {8, "ulong", 4},    {9, "float", 4},  {10, "double", 8}, {11, "bool", 1},    {12, "char", 1},
    {13, "coord", 8}, {15, "dcoord", 16}, {16, "rect", 16}, {17, "string", 0}, {21, "console", 0},
};

constexpr std::size_t WORD = sizeof(void*);
constexpr std::size_t INDIRECT_SIZE = 4, SMALLEST_STORED = 4;

const TypeRow& Row(int word) {
  static const TypeRow unknown;
  const int tag = word & TAG_MASK;
  return tag < NUM_TAGS ? types[tag] : unknown;
}

TagWord WordOf(const void* object) {
  TagWord word;
  std::memcpy(&word, object, sizeof word);
  return word;
}

}  // namespace

void StartTypes() {
  for (TypeRow& row : types) row = TypeRow();
  for (const auto& scalar : SCALARS) {
    types[scalar.tag].name = scalar.name;
    types[scalar.tag].size = scalar.size;
  }
  types[CONSOLE_TAG].dataAtTag = true;
}

void RegisterType(int tag, const char* name, std::size_t size, FreeFunction free) {
  if (!BRAVIC_ASSERT(tag > 0 && tag < NUM_TAGS)) return;
  types[tag].name = name;
  types[tag].size = size;
  types[tag].free = free;
}

const char* TypeName(int tag) {
  return Row(tag).name;
}

void* ObjectData(void* object) {
  if (!object) return nullptr;
  const TagWord word = WordOf(object);
  char* start = static_cast<char*>(object);
  if (word & INDIRECT_FLAG) {
    void* data;
    std::memcpy(&data, start + WORD, sizeof data);
    return data;
  }
  return Row(word).dataAtTag ? start : start + WORD;
}

std::size_t TypeDataSize(TagWord word) {
  if (word & INDIRECT_FLAG) return INDIRECT_SIZE;
  if (!BRAVIC_ASSERT_TEXT((word & TAG_MASK) != 0 && (word & TAG_MASK) != STRING_TAG,
                          "typ && TYPEBITS != STRING_TYPE")) {
    return 0;
  }
  return Row(word).size;
}

std::size_t StoredSize(const void* object) {
  const TagWord word = WordOf(object);
  if (word & INDIRECT_FLAG) return INDIRECT_SIZE;
  const std::size_t size =
      (word & TAG_MASK) == STRING_TAG ? std::strlen(static_cast<const char*>(object) + WORD) + 1 : Row(word).size;
  return size <= SMALLEST_STORED ? SMALLEST_STORED : size;
}

bool IsRecord(const void* object, int tag) {
  const std::size_t size = LiveBlockSize(object);
  return size > 0 && size >= types[tag].size && TagOf(object) == tag;
}

void* BoxDouble(double value) {
  char* box = static_cast<char*>(AllocateCleared(1, WORD + sizeof value));
  const TagWord word = DOUBLE_TAG;
  std::memcpy(box, &word, sizeof word);
  std::memcpy(box + WORD, &value, sizeof value);
  return box;
}

void FreeObject_sy(void* object) {
  if (!object) return;
  const TagWord word = WordOf(object);
  if (FreeFunction free = Row(word).free) {
    free(object);
  } else {
    Report(CANT_FREE_OBJECT_TYPE, word & TAG_MASK);
  }
}

}  // namespace bravic
