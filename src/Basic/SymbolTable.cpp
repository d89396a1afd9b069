#include "Basic/SymbolTable.h"

#include <cstring>
#include <limits>

#include "Basic/Errors.h"
#include "Basic/Memory.h"
#include "Basic/Text.h"

namespace bravic {
namespace {

constexpr int NEVER_GROWS = std::numeric_limits<int>::max();

int NextSlot(const SymbolTable& table, int slot) {
  return slot + 1 == table.len ? 0 : slot + 1;
}

bool SameName(const char* a, const char* b) {
  return a == b || std::strcmp(a, b) == 0;
}

void MakeArrays(SymbolTable* table, int len, bool kinds, bool values) {
  const auto count = static_cast<std::size_t>(len);
  table->len = len;
  table->names = static_cast<const char**>(AllocateCleared(count, sizeof(const char*)));
  table->kinds = kinds ? static_cast<std::int16_t*>(AllocateCleared(count, sizeof(std::int16_t))) : nullptr;
  table->values = values ? static_cast<void**>(AllocateCleared(count, sizeof(void*))) : nullptr;
}

void CountProbe(SymbolTable* table, int slot) {
  if (!table->statistics) return;
  ++table->numProbes;
  table->totalDistance += slot >= table->startSlot ? slot - table->startSlot : slot - table->startSlot + table->len;
}

void Grow(SymbolTable* table, int newLen) {
  if (!BRAVIC_ASSERT_TEXT(newLen >= table->num, "newlen >= st->num")) return;
  const char** oldNames = table->names;
  std::int16_t* oldKinds = table->kinds;
  void** oldValues = table->values;
  const int oldLen = table->len;
  const int newFill = table->maxFill == NEVER_GROWS
                          ? NEVER_GROWS
                          : static_cast<int>(static_cast<long long>(table->maxFill) * newLen / oldLen);
  table->maxFill = NEVER_GROWS;
  MakeArrays(table, newLen, oldKinds != nullptr, oldValues != nullptr);
  table->num = 0;
  for (int i = 0; i < oldLen; ++i) {
    if (!oldNames[i]) continue;
    const int slot = InsertName(table, oldNames[i], false);
    if (slot < 0) continue;
    if (oldKinds) table->kinds[slot] = oldKinds[i];
    if (oldValues) table->values[slot] = oldValues[i];
  }
  table->maxFill = newFill;
  Free(oldNames);
  Free(oldKinds);
  Free(oldValues);
}

bool Matches(const SymbolTable& table, int slot, const char* name, int kind) {
  return (!kind || !table.kinds || table.kinds[slot] == kind) && SameName(table.names[slot], name);
}

// The first match from the slot on, up to an empty slot or the stop; -1 when there is none.
int Search(SymbolTable* table, int slot, int stop, const char* name, int kind) {
  while (table->names[slot]) {
    if (Matches(*table, slot, name, kind)) return slot;
    slot = NextSlot(*table, slot);
    if (slot == stop) break;
  }
  return -1;
}

}  // namespace

SymbolTable* NewSymbolTable(int len, const char* title, bool kinds, bool values, double fillRatio, double lengthMult) {
  BRAVIC_ASSERT_TEXT(0.0 <= fillRatio && fillRatio <= 1.0, "0.0 <= fillratio && fillratio <= 1.0");
  BRAVIC_ASSERT_TEXT(0.0 == fillRatio || lengthMult > 1.0, "0.0 == fillratio || lengthmult > 1.0");
  if (len < 1) len = 1;
  auto* table = static_cast<SymbolTable*>(AllocateCleared(1, sizeof(SymbolTable)));
  table->tag = SYMTABLE_TAG;
  table->title = DupText(title);
  table->maxFill = fillRatio == 0.0 ? NEVER_GROWS : static_cast<int>(len * fillRatio);
  table->lengthMult = lengthMult;
  table->lastSlot = -1;
  table->statistics = true;
  MakeArrays(table, len, kinds, values);
  return table;
}

void FreeSymbolTable(SymbolTable* table) {
  if (!table) return;
  Free(table->title);
  Free(table->names);
  Free(table->kinds);
  Free(table->values);
  Free(table);
}

int HashName(const char* name, int len) {
  std::uint32_t h = 0;
  const auto* at = reinterpret_cast<const unsigned char*>(OrEmpty(name));
  while (*at) {
    h ^= at[0] | static_cast<std::uint32_t>(at[1]) << 8;
    h = h << 1 | h >> 31;
    if (!at[1]) break;
    at += 2;
  }
  const std::uint32_t magnitude = h & 0x80000000u ? 0 - h : h;
  return static_cast<int>(magnitude % static_cast<std::uint32_t>(len));
}

int InsertName(SymbolTable* table, const char* name, bool refuseDuplicates) {
  if (!BRAVIC_ASSERT_TEXT(table != nullptr, "(st) != NULL")) return -1;
  if (table->num >= table->maxFill) Grow(table, static_cast<int>(table->len * table->lengthMult) + 1);
  if (!BRAVIC_ASSERT_TEXT(table->num < table->len, "st->num < st->len")) return -1;
  int slot = table->startSlot = HashName(name, table->len);
  while (table->names[slot]) {
    if (refuseDuplicates && SameName(table->names[slot], name)) return -1;
    slot = NextSlot(*table, slot);
    if (!BRAVIC_ASSERT_TEXT(slot != table->startSlot, "np != st->startnp")) return -1;
  }
  table->names[slot] = name;
  ++table->num;
  CountProbe(table, slot);
  return slot;
}

int InsertName(SymbolTable* table, const char* name, int kind, void* value, bool refuseDuplicates) {
  const int slot = InsertName(table, name, refuseDuplicates);
  if (slot < 0) return slot;
  if (table->kinds) table->kinds[slot] = static_cast<std::int16_t>(kind);
  if (table->values) table->values[slot] = value;
  return slot;
}

int FindName(SymbolTable* table, const char* name, int kind) {
  if (!BRAVIC_ASSERT_TEXT(table != nullptr, "(st) != NULL")) return -1;
  const int start = table->startSlot = HashName(name, table->len);
  table->lastSlot = name ? Search(table, start, start, name, kind) : -1;
  if (table->lastSlot >= 0) {
    table->lastName = table->names[table->lastSlot];
    table->lastKind = kind;
    CountProbe(table, table->lastSlot);
  }
  return table->lastSlot;
}

void* FindValue(SymbolTable* table, const char* name, int kind) {
  const int slot = FindName(table, name, kind);
  return slot >= 0 && table->values ? table->values[slot] : nullptr;
}

int FindNextName(SymbolTable* table) {
  if (!BRAVIC_ASSERT_TEXT(table->lastSlot != -1, "st->lastnn != -1")) return -1;
  const int next = NextSlot(*table, table->lastSlot);
  table->lastSlot =
      next == table->startSlot ? -1 : Search(table, next, table->startSlot, table->lastName, table->lastKind);
  return table->lastSlot;
}

void DeleteSlot(SymbolTable* table, int slot, SlotMoved moved) {
  if (slot == -1) return;
  if (!BRAVIC_ASSERT_TEXT(0 <= slot && slot < table->len, "0<=nn && nn<st->len")) return;
  if (!BRAVIC_ASSERT_TEXT(table->names[slot] != nullptr, "st->names[nn]")) return;
  int hole = slot;
  table->names[hole] = nullptr;
  --table->num;
  for (int j = NextSlot(*table, hole); table->names[j]; j = NextSlot(*table, j)) {
    const int home = HashName(table->names[j], table->len);
    const bool mayMove = j > hole ? home <= hole || home > j : j < home && home <= hole;
    if (!mayMove) continue;
    if (moved) moved(table, j, hole);
    table->names[hole] = table->names[j];
    if (table->kinds) table->kinds[hole] = table->kinds[j];
    if (table->values) table->values[hole] = table->values[j];
    table->names[j] = nullptr;
    hole = j;
  }
}

}  // namespace bravic
