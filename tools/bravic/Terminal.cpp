#include "Terminal.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#ifdef _WIN32
#include <io.h>
#include <windows.h>
// Needs what the line above declares.
#include <psapi.h>
#else
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {

using Clock = std::chrono::steady_clock;

// The operation whose progress is being shown.
struct {
  std::string what;
  Clock::time_point start;
  int drawn = 0;  // characters
} bar;

bool IsTerminal(int descriptor) {
#ifdef _WIN32
  return _isatty(descriptor) != 0;
#else
  return isatty(descriptor) != 0;
#endif
}

}  // namespace

bool OutputIsTerminal() {
  return IsTerminal(1);
}

int TerminalWidth() {
#ifdef _WIN32
  CONSOLE_SCREEN_BUFFER_INFO console;
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &console)) {
    return console.srWindow.Right - console.srWindow.Left;  // a line of the whole width would wrap
  }
#else
  winsize size{};
  if (ioctl(1, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
#endif
  return 80;
}

bool TerminalShowsBlocks() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(name);
    if (value && *value) return std::strstr(value, "UTF-8") || std::strstr(value, "utf8");
  }
  return false;
}

long long PeakMemoryKilobytes() {
#ifdef _WIN32
  PROCESS_MEMORY_COUNTERS counters;
  if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) return -1;
  return static_cast<long long>(counters.PeakWorkingSetSize / 1024);
#else
  rusage usage{};
  return getrusage(RUSAGE_SELF, &usage) == 0 ? static_cast<long long>(usage.ru_maxrss) : -1;
#endif
}

void Complain(const std::string& message) {
  ComplainAt("bravic", message);
}

void ComplainAt(const std::string& place, const std::string& message) {
  EndProgressBar();
  std::string_view text = message;
  while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  std::fprintf(stderr, "%s: %.*s\n", place.c_str(), static_cast<int>(text.size()), text.data());
}

void OpenStandardStreams() {
#ifndef _WIN32
  // The lowest number is taken, so these are 0, 1 and 2 in turn; opened the wrong way round for their use.
  for (int stream : {0, 1, 2}) {
    if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", stream == 0 ? O_WRONLY : O_RDONLY) != stream) std::abort();
  }
#endif
}

bool OutputArrived() {
  errno = 0;
  const bool lost = std::ferror(stdout) != 0;
  if (std::fflush(stdout) == 0 && !lost) return true;
  const char* reason = errno ? std::strerror(errno) : nullptr;
  Complain(std::string("couldn't write to the standard output") + (reason ? std::string(": ") + reason : ""));
  return false;
}

int BRAVIC_CALL ShowProgressBar(void*, const char* what, double done, double total_seconds) {
  const auto now = Clock::now();
  if (bar.what != what) {
    EndProgressBar();
    bar.what = what;
    bar.start = now;
  }
  const double elapsed = std::chrono::duration<double>(now - bar.start).count();
  if (IsTerminal(2) && (elapsed >= 1 || bar.drawn)) {
    constexpr int WIDTH = 30;
    const int filled = done <= 0 ? 0 : done >= 1 ? WIDTH : static_cast<int>(done * WIDTH);
    int length =
        std::fprintf(stderr, "\r%s [%s%s] %3.0f%%", what, std::string(static_cast<std::size_t>(filled), '#').c_str(),
                     std::string(static_cast<std::size_t>(WIDTH - filled), ' ').c_str(), done * 100);
    if (total_seconds > elapsed) length += std::fprintf(stderr, ", %.0f s left ", total_seconds - elapsed);
    std::fflush(stderr);
    bar.drawn = std::max(bar.drawn, length);
  }
  return 0;
}

void EndProgressBar() {
  if (bar.drawn > 0) std::fprintf(stderr, "\r%*s\r", bar.drawn, "");
  bar.drawn = 0;
  bar.what.clear();
}

bool ProgressBarIsDrawn() {
  return bar.drawn > 0;
}
