// Why a request is not done, as its client hears it.
#pragma once

#include <stdexcept>
#include <string>

#include "http/message.h"

namespace station {

class Refusal : public std::runtime_error {
 public:
  Refusal(unsigned httpStatus, std::string what, const std::string& detail)
      : std::runtime_error(detail), status(httpStatus), title(std::move(what)) {}
  unsigned status;
  std::string title;
  unsigned retryAfter = 0;  // seconds; 0: nobody knows
};

inline Refusal NoSuch(const std::string& detail) {
  return {404, "Not there", detail};
}
inline Refusal NotNow(const std::string& detail) {
  return {409, "Not allowed now", detail};
}
inline Refusal Unfit(const std::string& detail) {
  return {422, "Refused", detail};
}
inline Refusal Malformed(const std::string& detail) {
  return {400, "Malformed", detail};
}

// Of the exception that is being handled.
http::Reply ProblemOfException();

}  // namespace station
