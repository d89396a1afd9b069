// The one describer: a net as a description that writers print, and a report of what a format has no room for.
#pragma once

#include "bravic.h"
#include "formats/Description.h"
#include "formats/Formats.h"
#include "formats/Problems.h"

namespace formats {

// Describes the net as far as the format can hold it. What is left out is told in one warning; what would change the
// net's meaning is an error.
void DescribeNet(net_bn net, const Format& format, NetDescription* description, Problems* problems);

}  // namespace formats
