// What the fuzzers share: the library started once, files out of the way, and the checks that must hold whatever was
// done. A check that fails prints what it saw and aborts.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/nets.h"

namespace bravic::fuzz {

using testing::Net;

// Starts the library, with the deepest checks of arguments, at the first call.
environ_ns Environment();
std::string Path(const char* name);  // of a file of this process alone
[[noreturn]] void Fail(const std::string& what, const std::string& details);
// Error messages of that danger and above, with their numbers. Internal errors and damaged nets are never right.
std::string Errors(int danger = 5);
std::set<int> ErrorNumbers(int danger = 5);
void ForgetErrors();  // after looking for internal errors and damage

class File {
 public:
  explicit File(const std::string& path) : spec_(FileNamed_ns(path.c_str(), Environment())) {}
  ~File() { FreeFileSpec_ns(spec_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  filespec_ns get() const { return spec_; }

 private:
  filespec_ns spec_;
};

// Takes the bytes of an input one by one; 0 where they have run out.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}
  bool Empty() const { return at_ == end_; }
  int Next() { return Empty() ? 0 : *at_++; }
  int Below(int n) { return n > 0 ? Next() % n : 0; }

 private:
  const std::uint8_t *at_, *end_;
};

// While it lives arguments are checked less deeply.
class Quickly {
 public:
  Quickly() : before_(ArgumentChecking_ns(24, Environment())) {}
  ~Quickly() { ArgumentChecking_ns(before_, Environment()); }
  Quickly(const Quickly&) = delete;
  Quickly& operator=(const Quickly&) = delete;

 private:
  int before_;
};

bool IsPlaceholder(node_bn node);
// All that a host can read of a net, but for beliefs and orders.
std::string Look(const Net& net);
std::string Difference(const std::string& is, const std::string& was);  // where they begin to differ
std::string Saved(const Net& net, const std::string& path);             // the file's contents
// The net is sound; it can be saved and read back as the same net, which writes the same file.
void CheckSound(const Net& net);
void CheckSaving(const Net& net);
// Beliefs and the probability of the findings against the enumerated joint distribution, where the net is compiled.
void CheckBeliefs(const Net& net);
void CheckBelief(const Net& net, node_bn node);

// The joint distribution of a compiled net without findings, to be kept by what is done next to the net for all nodes
// that are left; nothing is checked of another net.
class Kept {
 public:
  explicit Kept(const Net& net);
  void Check(const Net& net) const;

 private:
  std::map<std::string, std::vector<double>> beliefs_;
};

// At its end all memory that was taken since its beginning has been given back.
class Balance {
 public:
  Balance();
  ~Balance();
  Balance(const Balance&) = delete;
  Balance& operator=(const Balance&) = delete;

 private:
  std::size_t before_;
};

// Reading so many bytes may take a time in proportion, beside what small files take.
class Pace {
 public:
  explicit Pace(std::size_t nbytes);
  ~Pace();
  Pace(const Pace&) = delete;
  Pace& operator=(const Pace&) = delete;

 private:
  double allowed_, before_;  // seconds of the processor
};

}  // namespace bravic::fuzz
