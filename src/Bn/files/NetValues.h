// The values of statements: names, numbers, quoted texts and lists. Each reader answers false with the error reported.
#pragma once

#include "Bn/files/NetReader.h"

namespace bravic {

inline std::string_view NextWord(NetReader& reader) {
  return reader.in.ReadWord(format::PUNCTUATION, format::MAX_WORD_LEN, nullptr);
}
int FindWord(std::string_view word, const char* const* words, int num);  // -1 when there is none
// A state by its name, or by "#" and its number; UNDEF_STATE for any other word.
statetype StateOfWord(const NetReader& reader, const bnode& node, std::string_view word);

// A name cut and mended to be legal; an illegal one is reported as the name of a block.
bool ReadBlockName(NetReader& reader, const char* keyword, const char* owner, char* name,
                   std::string_view* written = nullptr);
void LegalName(std::string_view word, char* name);  // silently; name holds MAX_NAME_LEN + 1
bool ReadBoolean(NetReader& reader, const Statement& at, int* value);
bool ReadInt(NetReader& reader, const Statement& at, int* value);
bool ReadUnsigned(NetReader& reader, const Statement& at, unsigned* value);
bool ReadNumber(NetReader& reader, const Statement& at, double* value);
bool ReadQuoted(NetReader& reader, const Statement& at, char** text);  // owned by the caller; NULL for no text
// Appends the items to words. Empty items are allowed only where said so.
bool ReadNames(NetReader& reader, const Statement& at, bool allowEmpty, NameRange* names);
// Into reader.numbers. badNumber: the error of what is no number, a parse error or ILLEGAL_FINDING_NUMBER.
bool ReadNumbers(NetReader& reader, const Statement& at, const ErrorRow& badNumber);
// Owned names of a list that is parallel to something: legal, different; an empty item is NULL.
bool MakeNames(NetReader& reader, const Statement& at, NameRange range, char*** names);
// The value of a field that is not of the form Own.
template <class Record>
bool ReadField(NetReader& reader, const Statement& at, const FieldRow<Record>& row, Record& record);

}  // namespace bravic
