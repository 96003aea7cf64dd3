// Noise that is the same in every run: a number's place in a sequence decides it.
#pragma once

#include <cstdint>

namespace desk {

inline std::uint64_t Scatter(std::uint64_t number) {
  number += 0x9E3779B97F4A7C15;
  number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9;
  number = (number ^ (number >> 27)) * 0x94D049BB133111EB;
  return number ^ (number >> 31);
}

}  // namespace desk
