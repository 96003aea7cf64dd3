// What the camera's own display shows: the live image, a frozen one, or a picture that was
// recalled; on the LCD, in the viewfinder, or on neither.
#pragma once

#include <functional>
#include <mutex>

#include "peripherals/peripheral.h"
#include "picture/picture.h"

namespace desk {

class DeviceNode;

class ImageService : public Peripheral {
 public:
  ImageService();
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override;

  // Takes the live image of a moment, for when it is frozen.
  void OnFreeze(std::function<std::shared_ptr<const Picture>()> take) { mTake = std::move(take); }

  struct Shown {
    std::string recalled;                   // a file's path or a pattern's name; empty: none
    std::shared_ptr<const Picture> frozen;  // null: live
    bool lcd = true;                        // the LCD is on
    bool viewFinder = false;                // the viewfinder is in use
    bool graphics = true;                   // the camera's own, over the image
  };
  Shown Now() const;
  bool IsDamaged() const;

 private:
  std::string Describe() const;

  std::function<std::shared_ptr<const Picture>()> mTake;
  mutable std::mutex mLock;
  std::string mRecalled;
  std::shared_ptr<const Picture> mFrozen;
  // The tree's.
  std::vector<std::pair<TARQ::CServerResource*, TARQ::CResourceValue>> mNodes;
  TARQ::CServerResource* mLcd = nullptr;
  TARQ::CServerResource* mViewFinder = nullptr;
  TARQ::CServerResource* mHidden = nullptr;
  TARQ::CServerResource* mHiddenByUser = nullptr;
};

}  // namespace desk
