// One of the camera's other tasks, as far as the program meets it: nodes of the camera-wide tree
// with a device behind them, and the device's knobs.
#pragma once

#include <memory>
#include <vector>

#include "clock/clock.h"
#include "common_dll.h"
#include "knobs/knob.h"

namespace desk {

class CameraTask {
 public:
  CameraTask(std::string knobPrefix, std::span<const KnobRow> rows)
      : mKnobs(std::move(knobPrefix), rows) {}
  virtual ~CameraTask() = default;
  CameraTask(const CameraTask&) = delete;
  CameraTask& operator=(const CameraTask&) = delete;

  KnobSet& Knobs() { return mKnobs; }
  // Adds its nodes to those that the variant lists.
  virtual void Publish(TARQ::CServerResource& root) = 0;
  // All tasks of the camera, once they are there: for one that works with others.
  virtual void Meet(const std::vector<std::unique_ptr<CameraTask>>& /*tasks*/) {}
  // Back to the start; the knobs are back already.
  virtual void Restore() = 0;

 protected:
  KnobSet mKnobs;
};

// By the name that variants give it: "gps". Null: there is no such task.
std::unique_ptr<CameraTask> MakeTask(const std::string& name, const Clock& clock);

}  // namespace desk
