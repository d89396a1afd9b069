// A look at the text of a net file.
#pragma once

#include <string>

// How many nets a file holds; reading takes the first. 0 for a file that cannot be read.
int NumberOfNets(const std::string& path);
