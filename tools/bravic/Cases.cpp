#include "Cases.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>

#include "Terminal.h"

namespace fs = std::filesystem;

namespace {

constexpr int OUT_OF_BOUNDS = 2086;
constexpr char STANDARD[] = "-";

std::string FreshPath(const fs::path& folder, const std::string& stem) {
  std::random_device random;
  for (;;) {
    const fs::path path = folder / (stem + "." + std::to_string(random()) + ".tmp");
    if (!fs::exists(path)) return path.string();
  }
}

void Remove(const std::string& path) {
  std::error_code ignored;
  fs::remove(path, ignored);
}

}  // namespace

CaseInput::CaseInput(const std::string& path, Session& session) : path_(path), temporary_(path == STANDARD) {
  if (temporary_) {
    path_ = FreshPath(fs::temp_directory_path(), "bravic");
    std::ofstream copy(path_, std::ios::binary);
    if (std::cin.peek() != EOF) copy << std::cin.rdbuf();
    copy.close();
    if (!copy) {
      Remove(path_);
      throw Refusal("couldn't keep the standard input in file '" + path_ + "'");
    }
  }
  file_ = session.Named(path_);
}

CaseInput::~CaseInput() {
  if (temporary_) Remove(path_);
}

WholeOutput::WholeOutput(const std::string& path, bool append) : path_(path) {
  const fs::path place(path);
  temporary_ = path == STANDARD ? FreshPath(fs::temp_directory_path(), "bravic")
                                : FreshPath(place.parent_path(), place.filename().string());
  std::error_code failure;
  if (append && path != STANDARD && fs::exists(place)) fs::copy_file(place, temporary_, failure);
  if (failure) throw Refusal("couldn't copy file '" + path + "': " + failure.message());
}

WholeOutput::~WholeOutput() {
  Remove(temporary_);
}

void WholeOutput::Finish() {
  if (path_ == STANDARD) {
    std::ifstream file(temporary_, std::ios::binary);
    if (file.peek() != EOF) std::cout << file.rdbuf();
    std::cout.flush();
    if (!std::cout) throw Refusal("couldn't write to the standard output");
    return;
  }
  std::error_code failure;
  fs::rename(temporary_, path_, failure);
  if (failure) throw Refusal("couldn't write file '" + path_ + "': " + failure.message());
}

void CheckCases(Session& session) {
  for (report_ns report = nullptr; (report = GetError_ns(session.Environment(), 4, report));) {
    if (ErrorNumber_ns(report) != OUT_OF_BOUNDS && ErrorDanger_ns(report) >= 5) break;
    Complain("warning: " + std::string(ErrorMessage_ns(report)));
    ClearError_ns(report);
    report = nullptr;
  }
  session.Check();
}
