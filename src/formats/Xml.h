// What the formats in XML share: a parsed file whose elements know their lines, the texts and numbers that stand in
// elements, and printing. XML itself is read by pugixml, which fetches nothing and expands no entity beyond the five.
#pragma once

#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "formats/Description.h"
#include "formats/Problems.h"

namespace formats {

class XmlFile {
 public:
  // text: UTF-8, lines ended by LF; it outlives this.
  XmlFile(std::string_view text, Problems* problems) : text_(text), problems_(problems) {}
  XmlFile(const XmlFile&) = delete;
  XmlFile& operator=(const XmlFile&) = delete;

  // Answers false where the text isn't well-formed or has another root than that, and reports it.
  bool Parse(const char* root);
  pugi::xml_node Root() const { return document_.document_element(); }

  // Where the element's name stands, or a text begins.
  int LineOf(pugi::xml_node node);
  // What stands in the element, without blanks at the ends (but for those of a CDATA section), and the element's line.
  Word TextOf(pugi::xml_node element);
  // The first child of that name; reports it where there is none, or a second one. "owner" is named in the reports.
  pugi::xml_node OnlyChild(pugi::xml_node parent, const char* name, const std::string& owner);
  // The same, but there may be none.
  pugi::xml_node OptionalChild(pugi::xml_node parent, const char* name, const std::string& owner);
  // The words in the element, which blanks separate, each with its line.
  std::vector<Word> WordsIn(pugi::xml_node element);
  // Appends the numbers in the element to values, and the line of every perRow-th to rowLines. Answers false where
  // something else stands there, and reports it.
  bool ReadNumbers(pugi::xml_node element, const std::string& owner, std::size_t perRow, std::vector<double>* values,
                   std::vector<int>* rowLines);

  void Report(const ErrorRow& row, pugi::xml_node where, std::initializer_list<std::string_view> words) {
    problems_->Add(row, LineOf(where), words);
  }

 private:
  void ReportDamage(const pugi::xml_parse_result& result);
  int LineAt(std::size_t offset);

  std::string_view text_;
  Problems* problems_;
  pugi::xml_document document_;
  std::vector<std::size_t> ends_;  // where the text's lines end; found when the first line is asked for
};

// "VARIABLE 'x'"
std::string NamedElement(const char* element, std::string_view name);

// Appends the text with what means something in XML, or would not come back from an attribute, written as entities.
void AppendEscaped(std::string* xml, std::string_view text, std::string_view escaped = "&<>\"\t\r\n");
// "<name>text</name>" and a line's end; a text with blanks at its ends as a CDATA section.
void AppendElement(std::string* xml, std::string_view indent, std::string_view name, std::string_view text);

}  // namespace formats
