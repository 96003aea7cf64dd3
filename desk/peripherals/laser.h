// The laser pointer: on while it is enabled and somebody presses its button.
#pragma once

#include "peripherals/peripheral.h"

namespace desk {

class Laser : public Peripheral {
 public:
  Laser();
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override;
  // Whoever holds the camera presses its button, or lets it go.
  void Press(bool pressed);

 private:
  TARQ::CServerResource* mEnable = nullptr;  // the tree's
};

}  // namespace desk
