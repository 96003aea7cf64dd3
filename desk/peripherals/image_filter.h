// The filter of the image path: 1 at its position node moves it in, 0 out.
#pragma once

#include "peripherals/moved_part.h"
#include "peripherals/peripheral.h"

namespace desk {

class DeviceNode;

class ImageFilter : public Peripheral {
 public:
  ImageFilter();
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override;

  // Counts by which it changes the frame's average as it stands; a black body hot enough is in view
  // or not.
  double Change(bool blackBody) const;

 private:
  MovedPart mPart;
  DeviceNode* mPosition = nullptr;  // the tree's
};

}  // namespace desk
