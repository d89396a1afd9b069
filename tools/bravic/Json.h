// JSON as the program prints it: keys in snake_case and in a fixed order, numbers as short as they read back.
#pragma once

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

// The double whose shortest text is that of the float: 0.1 rather than 0.10000000149011612.
inline double Shortest(float value) {
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  double shortest = value;
  std::from_chars(text, end, shortest);
  return shortest;
}

// A number of things, without a fraction where there is none.
inline Json CountOf(double value) {
  constexpr double EXACT = 9007199254740992;  // 2^53
  return value < EXACT && value == std::floor(value) ? Json(static_cast<long long>(value)) : Json(value);
}
