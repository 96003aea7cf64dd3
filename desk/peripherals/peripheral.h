// One of the camera's other tasks, as far as the program meets it: nodes of the camera-wide tree
// with a device behind them, and the device's knobs.
#pragma once

#include <memory>
#include <vector>

#include "clock/clock.h"
#include "common_dll.h"
#include "knobs/knob.h"

namespace desk {

class Peripheral {
 public:
  // part: the replaceable unit that it is.
  Peripheral(std::string knobPrefix, const KnobFamily& family, std::string part)
      : mKnobs(std::move(knobPrefix), family, std::move(part)) {}
  // With the family's own prefix.
  explicit Peripheral(const KnobFamily& family) : mKnobs(family) {}
  virtual ~Peripheral() = default;
  Peripheral(const Peripheral&) = delete;
  Peripheral& operator=(const Peripheral&) = delete;

  KnobSet& Knobs() { return mKnobs; }
  // Adds its nodes to those that the variant lists.
  virtual void Publish(TARQ::CServerResource& root) = 0;
  // All peripherals of the camera, once they are there: for one that works with others.
  virtual void ConnectTo(const std::vector<std::unique_ptr<Peripheral>>& /*peripherals*/) {}
  // Back to the start; the knobs are back already.
  virtual void Restore() = 0;

 protected:
  KnobSet mKnobs;
};

// By the name that variants give it: "gps". Null: there is none of that name.
std::unique_ptr<Peripheral> MakePeripheral(const std::string& name, const Clock& clock);

}  // namespace desk
