// The camera's registry, as far as this system reads it: one key below the local machine.
#pragma once

#include <mutex>
#include <optional>
#include <string>

namespace desk {

class Registry {
 public:
  // HKEY_LOCAL_MACHINE \ "Ident", value "BSP"; none: the value does not exist.
  std::optional<std::wstring> Bsp() const {
    const std::lock_guard lock(mLock);
    return mBsp;
  }
  void SetBsp(std::optional<std::wstring> bsp) {
    const std::lock_guard lock(mLock);
    mBsp = std::move(bsp);
  }

 private:
  mutable std::mutex mLock;
  std::optional<std::wstring> mBsp;
};

}  // namespace desk
