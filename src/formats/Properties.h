// The free lines of text that some formats keep at nodes and nets. One of the form "position = (x, y)" places a node;
// all others are lines of its comment.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "formats/Description.h"

namespace formats {

void TakeProperty(NodeDescription& node, std::string_view property);
void AddLine(std::string& comment, std::string_view line);

// What the node's properties are, in the order in which they are written: lines without blanks at their ends.
std::vector<std::string> PropertiesOf(const NodeDescription& node);
std::vector<std::string> LinesOf(std::string_view comment);

}  // namespace formats
