// Net files as wholes. Reading finds the indicator and the blocks of nets, of which the last one counts. Saving writes
// the new text to a file of its own beside the old one, which takes the old one's place only when it is whole, so that
// whatever fails leaves the old file byte for byte. A text in memory is read and written as a file is.
// docs/net-format.md describes the format.
#pragma once

#include <span>
#include <string_view>

#include "Bn/model/Net.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

net_bn ReadNet(filespec_ns file, int options);  // NULL when nothing could be read
bool WriteNet(net_bn net, filespec_ns file);    // false with an error posted, the old file whole

net_bn ReadNetText(std::string_view text, const char* name);  // name: for messages, or NULL
// Answers the bytes needed, the closing zero included; where the room is less it stays as it is. -1 with an error
// posted.
long WriteNetText(net_bn net, std::span<char> room);

}  // namespace bravic
