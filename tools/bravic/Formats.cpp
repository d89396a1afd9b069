#include "Formats.h"

#include <filesystem>

#include "Nearest.h"

namespace {

constexpr struct {
  const char *extension, *format;
} EXTENSIONS[] = {{".dne", OWN_FORMAT}, {".dnet", OWN_FORMAT}, {".bif", "bif"}, {".bifxml", "xmlbif"},
                  {".xml", "xmlbif"},   {".net", "net"},       {".uai", "uai"}, {".xdsl", "xdsl"}};

}  // namespace

std::string FormatOfExtension(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  for (const auto& row : EXTENSIONS) {
    if (extension == row.extension) return row.format;
  }
  return "";
}

std::string KnownExtensions() {
  std::string all;
  for (const auto& row : EXTENSIONS) all += (all.empty() ? "" : ", ") + std::string(row.extension);
  return all;
}

std::string CheckFormat(const std::string& name) {
  std::vector<std::string> names;
  for (const auto& row : EXTENSIONS) {
    if (name == row.format) return "";
    names.push_back(row.format);
  }
  return "there is no format '" + name + "'" + DidYouMean(name, names, " (" + std::string(FORMAT_FORM) + ")");
}
