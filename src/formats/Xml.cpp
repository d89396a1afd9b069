#include "formats/Xml.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "formats/NumberText.h"

namespace formats {
namespace {

constexpr std::string_view BLANKS = " \t\n\r";

std::string_view Trimmed(std::string_view text, bool atBegin, bool atEnd) {
  if (atBegin) text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
  if (atEnd) text.remove_suffix(text.size() - 1 - text.find_last_not_of(BLANKS));
  return text;
}

bool IsBlank(char c) {
  return BLANKS.find(c) != std::string_view::npos;
}

bool IsText(pugi::xml_node node) {
  return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

// Goes through a text that the parser refused, to tell which of its elements is left open.
class TagScanner {
 public:
  struct Tag {
    std::string_view name;
    std::size_t at = 0;
  };

  explicit TagScanner(std::string_view text) : text_(text) {}

  // The element that is still open at the text's end or where another one is closed; "found" is that end tag, its name
  // empty at the end of the text. Answers false when every element is closed.
  bool FindOpen(Tag* open, Tag* found) {
    for (std::size_t at = text_.find('<'); at != std::string_view::npos; at = text_.find('<', at)) {
      const std::string_view rest = text_.substr(at);
      if (rest.starts_with("<!--")) {
        at = After("-->", at);
      } else if (rest.starts_with("<![CDATA[")) {
        at = After("]]>", at);
      } else if (rest.starts_with("<!") || rest.starts_with("<?")) {
        at = After(">", at);
      } else if (rest.starts_with("</")) {
        const Tag end{NameAt(at + 2), at};
        if (open_.empty() || open_.back().name != end.name) {
          *found = end;
          if (open_.empty()) return false;
          *open = open_.back();
          return true;
        }
        open_.pop_back();
        at = After(">", at);
      } else {
        const Tag begin{NameAt(at + 1), at};
        at = EndOfTag(at);
        if (at < 2 || text_[at - 2] != '/') open_.push_back(begin);
      }
    }
    if (open_.empty()) return false;
    *open = open_.back();
    *found = {{}, text_.size()};
    return true;
  }

 private:
  std::size_t After(std::string_view mark, std::size_t at) const {
    const std::size_t found = text_.find(mark, at);
    return found == std::string_view::npos ? text_.size() : found + mark.size();
  }

  std::string_view NameAt(std::size_t at) const {
    return text_.substr(at, std::min(text_.find_first_of(" \t\n\r/><", at), text_.size()) - at);
  }

  // Beyond the ">" that stands in no quotes.
  std::size_t EndOfTag(std::size_t at) const {
    for (char quote = 0; at < text_.size(); ++at) {
      const char c = text_[at];
      if (quote) {
        if (c == quote) quote = 0;
      } else if (c == '"' || c == '\'') {
        quote = c;
      } else if (c == '>') {
        return at + 1;
      }
    }
    return at;
  }

  std::string_view text_;
  std::vector<Tag> open_;
};

}  // namespace

std::string NamedElement(const char* element, std::string_view name) {
  return name.empty() ? std::string(element) : std::string(element) + " '" + std::string(name) + "'";
}

bool XmlFile::Parse(const char* root) {
  const pugi::xml_parse_result result =
      document_.load_buffer(text_.data(), text_.size(), pugi::parse_default, pugi::encoding_utf8);
  if (!result) {
    ReportDamage(result);
    return false;
  }
  if (std::strcmp(Root().name(), root) != 0) {
    Report(XML_OTHER_ROOT, Root(), {Root().name(), root});
    return false;
  }
  for (pugi::xml_node next = Root().next_sibling(); next; next = next.next_sibling()) {
    if (next.type() != pugi::node_element) continue;
    Report(XML_SECOND_ROOT, next, {next.name(), root});
    return false;
  }
  return true;
}

void XmlFile::ReportDamage(const pugi::xml_parse_result& result) {
  TagScanner::Tag open, found;
  if (result.status == pugi::status_end_element_mismatch && TagScanner(text_).FindOpen(&open, &found)) {
    const int line = LineAt(open.at);
    if (found.name.empty()) {
      problems_->Add(XML_UNCLOSED, line, {open.name});
    } else {
      problems_->Add(XML_CLOSED_AS_OTHER, LineAt(found.at), {open.name, std::to_string(line), found.name});
    }
    return;
  }
  std::string why = result.description();
  why[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(why[0])));
  problems_->Add(XML_DAMAGED, LineAt(static_cast<std::size_t>(std::max<std::ptrdiff_t>(result.offset, 0))), {why});
}

int XmlFile::LineAt(std::size_t offset) {
  if (ends_.empty()) {
    for (std::size_t at = text_.find('\n'); at != std::string_view::npos; at = text_.find('\n', at + 1))
      ends_.push_back(at);
    ends_.push_back(text_.size());
  }
  return 1 + static_cast<int>(std::lower_bound(ends_.begin(), ends_.end() - 1, offset) - ends_.begin());
}

int XmlFile::LineOf(pugi::xml_node node) {
  const std::ptrdiff_t offset = node.offset_debug();
  return offset < 0 ? 0 : LineAt(static_cast<std::size_t>(offset));
}

Word XmlFile::TextOf(pugi::xml_node element) {
  Word word{{}, LineOf(element)};
  for (pugi::xml_node child : element) {
    if (!IsText(child)) continue;
    const bool isPlain = child.type() == pugi::node_pcdata;
    word.text += Trimmed(child.value(), isPlain && !child.previous_sibling(), isPlain && !child.next_sibling());
  }
  return word;
}

pugi::xml_node XmlFile::OptionalChild(pugi::xml_node parent, const char* name, const std::string& owner) {
  const pugi::xml_node child = parent.child(name);
  if (const pugi::xml_node second = child.next_sibling(name))
    Report(SECOND_ELEMENT, second, {owner, name, std::to_string(LineOf(child))});
  return child;
}

pugi::xml_node XmlFile::OnlyChild(pugi::xml_node parent, const char* name, const std::string& owner) {
  if (!parent.child(name)) Report(ELEMENT_MISSING, parent, {owner, name});
  return OptionalChild(parent, name, owner);
}

std::vector<Word> XmlFile::WordsIn(pugi::xml_node element) {
  std::vector<Word> words;
  for (pugi::xml_node child : element) {
    if (!IsText(child)) continue;
    int line = LineOf(child);
    const std::string_view text = child.value();
    std::size_t end = 0;
    for (;;) {
      const std::size_t begin = std::min(text.find_first_not_of(BLANKS, end), text.size());
      line += static_cast<int>(std::count(text.begin() + end, text.begin() + begin, '\n'));
      if (begin == text.size()) break;
      end = std::min(text.find_first_of(BLANKS, begin), text.size());
      words.push_back({std::string(text.substr(begin, end - begin)), line});
    }
  }
  return words;
}

bool XmlFile::ReadNumbers(pugi::xml_node element, const std::string& owner, std::size_t perRow,
                          std::vector<double>* values, std::vector<int>* rowLines) {
  for (pugi::xml_node child : element) {
    int line = LineOf(child);
    const std::string_view text = IsText(child) ? child.value() : child.name();
    std::size_t inRow = values->size() % perRow;
    for (const char *at = text.data(), *const end = at + text.size();;) {
      for (; at != end && IsBlank(*at); ++at) line += *at == '\n';
      if (at == end) break;
      if (inRow == 0) rowLines->push_back(line);
      if (++inRow == perRow) inRow = 0;
      const char* const begin = at;
      while (at != end && !IsBlank(*at)) ++at;
      const std::optional<double> value = IsText(child) ? ReadNumber({begin, at}) : std::nullopt;
      if (!value) {
        problems_->Add(NO_NUMBER_IN_ELEMENT, line, {owner, {begin, at}, element.name()});
        return false;
      }
      values->push_back(*value);
    }
  }
  return true;
}

void AppendEscaped(std::string* xml, std::string_view text, std::string_view escaped) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t special = std::min(text.find_first_of(escaped, at), text.size());
    *xml += text.substr(at, special - at);
    if (special == text.size()) break;
    switch (text[special]) {
      case '&':
        *xml += "&amp;";
        break;
      case '<':
        *xml += "&lt;";
        break;
      case '>':
        *xml += "&gt;";
        break;
      case '"':
        *xml += "&quot;";
        break;
      case '\t':
        *xml += "&#9;";
        break;
      case '\n':
        *xml += "&#10;";
        break;
      default:
        *xml += "&#13;";
    }
    at = special + 1;
  }
}

void AppendElement(std::string* xml, std::string_view indent, std::string_view name, std::string_view text) {
  xml->append(indent).append("<").append(name).append(">");
  if (Trimmed(text, true, true).size() == text.size() || text.find("]]>") != std::string_view::npos) {
    AppendEscaped(xml, text, "&<>\"\t\r");
  } else {
    xml->append("<![CDATA[").append(text).append("]]>");
  }
  xml->append("</").append(name).append(">\n");
}

}  // namespace formats
