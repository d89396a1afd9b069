// Signals that end the program (an interrupt, a pipe nobody reads, a hang-up, a request to end): temporary files are
// removed first. An interrupt ends it with exit code 130.
#pragma once

#include <string>

void WatchSignals();

// From now on a signal that ends the program removes this file. Answers what to forget it by; -1 when there is no room.
int RemoveAtSignal(const std::string& path);
void ForgetAtSignal(int place);

// While one exists signals wait: for moments in which a file is half in place.
class SignalsHeld {
 public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
};
