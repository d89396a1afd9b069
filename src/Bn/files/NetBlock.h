// The block of a net: its statements, the blocks within it, and what is settled at its end, when every name is known.
#pragma once

#include "Bn/files/NetReader.h"

namespace bravic {

// Reads from behind the keyword to the closing "}" and ";". A net that is read becomes the reader's answer.
void ReadNetBlock(NetReader& reader);

}  // namespace bravic
