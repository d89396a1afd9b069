// Files that tests write and read back.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace bravic::testing {

// A fresh directory, removed with what is in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

std::string ReadWhole(const std::string& path);  // empty when there is no such file
void WriteWhole(const std::string& path, std::string_view text);
void Type(const std::string& text);                              // in place of the keyboard, until the next such text
std::vector<std::string> FilesIn(const std::string& directory);  // names, sorted
// Paths of the benchmark nets that machines of ours keep beside the checkout; empty elsewhere.
std::vector<std::string> BenchmarkNets();
std::vector<std::string> NetsIn(const std::string& directory);  // paths of its ".dne" files, sorted

}  // namespace bravic::testing
