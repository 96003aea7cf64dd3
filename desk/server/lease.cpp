#include "server/lease.h"

namespace desk {

std::optional<Lease::Holder> Lease::HolderAt(TimePoint now) const {
  if (mOwner.empty() || now >= mUntil) return std::nullopt;
  return Holder{mOwner, ToSeconds(mUntil - now)};
}

std::optional<Lease::Holder> Lease::Now() {
  const std::lock_guard lock(mLock);
  return HolderAt(MachineTime());
}

bool Lease::Take(const std::string& owner, double seconds) {
  const std::lock_guard lock(mLock);
  const TimePoint now = MachineTime();
  const std::optional<Holder> holder = HolderAt(now);
  if (holder && holder->owner != owner) return false;
  mOwner = owner;
  mUntil = now + FromSeconds(seconds);
  return true;
}

}  // namespace desk
