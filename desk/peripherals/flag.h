// A flag of the image path, shutter or aperture: commanded by its position node, watched by a
// sensor at truePosition.
#pragma once

#include "peripherals/moved_part.h"
#include "peripherals/peripheral.h"

namespace desk {

class DeviceNode;

class Flag : public Peripheral {
 public:
  // name: "shutter", its nodes are those of image.flow.shutter.
  Flag(std::string name, const Clock& clock);
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override;

  double Cover() const { return mPart.Cover(); }

 private:
  std::string mName;
  const Clock& mClock;
  MovedPart mPart;
  DeviceNode* mPosition = nullptr;  // the tree's
  DeviceNode* mSensor = nullptr;
};

}  // namespace desk
