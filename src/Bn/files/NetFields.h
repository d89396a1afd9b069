// What files do with a field of a net: the table in NetFields.cpp has a row for each field of form Own that they know,
// for all others the table of fields (Bn/model/Fields.h) tells.
#pragma once

#include "Bn/files/NetPrinter.h"
#include "Bn/files/NetReader.h"

namespace bravic {

// The value of a statement, behind its "=". False with the error reported.
bool ReadValue(NetReader& reader, const Statement& at, NetField field);
bool HasValue(const bnet& net, NetField field);  // anything but what a new net holds
void PrintField(NetPrinter& printer, NetField field);

}  // namespace bravic
