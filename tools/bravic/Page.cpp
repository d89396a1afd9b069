#include "Page.h"

#include <cstdio>
#include <string_view>

#include "Characters.h"
#include "Refusal.h"

extern const std::string_view PAGE_TEMPLATE;  // share/bravic/explorer.html; made by the build

namespace {

// Where the net is put.
constexpr std::string_view BEFORE_NET = "<script type=\"application/json\" id=\"net\">", NO_NET = "null";

// As a string of JSON, in which nothing ends or begins an element of the page.
std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const std::string& character : CharactersOf(text)) {
    const char first = character[0];
    if (first == '"' || first == '\\') quoted += '\\';
    if (first == '\n' || first == '\t') {
      quoted += first == '\n' ? "\\n" : "\\t";
    } else if (IsControl(character) || first == '<' || first == '>' || first == '&') {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(first));
      quoted += escape;
    } else {
      quoted += character;
    }
  }
  return quoted + '"';
}

}  // namespace

std::string PageOf(const std::string& text, const std::string& name) {
  const auto start = PAGE_TEMPLATE.find(BEFORE_NET);
  if (start == std::string_view::npos) throw Refusal("the program was built with a page that has no place for a net");
  const auto at = start + BEFORE_NET.size();
  std::string page(PAGE_TEMPLATE.substr(0, at));
  page += "{\"name\":" + Quoted(name) + ",\"format\":\"dne\",\"text\":" + Quoted(text) + '}';
  page += PAGE_TEMPLATE.substr(at + NO_NET.size());
  return page;
}
