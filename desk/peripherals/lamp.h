// The visual camera's lamps: torch and flash.
#pragma once

#include "peripherals/peripheral.h"

namespace desk {

class Lamp : public Peripheral {
 public:
  // name: "torch", its node is system.vcam.torch.
  explicit Lamp(std::string name);
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override;

 private:
  std::string mName;
  TARQ::CServerResource* mSwitch = nullptr;  // the tree's
};

}  // namespace desk
