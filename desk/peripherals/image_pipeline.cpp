#include "peripherals/image_pipeline.h"

#include <algorithm>
#include <cmath>

#include "peripherals/device_node.h"
#include "peripherals/flag.h"
#include "peripherals/image_filter.h"
#include "peripherals/measuring_range.h"
#include "peripherals/scatter.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

constexpr double kBrightest = 65535;      // counts
constexpr double kHotEnough = 100;        // degrees Celsius, for a black body
constexpr std::uint64_t kNoiseSeed = 17;  // fixed: the same requests give the same frames

enum Row : std::size_t {
  kWidth,
  kHeight,
  kLevel,
  kResponse,
  kShading,
  kNoise,
  kRepeats,
  kScene,
};
constexpr KnobRow kRows[] = {
    {"width", KnobKind::Integer, "pixels", "320", 16, 65535, "The detector's width.",
     Condition("the detector's size")},
    {"height", KnobKind::Integer, "pixels", "240", 16, 65535, "Its height.",
     Condition("the detector's size")},
    {"level", KnobKind::Integer, "counts", "12000", 0, 65535,
     "What the detector gives of the scene.",
     Breaks({"200", "the detector gives no signal", "detector", "", false,
             "no test of this camera compares the corners of pictures"})
         .Within(10000, 14000)},
    {"response", KnobKind::Integer, "counts", "8000", 0, 65535,
     "By how much less it gives of a shutter or an aperture in its view.",
     Breaks({"0", "the detector sees no difference", "detector", "below 5000 counts", false,
             "no test of this camera compares the corners of pictures"})
         .Within(6500, 9500)},
    {"shading", KnobKind::Integer, "counts", "400", 0, 65535,
     "By how much its corners differ at most: the bottom right one gives more than the mean, the "
     "top left one less.",
     Breaks({"6000", "the picture is uneven", "detector", "above 5000 counts", false,
             "no test of this camera compares the corners of pictures"})
         .Within(0, 1500)},
    {"noise", KnobKind::Integer, "counts", "8", 0, 1000,
     "How far the other two corners move, against each other, from frame to frame. Neither the "
     "mean of the corners nor, up to half of the shading, their largest difference changes.",
     Breaks({"1000", "the picture is noisy", "detector", "above 100 counts", false,
             "no test looks at the noise of a picture"})
         .Within(1, 40)},
    {"repeats", KnobKind::Bool, "", "false", 0, 0,
     "True: the frame of this moment comes again and again.",
     Breaks({"true", "the picture is frozen", "main board", "", false,
             "no test of this camera compares the corners of pictures"})},
    {"scene", KnobKind::Number, "degrees Celsius", "320", -40, 3000,
     "How hot it is what the camera looks at; from 100 on it is a black body. Hotter than the "
     "measuring range, the frame is clipped at 65535 counts.",
     Condition("what the camera looks at; the test of a filter needs a black body")
         .Within(310, 330)},
};
constexpr KnobFamily kFamily = {"The frame", ".desk.frontend", kRows};

// 1 to most, with a sign that changes from each frame to the next: no two in a row are the same.
int Noise(std::uint64_t number, int most) {
  if (most == 0) return 0;
  const auto size =
      1 + static_cast<int>(Scatter(number + kNoiseSeed) % static_cast<std::uint64_t>(most));
  return number % 2 == 0 ? size : -size;
}

// Where a window of that extent lies between the two edges: 0 to 1.
double Share(std::uint16_t from, std::uint16_t extent, double whole) {
  const double most = whole - extent;
  return most <= 0 ? 0 : from / most;
}

double Clipped(double counts) {
  return std::clamp(counts, 0.0, kBrightest);
}

}  // namespace

ImagePipeline::ImagePipeline() : Peripheral(kFamily) {
  mKnobs[kRepeats].OnWrite([this](const KnobValue& value) {
    std::optional<Frame> repeated;
    if (std::get<bool>(value)) repeated = Current();
    const std::lock_guard lock(mLock);
    mRepeated = repeated;
    return true;
  });
}

void ImagePipeline::Publish(TARQ::CServerResource& root) {
  TARQ::CServerResource& size = TARQ::NodeAccess::MakeBranch(root, "image.flow.detector.geom");
  for (const Row row : {kWidth, kHeight}) {
    auto* const extent =
        new DeviceNode(row == kWidth ? "width" : "height", TARQ::CResourceValue(0));
    extent->OnRead(
        [this, row] { return TARQ::CResourceValue(static_cast<LONG>(mKnobs[row].Number())); });
    size.AddChild(extent, nullptr);
  }
  auto* const average = new DeviceNode("frameAverage", TARQ::CResourceValue(0));
  average->OnRead([this] { return TARQ::CResourceValue(Average()); });
  TARQ::NodeAccess::MakeBranch(root, "image.flow.framebuffer").AddChild(average, nullptr);
}

void ImagePipeline::ConnectTo(const std::vector<std::unique_ptr<Peripheral>>& peripherals) {
  for (const auto& each : peripherals) {
    if (const auto* const flag = dynamic_cast<const Flag*>(each.get())) mFlags.push_back(flag);
    if (const auto* const filter = dynamic_cast<const ImageFilter*>(each.get())) mFilter = filter;
    if (const auto* const range = dynamic_cast<const MeasuringRange*>(each.get())) mRange = range;
  }
}

void ImagePipeline::Restore() {
  const std::lock_guard lock(mLock);
  mFrames = 0;
  mRepeated.reset();
}

ImagePipeline::Frame ImagePipeline::Look(std::uint64_t number) const {
  const double scene = mKnobs[kScene].Number();
  Frame frame = {};
  frame.level = mKnobs[kLevel].Number();
  frame.response = mKnobs[kResponse].Number();
  frame.shading = mKnobs[kShading].Number();
  frame.noise = Noise(number, static_cast<int>(mKnobs[kNoise].Number()));
  frame.clipped = mRange != nullptr && scene > mRange->Highest();
  if (mFilter != nullptr) frame.level += mFilter->Change(scene >= kHotEnough);
  for (const Flag* const flag : mFlags) frame.cover = std::max(frame.cover, flag->Cover());
  return frame;
}

ImagePipeline::Frame ImagePipeline::Current() const {
  std::uint64_t number = 0;
  {
    const std::lock_guard lock(mLock);
    if (mRepeated) return *mRepeated;
    number = mFrames;
  }
  return Look(number);
}

// A closed flag is never clipped: it is not as hot as what it covers.
double ImagePipeline::LevelAt(const Frame& frame, bool covered) {
  if (covered) return frame.level - frame.response;
  return frame.clipped ? kBrightest : frame.level;
}

// u, v: 0 at the left and upper edge, 1 at the other.
double ImagePipeline::ValueAt(const Frame& frame, double u, double v) {
  const bool covered = frame.cover > 0 && u <= frame.cover;
  return Clipped(LevelAt(frame, covered) + frame.shading * (u + v - 1) / 2 + frame.noise * (u - v));
}

FramePreview ImagePipeline::Preview() const {
  const Frame frame = Current();
  return {Clipped(LevelAt(frame, false)), Clipped(LevelAt(frame, true)), frame.cover};
}

LONG ImagePipeline::Average() const {
  const Frame frame = Current();
  const double average = frame.cover * Clipped(LevelAt(frame, true)) +
                         (1 - frame.cover) * Clipped(LevelAt(frame, false));
  return static_cast<LONG>(std::lround(average));
}

bool ImagePipeline::Measure(std::span<FrameWindow> windows) {
  const double width = mKnobs[kWidth].Number();
  const double height = mKnobs[kHeight].Number();
  for (const FrameWindow& window : windows) {
    if (window.width == 0 || window.height == 0 || window.x + window.width > width ||
        window.y + window.height > height) {
      return false;
    }
  }
  const Frame frame = Current();
  for (FrameWindow& window : windows) {
    const double value = ValueAt(frame, Share(window.x, window.width, width),
                                 Share(window.y, window.height, height));
    window.measurement = static_cast<std::uint32_t>(std::lround(value));
  }
  const std::lock_guard lock(mLock);
  ++mFrames;
  return true;
}

}  // namespace desk
