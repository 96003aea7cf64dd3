// What stands in front of every stream driver: whether it is there, and requests that fail.
#pragma once

#include "coredll/machine.h"
#include "knobs/knob.h"

namespace desk {

class DriverPort : public Device {
 public:
  // name: "I2C1:"; its knobs stand below .desk.driver.i2c1. called: what a technician knows it as;
  // part: the replaceable unit that it serves.
  DriverPort(std::string name, std::string called, std::string part = "main board");

  const std::string& Name() const override { return mName; }
  bool MayOpen() const override;
  DWORD Control(const IoRequest& request) final;
  KnobSet& Knobs() { return mKnobs; }

 protected:
  // The driver's own answer: 0 or an error code.
  virtual DWORD Serve(const IoRequest& request) = 0;

 private:
  std::string mName;
  KnobSet mKnobs;
  FaultCounter mFaults;
  mutable FaultCounter mOpenFaults;
};

}  // namespace desk
