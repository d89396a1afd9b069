// A page that is a net: the explorer with a net inside (tools/explorer).
#pragma once

#include <string>

// text: of a net file of the library's own form. name: what the page's messages call it.
std::string PageOf(const std::string& text, const std::string& name);
