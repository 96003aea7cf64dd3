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
  // False: another chip has the address.
  bool Attach(std::uint8_t address, std::unique_ptr<Chip> chip);
  // Of all attached chips: those of the bus' side first, then the chips' own.
  std::vector<KnobSet*> ChipKnobs();
  void RestoreChips();

  void Trace(const IoRequest& request, bool ok) const override;

  static std::span<const KnobRow> SlotKnobRows();

 protected:
  DWORD Serve(const IoRequest& request) override;

 private:
  // One address of the bus, with the faults of the way to its chip.
  struct Slot {
    Slot(const std::string& prefix, std::unique_ptr<Chip> attached);
    KnobSet knobs;
    FaultCounter faults;
    std::unique_ptr<Chip> chip;
  };

  std::mutex mLock;  // one transaction at a time
  std::map<std::uint8_t, std::unique_ptr<Slot>> mSlots;
};

}  // namespace desk
