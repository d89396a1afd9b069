// A look at the text of a net file.
#pragma once

#include <string>

// How many nets a file of our own form holds; reading takes the first. 1 for a file of another form.
int NumberOfNets(const std::string& path);
