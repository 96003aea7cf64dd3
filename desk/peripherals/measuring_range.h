// The measuring range: the highest temperature that the image shows, set at TMax and taken over by
// commit.
#pragma once

#include <mutex>

#include "peripherals/peripheral.h"

namespace desk {

class DeviceNode;

class MeasuringRange : public Peripheral {
 public:
  MeasuringRange();
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override;

  double Highest() const;  // degrees Celsius

 private:
  mutable std::mutex mLock;
  double mHighest;
  TARQ::CServerResource* mSetting = nullptr;  // the tree's
  DeviceNode* mCommit = nullptr;
};

}  // namespace desk
