#include "Signals.h"

#include <atomic>
#include <csignal>
#include <cstring>

#include "CommandLine.h"
#include "Terminal.h"

#ifdef _WIN32
#include <io.h>
#include <process.h>
#else
#include <unistd.h>
#endif

namespace {

constexpr int MAX_FILES = 8;
constexpr std::size_t MAX_PATH_LENGTH = 4096;

// Read by the handler, so without memory of their own.
struct {
  std::atomic<bool> used{false};
  char path[MAX_PATH_LENGTH];
} files[MAX_FILES];

#ifndef _WIN32
constexpr int ENDING[] = {SIGINT, SIGPIPE, SIGHUP, SIGTERM};
int depthHeld = 0;

sigset_t EndingSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (int signal : ENDING) sigaddset(&set, signal);
  return set;
}
#endif

// Only what may be called at any moment.
extern "C" void OnSignal(int signal) {
  for (auto& file : files) {
    if (file.used) unlink(file.path);
  }
  if (signal == SIGINT) {
    const char* text = ProgressBarIsDrawn() ? "\nbravic: interrupted\n" : "bravic: interrupted\n";
    if (write(2, text, static_cast<unsigned>(std::strlen(text))) < 0) _exit(INTERRUPTED);
    _exit(INTERRUPTED);
  }
  std::signal(signal, SIG_DFL);
  std::raise(signal);  // delivered when the handler returns
}

}  // namespace

void WatchSignals() {
#ifdef _WIN32
  std::signal(SIGINT, OnSignal);
#else
  for (int signal : ENDING) {
    struct sigaction action {};
    // Who started the program may have chosen that it lives on (nohup).
    if (signal != SIGINT && sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = OnSignal;
    action.sa_mask = EndingSignals();
    sigaction(signal, &action, nullptr);
  }
#endif
}

int RemoveAtSignal(const std::string& path) {
  for (int i = 0; i < MAX_FILES; ++i) {
    if (files[i].used || path.size() >= MAX_PATH_LENGTH) continue;
    std::strcpy(files[i].path, path.c_str());
    files[i].used = true;
    return i;
  }
  return -1;
}

void ForgetAtSignal(int place) {
  if (place >= 0) files[place].used = false;
}

#ifdef _WIN32
SignalsHeld::SignalsHeld() = default;
SignalsHeld::~SignalsHeld() = default;
#else
SignalsHeld::SignalsHeld() {
  const sigset_t set = EndingSignals();
  if (depthHeld++ == 0) sigprocmask(SIG_BLOCK, &set, nullptr);
}
SignalsHeld::~SignalsHeld() {
  const sigset_t set = EndingSignals();
  if (--depthHeld == 0) sigprocmask(SIG_UNBLOCK, &set, nullptr);
}
#endif
