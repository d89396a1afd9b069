// The formats, in one table: what each is called, how its files begin, what it can hold, and the two functions that
// know it. A new format is a file with these two functions and a row of the table in Formats.cpp.
#pragma once

#include <string>
#include <string_view>

#include "formats/Description.h"
#include "formats/Problems.h"

namespace formats {

// What a format may have room for beyond names, states, links and tables of probabilities.
enum Holding : unsigned {
  HOLDS_NET_NAME = 1,
  HOLDS_NAMES = 2,  // of nodes and states
  HOLDS_TITLES = 4,
  HOLDS_COMMENTS = 8,
  HOLDS_POSITIONS = 16,
  HOLDS_LEVELS = 32,
  HOLDS_INTERVALS = 64,  // of continuous nodes
  HOLDS_EXPERIENCE = 128,
  HOLDS_DECISIONS = 256,  // and utilities
  HOLDS_NET_TITLE = 512,
  HOLDS_NET_COMMENT = 1024,
  HOLDS_NODE_SPELLINGS = 2048,  // names of nodes may be spelled in any way
  HOLDS_STATE_SPELLINGS = 4096
};

struct Format {
  const char* name;        // "bif", as hosts say it
  const char* shownName;   // "BIF", as messages say it
  const char* extensions;  // ".bif", or several with blanks between them
  unsigned holds;
  bool rowsAreCounts;  // rows may sum to anything, and are normalized with a warning
  // text: UTF-8, with line feeds alone; may be changed. What is found is put into the empty description, as far as it
  // goes where there are problems.
  void (*read)(std::string* text, NetDescription* net, Problems* problems);
  void (*write)(const NetDescription& net, std::string* text);
};

// The library's own format has no row: it is read and written by the core.
inline constexpr std::string_view OWN_FORMAT = "dne";
inline constexpr std::string_view OWN_EXTENSION = ".dne";

// Answer NULL where there is none such.
const Format* FormatNamed(std::string_view name);
const Format* FormatOfExtension(std::string_view path);
std::string NamesOfFormats();       // our own first, for messages
std::string ExtensionsOfFormats();  // likewise

// What a text begins with tells its format: format is NULL for our own. Answers false where it is none, with the words
// that it begins with in start.
bool TellFormat(std::string_view text, const Format** format, std::string* start);
// Whether it has blanks and comments alone.
bool HoldsNothing(std::string_view text);

// Readers and writers, each in a file of its own.
void ReadBif(std::string* text, NetDescription* net, Problems* problems);
void WriteBif(const NetDescription& net, std::string* text);
void ReadNet(std::string* text, NetDescription* net, Problems* problems);
void WriteNet(const NetDescription& net, std::string* text);
void ReadUai(std::string* text, NetDescription* net, Problems* problems);
void WriteUai(const NetDescription& net, std::string* text);
void ReadXmlBif(std::string* text, NetDescription* net, Problems* problems);
void WriteXmlBif(const NetDescription& net, std::string* text);
void ReadXdsl(std::string* text, NetDescription* net, Problems* problems);
void WriteXdsl(const NetDescription& net, std::string* text);

}  // namespace formats
