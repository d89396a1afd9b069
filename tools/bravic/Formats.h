// The formats of net files by the names and extensions that a command line has for them.
#pragma once

#include <string>

inline constexpr char OWN_FORMAT[] = "dne";

// The format of files of that name; empty where the extension is none of a format.
std::string FormatOfExtension(const std::string& path);
std::string KnownExtensions();  // ".dne, .bif ...", for messages

// A check of an option's value: what is wrong with it.
std::string CheckFormat(const std::string& name);
inline constexpr char FORMAT_FORM[] = "dne|bif|xmlbif|net|uai|xdsl";
