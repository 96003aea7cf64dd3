// Why a run cannot begin.
#pragma once

#include <stdexcept>

namespace station {

// A run cannot begin or go on: what() says why, and what to do.
class RunRefused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace station
