// "I2C1:" and "I2C2:": one request is one transaction with one chip.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "chips/chip.h"
#include "drivers/driver_port.h"

namespace desk {

class I2cBus : public DriverPort {
 public:
  using DriverPort::DriverPort;

  // Below which the knobs of that address stand: ".desk.bus.i2c1.ae". address: 8 bits.
  std::string SlotPrefix(std::uint8_t address);
  // part: the replaceable unit that the chip sits on. False: another chip has the address.
  bool Attach(std::uint8_t address, std::unique_ptr<Chip> chip, const std::string& part);
  // Of all attached chips: those of the bus' side first, then the chips' own.
  std::vector<KnobSet*> ChipKnobs();
  void RestoreChips();

  void Trace(const IoRequest& request, bool ok) const override;

 protected:
  DWORD Serve(const IoRequest& request) override;

 private:
  // One address of the bus, with the faults of the way to its chip.
  struct Slot {
    Slot(const std::string& prefix, std::unique_ptr<Chip> attached, const std::string& part);
    KnobSet knobs;
    FaultCounter faults;
    std::unique_ptr<Chip> chip;
  };

  std::mutex mLock;  // one transaction at a time
  std::map<std::uint8_t, std::unique_ptr<Slot>> mSlots;
};

}  // namespace desk
