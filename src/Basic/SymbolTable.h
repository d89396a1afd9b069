// Symbol tables: open addressing with linear probing; a name (not owned) maps to a slot that may also hold a kind
// and a value. Deletion moves later entries of a probe run back, so that there are no tombstones.
#pragma once

#include <cstdint>

#include "Basic/TypedObject.h"

namespace bravic {

struct SymbolTable {
  TagWord tag;
  int len;              // slots
  int num;              // names held; always below len
  char* title;          // owned
  const char** names;   // [len]; NULL in an empty slot
  std::int16_t* kinds;  // [len], or NULL
  void** values;        // [len], or NULL
  int maxFill;          // number of names at which the table grows; 2147483647 never
  double lengthMult;
  int startSlot;  // where the last probe sequence began
  int lastSlot;   // found by the last lookup, -1 if none
  const char* lastName;
  int lastKind;
  bool statistics;  // whether the probe sequences that find a slot are counted, and how far they go; set at creation
  long numProbes, totalDistance;
};

SymbolTable* NewSymbolTable(int len, const char* title, bool kinds, bool values, double fillRatio, double lengthMult);
void FreeSymbolTable(SymbolTable* table);  // not the names
int HashName(const char* name, int len);
int InsertName(SymbolTable* table, const char* name, bool refuseDuplicates);  // slot, or -1 for a duplicate refused
int InsertName(SymbolTable* table, const char* name, int kind, void* value, bool refuseDuplicates);
int FindName(SymbolTable* table, const char* name, int kind);     // slot or -1; kind 0 matches any
void* FindValue(SymbolTable* table, const char* name, int kind);  // NULL when absent
int FindNextName(SymbolTable* table);
using SlotMoved = void (*)(SymbolTable* table, int from, int to);
void DeleteSlot(SymbolTable* table, int slot, SlotMoved moved);  // a slot of -1 does nothing

}  // namespace bravic
