// The `user` statement of nets and nodes: the texts that programs around the library keep there (Bn/model/Texts.h), as
// a list of pairs of quoted texts, key and text. A statement of any other form is another program's and is passed over.
#pragma once

#include "Bn/files/NetPrinter.h"
#include "Bn/files/NetReader.h"

namespace bravic {

// The texts as a record holds them, owned by the caller; NULL when there are none. False when the statement is of
// another form, which only an open quote is reported of; the channel then stands where it stood.
bool ReadTexts(NetReader& reader, const Statement& at, char*** texts);
void PrintTexts(NetPrinter& printer, char* const* texts);

}  // namespace bravic
