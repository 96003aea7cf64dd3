// How the command lines end.
#pragma once

#include <stdexcept>

namespace terminal {

enum ExitCode : int {
  kNothingFailed = 0,
  kTestFailed = 1,
  kUsage = 2,  // or nothing matched, or what cannot be read or written
  kNoConnection = 3,
  kRefused = 4,
  kSignal = 128,  // and the signal's number: interrupted by it
};

// What the user named cannot be used; what() says why.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace terminal
