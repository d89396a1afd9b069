// Case files on a command line: "-" stands for the standard input or output, and what is written appears only whole.
#pragma once

#include <string>

#include "Session.h"

// A case file to read; the standard input is copied into a file of its own first.
class CaseInput {
 public:
  CaseInput(const std::string& path, Session& session);
  ~CaseInput();
  CaseInput(const CaseInput&) = delete;
  CaseInput& operator=(const CaseInput&) = delete;
  filespec_ns Spec() const { return file_.get(); }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
  bool temporary_ = false;
  File file_;
};

// A file to write, beside its place until Finish moves it there (or copies it to the standard output).
class WholeOutput {
 public:
  // append: begins with what the file holds now.
  WholeOutput(const std::string& path, bool append);
  ~WholeOutput();
  WholeOutput(const WholeOutput&) = delete;
  WholeOutput& operator=(const WholeOutput&) = delete;
  const std::string& TemporaryPath() const { return temporary_; }
  void Finish();

 private:
  std::string path_, temporary_;
};

// Session::Check, but that a value out of bounds, which counts as missing, is only complained of.
void CheckCases(Session& session);
