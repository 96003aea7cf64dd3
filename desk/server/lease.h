// Who has the camera to himself, for as long as he renews it: a word among clients that take turns.
// It keeps nobody's writes out.
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "clock/clock.h"

namespace desk {

class Lease {
 public:
  struct Holder {
    std::string owner;
    double seconds = 0;  // that it still has, of the machine's own time
  };

  // None, too, when the time is over.
  std::optional<Holder> Now();
  // For the owner, from now on; 0 seconds give it back. False while another one has it.
  bool Take(const std::string& owner, double seconds);

 private:
  std::optional<Holder> HolderAt(TimePoint now) const;

  std::mutex mLock;
  std::string mOwner;
  TimePoint mUntil{};
};

}  // namespace desk
