// Files as a command line names them. "-" is the standard input or output. What is written appears only whole: a
// regular file is replaced when all is well, behind a symbolic link and with the old one's owner and permissions;
// devices and pipes are written to. Temporary files are gone when the program ends, whatever ends it.
#pragma once

#include <string>

bool IsStandard(const std::string& path);  // "-"
// Whether what is written to the path arrives at the standard output.
bool IsStandardOutput(const std::string& path);
bool IsSameFile(const std::string& a, const std::string& b);
// Throws Refusal where not all of it gets there.
void WriteWhole(const std::string& text, const std::string& path);

// An empty file of this process's own.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  explicit TemporaryFile(const std::string& folder);
  ~TemporaryFile() { Remove(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& Path() const { return path_; }
  void Make(const std::string& folder, const std::string& ending = ".tmp");
  void Remove();
  void MoveTo(const std::string& path);

 private:
  void Forget();

  std::string path_;
  int place_ = -1;  // among the files that a signal removes
};

// A file to read. What cannot be read twice, the standard input or another pipe, is kept in a temporary file, and what
// is compressed by gzip is unpacked into one.
class InputFile {
 public:
  explicit InputFile(const std::string& path);
  const std::string& Path() const { return unpacked_.Path().empty() ? PackedPath() : unpacked_.Path(); }
  // What messages call it.
  std::string ShownName() const { return IsStandard(name_) ? "<standard input>" : name_; }

 private:
  const std::string& PackedPath() const { return copy_.Path().empty() ? name_ : copy_.Path(); }
  void KeepCopy(bool standard);
  void Unpack();

  std::string name_;
  TemporaryFile copy_, unpacked_;
};

// Compressed files that hold more are refused from now on. 0: no limit.
void LimitUnpacking(long kilobytes);

// A file to write.
class OutputFile {
 public:
  enum class Mode { Replace, Append };
  explicit OutputFile(const std::string& path, Mode mode = Mode::Replace);
  // Where the text goes until Finish; holds what is there already when it is to be appended to a regular file.
  const std::string& TemporaryPath() const { return temporary_.Path(); }
  void Finish();

 private:
  std::string name_, target_;  // target: the regular file to replace, links followed; empty for streams
  Mode mode_;
  TemporaryFile temporary_;
};

// Whether a path leads to a regular file, or to none yet, rather than to a device or a pipe. Throws for
// what cannot be written: a folder, a protected file, links in a circle.
bool IsReplaceable(const std::string& path);
