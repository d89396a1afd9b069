// The page of errors, made from the tables of errors of the core and of the formats: error_page PAGE SOURCES compares
// the page with it, and looks through the sources for each name; error_page --write PAGE writes the page. What stands
// before the first chapter is kept.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Basic/ErrorTable.h"

namespace {

struct Row {
  std::string name, number;
  int danger;
  std::string text, meaning;
};
struct Chapter {
  std::string title, remark;
  std::vector<Row> rows;
};

std::vector<Chapter> Table() {
  using namespace bravic;
  std::vector<Chapter> table;
#define TABLE_PLACE "`%s` statement for [%s] of %s '%s', line %ld"
#define CHAPTER(title, remark) table.push_back({title, remark, {}});
#define ROW(name, number, danger, text, meaning) \
  table.back().rows.push_back({#name, number ? #number : "-", danger, text, meaning});
#include "Basic/ErrorTable.inc"
#include "formats/ErrorTable.inc"
#undef ROW
#undef CHAPTER
#undef TABLE_PLACE
  return table;
}

std::string DangerText(int danger) {
  constexpr const char* NAMES[] = {"-", "any", "framed"};
  constexpr const char* DANGERS[] = {"report", "notice", "warning", "error", "internal error"};
  return danger < 0 ? NAMES[danger - bravic::AROUND_ERR] : DANGERS[danger - bravic::REPORT_ERR];
}

void Replace(std::string* text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text->find(from, at)) != std::string::npos; at += to.size()) {
    text->replace(at, from.size(), to);
  }
}

std::string Quoted(std::string text) {
  Replace(&text, "%.*s", "%s");
  Replace(&text, "\n", "\\n");
  return text.find('`') == std::string::npos ? "`" + text + "`" : "`` " + text + " ``";
}

// Rows that differ in their numbers alone share a line.
std::string ChapterText(const Chapter& chapter) {
  std::string page = "## " + chapter.title + "\n\n";
  if (!chapter.remark.empty()) page += chapter.remark + "\n\n";
  page += "| Number | Danger | Text | Meaning |\n|---|---|---|---|\n";
  for (std::size_t i = 0; i < chapter.rows.size(); ++i) {
    const Row& row = chapter.rows[i];
    std::string numbers = row.number;
    for (; i + 1 < chapter.rows.size(); ++i) {
      const Row& next = chapter.rows[i + 1];
      if (next.text != row.text || next.meaning != row.meaning || next.danger != row.danger) break;
      numbers += ", " + next.number;
    }
    page += "| " + numbers + " | " + DangerText(row.danger) + " | " + Quoted(row.text) + " | " + row.meaning + " |\n";
  }
  return page;
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Page(const std::vector<Chapter>& table, const std::string& before) {
  std::string page = before.substr(0, before.find("\n## ") + 1);
  for (const Chapter& chapter : table) page += (&chapter == table.data() ? "" : "\n") + ChapterText(chapter);
  return page;
}

int ComparePage(const std::string& is, const std::string& expected) {
  std::istringstream page(is), table(expected);
  std::string first, second;
  for (int line = 1;; ++line) {
    const bool more = !std::getline(page, first).fail(), wanted = !std::getline(table, second).fail();
    if (!more && !wanted) return 0;
    if (more == wanted && first == second) continue;
    std::cerr << "line " << line << " of the page differs from the table, which says\n" << second << "\n";
    return 1;
  }
}

// The words of all sources but the table, comments left out.
std::set<std::string> WordsOfSources(const std::filesystem::path& folder) {
  std::set<std::string> words;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".cpp" && extension != ".h") continue;
    std::string word;
    const std::string text = ReadFile(entry.path());
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text.compare(i, 2, "//") == 0) i = std::min(text.find('\n', i), text.size() - 1);
      const char c = text[i];
      const bool inWord = c == '_' || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9');
      if (!inWord) {
        words.insert(word);
        word.clear();
      } else {
        word += c;
      }
    }
  }
  return words;
}

// A row that no source names is for nothing, unless its meaning says so.
int FindUnused(const std::vector<Chapter>& table, const std::set<std::string>& words) {
  int faults = 0;
  for (const Chapter& chapter : table) {
    for (const Row& row : chapter.rows) {
      if (words.count(row.name) || row.meaning.starts_with("never raised")) continue;
      std::cerr << row.name << " is reported nowhere\n";
      ++faults;
    }
  }
  return faults;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "error_page PAGE SOURCES, or error_page --write PAGE\n";
    return 2;
  }
  const std::vector<Chapter> table = Table();
  if (std::string(argv[1]) == "--write") {
    const std::string page = Page(table, ReadFile(argv[2]));
    std::ofstream(argv[2], std::ios::binary) << page;
    return 0;
  }
  const std::string is = ReadFile(argv[1]);
  return ComparePage(is, Page(table, is)) + FindUnused(table, WordsOfSources(argv[2])) > 0;
}
