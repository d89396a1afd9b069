// Pictures by Graphviz's program dot, which is looked for where the system finds programs.
#pragma once

#include <string>

// Writes the graph as a picture of that format ("svg", "png", "pdf") to the path. Throws a Refusal where the program
// is missing or fails.
void MakePicture(const std::string& graph, const std::string& format, const std::string& path);
