#pragma once

#include <stdexcept>
#include <string>

// What ends a command with exit code 1. The message is printed after "bravic: ", or after the place in a file that it
// is about, "alarm.bif:12".
struct Refusal : std::runtime_error {
  explicit Refusal(const std::string& text, std::string where = "") : runtime_error(text), place(std::move(where)) {}
  std::string place;
};
