#include "support/files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace bravic::testing {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
  const fs::path base = fs::temp_directory_path();
  for (unsigned i = 0;; ++i) {
    const fs::path path = base / ("bravic_test_" + std::to_string(std::rand()) + "_" + std::to_string(i));
    if (fs::create_directory(path)) {
      path_ = path.string();
      return;
    }
  }
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string ReadWhole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteWhole(const std::string& path, std::string_view text) {
  // A file that is cut to nothing is flushed to the disk when it is closed, a new one is not.
  if (!fs::is_symlink(path)) fs::remove(path);
  std::ofstream(path, std::ios::binary) << text;
}

void Type(const std::string& text) {
  const TemporaryDirectory directory;  // tests run beside each other
  WriteWhole(directory.Path("typed"), text);
  if (!std::freopen(directory.Path("typed").c_str(), "r", stdin)) std::abort();
}

std::vector<std::string> FilesIn(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> NetsIn(const std::string& directory) {
  std::vector<std::string> paths;
  std::error_code absent;
  for (const auto& entry : fs::directory_iterator(directory, absent)) {
    if (entry.path().extension() == ".dne") paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::vector<std::string> BenchmarkNets() {
  const std::string source = BRAVIC_SOURCE_DIR;
  std::vector<std::string> paths = NetsIn(source + "/../shared/nets");
  return paths.empty() ? NetsIn(source + "/../../shared/nets") : paths;
}

}  // namespace bravic::testing
