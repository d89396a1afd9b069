#include "formats/Formats.h"

#include <algorithm>
#include <cctype>

namespace formats {
namespace {

constexpr unsigned HOLDS_SPELLINGS = HOLDS_NET_NAME | HOLDS_NAMES | HOLDS_NODE_SPELLINGS | HOLDS_STATE_SPELLINGS;
constexpr unsigned HOLDS_ALL_TEXTS = HOLDS_TITLES | HOLDS_COMMENTS | HOLDS_NET_TITLE | HOLDS_NET_COMMENT;

constexpr Format FORMATS[] = {
    {"bif", "BIF", ".bif", HOLDS_SPELLINGS | HOLDS_COMMENTS | HOLDS_NET_COMMENT | HOLDS_POSITIONS, false, ReadBif,
     WriteBif},
    {"xmlbif", "XMLBIF", ".bifxml .xml",
     HOLDS_SPELLINGS | HOLDS_COMMENTS | HOLDS_NET_COMMENT | HOLDS_POSITIONS | HOLDS_DECISIONS, false, ReadXmlBif,
     WriteXmlBif},
    {"xdsl", "XDSL", ".xdsl",
     HOLDS_NET_NAME | HOLDS_NAMES | HOLDS_TITLES | HOLDS_COMMENTS | HOLDS_NET_TITLE | HOLDS_NET_COMMENT |
         HOLDS_POSITIONS | HOLDS_DECISIONS,
     false, ReadXdsl, WriteXdsl},
    {"net", "NET", ".net",
     HOLDS_NET_NAME | HOLDS_NAMES | HOLDS_STATE_SPELLINGS | HOLDS_ALL_TEXTS | HOLDS_POSITIONS | HOLDS_LEVELS |
         HOLDS_INTERVALS | HOLDS_EXPERIENCE | HOLDS_DECISIONS,
     true, ReadNet, WriteNet},
    {"uai", "UAI", ".uai", 0, false, ReadUai, WriteUai},
};

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

bool IsWordCharacter(char c) {
  return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9') || c == '_';
}

// The text after what stands before its end, or nothing where there is no end.
std::string_view After(std::string_view text, std::string_view end) {
  const std::size_t at = text.find(end);
  return at == std::string_view::npos ? std::string_view() : text.substr(at + end.size());
}

std::string_view SkipBlanks(std::string_view text) {
  const auto it = std::find_if_not(text.begin(), text.end(), IsBlank);
  return text.substr(static_cast<std::size_t>(it - text.begin()));
}

// Blanks and the comments of all text formats.
std::string_view SkipComments(std::string_view text) {
  for (;;) {
    text = SkipBlanks(text);
    if (text.starts_with("//") || text.starts_with('%') || text.starts_with('#')) {
      text.remove_prefix(std::min(text.find_first_of("\r\n"), text.size()));
    } else if (text.starts_with("/*")) {
      text = After(text, "*/");
    } else {
      return text;
    }
  }
}

// What stands before the root element of an XML text: its head, comments, a DOCTYPE with or without declarations.
std::string_view SkipXmlHead(std::string_view text) {
  for (;;) {
    text = SkipBlanks(text);
    if (text.starts_with("<?")) {
      text = After(text, "?>");
    } else if (text.starts_with("<!--")) {
      text = After(text, "-->");
    } else if (text.starts_with("<!")) {
      const std::size_t bracket = text.find('['), end = text.find('>');
      text = After(bracket < end ? After(text, "]") : text, ">");
    } else {
      return text;
    }
  }
}

std::string_view FirstWord(std::string_view text) {
  const auto it = std::find_if_not(text.begin(), text.end(), IsWordCharacter);
  return text.substr(0, static_cast<std::size_t>(it - text.begin()));
}

// What one of the first lines of our own files holds, whatever else they begin with.
constexpr std::string_view OWN_INDICATOR = "~->[";
constexpr std::size_t OWN_HEAD = 768;

struct Beginning {
  const char* word;
  const char* format;
};
constexpr Beginning ROOTS[] = {{"BIF", "xmlbif"}, {"smile", "xdsl"}};
// "node", "potential" ...: files without a head.
constexpr Beginning WORDS[] = {{"bnet", "dne"},       {"network", "bif"},  {"variable", "bif"}, {"probability", "bif"},
                               {"net", "net"},        {"class", "net"},    {"node", "net"},     {"discrete", "net"},
                               {"continuous", "net"}, {"decision", "net"}, {"utility", "net"},  {"potential", "net"},
                               {"function", "net"},   {"BAYES", "uai"},    {"MARKOV", "uai"}};

template <std::size_t N>
std::string_view FormatThatBegins(const Beginning (&table)[N], std::string_view word) {
  for (const Beginning& row : table) {
    if (word == row.word) return row.format;
  }
  return {};
}

// Calls visit(extension) for each of a format's.
template <class Visit>
void ForEachExtension(const Format& format, Visit visit) {
  for (std::string_view all = format.extensions; !all.empty();) {
    const std::size_t end = std::min(all.find(' '), all.size());
    visit(all.substr(0, end));
    all.remove_prefix(std::min(end + 1, all.size()));
  }
}

}  // namespace

const Format* FormatNamed(std::string_view name) {
  for (const Format& format : FORMATS) {
    if (name == format.name) return &format;
  }
  return nullptr;
}

const Format* FormatOfExtension(std::string_view path) {
  std::string lower(path);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const Format& format : FORMATS) {
    bool found = false;
    ForEachExtension(format, [&](std::string_view extension) { found |= lower.ends_with(extension); });
    if (found) return &format;
  }
  return nullptr;
}

std::string NamesOfFormats() {
  std::string names(OWN_FORMAT);
  for (const Format& format : FORMATS) names += std::string(" ") + format.name;
  return names;
}

std::string ExtensionsOfFormats() {
  std::string extensions(OWN_EXTENSION);
  for (const Format& format : FORMATS) extensions += std::string(" ") + format.extensions;
  return extensions;
}

bool TellFormat(std::string_view text, const Format** format, std::string* start) {
  *format = nullptr;
  if (text.substr(0, OWN_HEAD).find(OWN_INDICATOR) != std::string_view::npos) return true;
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  const bool isXml = SkipBlanks(text).starts_with('<');
  const std::string_view content = isXml ? SkipXmlHead(text) : SkipComments(text);
  const std::string_view word = FirstWord(isXml && !content.empty() ? content.substr(1) : content);
  const std::string_view name = isXml ? FormatThatBegins(ROOTS, word) : FormatThatBegins(WORDS, word);
  *format = FormatNamed(name);
  if (*format || name == OWN_FORMAT) return true;
  *start = content.substr(0, content.find_first_of("\r\n"));
  return false;
}

bool HoldsNothing(std::string_view text) {
  return SkipComments(text).empty();
}

}  // namespace formats
