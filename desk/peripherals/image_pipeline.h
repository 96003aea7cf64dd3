// The frame that the detector sees, with all that stands in its way: shutter, aperture, filter. The
// front-end measures windows of it; its average and the detector's size are nodes.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

#include "drivers/frame_window.h"
#include "peripherals/peripheral.h"

namespace desk {

class Flag;
class ImageFilter;
class MeasuringRange;

// What a frame looks like at a glance.
struct FramePreview {
  double open;     // counts of what no flag covers
  double covered;  // and of a flag
  double cover;    // from the left: 0 to 1
};

class ImagePipeline : public Peripheral {
 public:
  ImagePipeline();
  void Publish(TARQ::CServerResource& root) override;
  void ConnectTo(const std::vector<std::unique_ptr<Peripheral>>& peripherals) override;
  void Restore() override;

  // Measures all windows in one frame, the next that comes. False, and nothing measured, when one
  // of them is not on the detector.
  bool Measure(std::span<FrameWindow> windows);

  FramePreview Preview() const;

 private:
  struct Frame {
    double level;     // counts, uncovered
    double response;  // counts by which what is covered is lower
    double shading;   // counts, from corner to corner
    double cover;     // of the flags, from the left: 0 to 1
    int noise;        // counts
    bool clipped;     // the scene is hotter than the range
  };

  Frame Look(std::uint64_t number) const;
  Frame Current() const;
  static double LevelAt(const Frame& frame, bool covered);
  static double ValueAt(const Frame& frame, double u, double v);
  LONG Average() const;

  // Others of the camera; null where it has none.
  std::vector<const Flag*> mFlags;
  const ImageFilter* mFilter = nullptr;
  const MeasuringRange* mRange = nullptr;

  mutable std::mutex mLock;
  std::uint64_t mFrames = 0;       // measured so far
  std::optional<Frame> mRepeated;  // the frame that comes again and again
};

}  // namespace desk
