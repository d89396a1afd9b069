#pragma once

#include <stdexcept>

// What ends a command with exit code 1: the message is printed after "bravic: ".
struct Refusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};
