// Net files: reading and writing a net as text. docs/net-format.md describes the format.
#pragma once

#include "Bn/model/Net.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

net_bn ReadNet(filespec_ns file, int options);  // NULL when nothing could be read
bool WriteNet(net_bn net, filespec_ns file);    // false with an error posted, the old file whole

}  // namespace bravic
