#include "tests/optics/corners.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <numeric>

#include "items/format.h"

namespace {

constexpr DWORD IOCTL_FVD_MEASURE = 0x80000058;
constexpr DWORD kMeasureWindows = 2;
constexpr WORD kWindowSize = 16;  // pixels, either way

// The records as the driver takes them; it writes into those of the windows.
struct FVD_WINDOW {
  WORD x;  // of the top left pixel
  WORD y;
  WORD width;
  WORD height;
  DWORD measurement;
  BYTE unused[20];
};
static_assert(sizeof(FVD_WINDOW) == 32);

struct FVD_MEASURE_REQUEST {
  DWORD command;
  WORD windowCount;
  WORD padding;
  FVD_WINDOW* windows;
};
static_assert(sizeof(FVD_MEASURE_REQUEST) == 8 + sizeof(void*));

FVD_WINDOW WindowAt(int x, int y) {
  FVD_WINDOW window = {};
  window.x = static_cast<WORD>(x);
  window.y = static_cast<WORD>(y);
  window.width = kWindowSize;
  window.height = kWindowSize;
  return window;
}

WORD ReadExtent(const char* path, WORD otherwise) {
  TARQ::CResourceValue value(otherwise, 0);
  OpenedResource(Tree::Camera, path).ReadInto(value);
  return static_cast<WORD>(value.GetInt());
}

LONG ReadLevel(const OpenedResource& group, const char* node, LONG otherwise) {
  TARQ::CResourceValue value(otherwise, 0);
  OpenedResource(group, node).ReadInto(value);
  return value.GetInt();
}

int Mean(const CornerValues& values) {
  return std::accumulate(std::begin(values), std::end(values), 0) / kCorners;
}

struct Evaluation {
  int notFlat = 0;     // pairs of corners, counted both ways
  int noResponse = 0;  // rounds
  int largestDifference;
  int smallestResponse;
};

void CompareCorners(const CornerValues& in, const CornerValues& out, LONG flat, Evaluation& found) {
  for (int j = 0; j < kCorners; ++j) {
    for (int k = 0; k < kCorners; ++k) {
      if (j == k) continue;
      const int differenceOut = std::abs(out[j] - out[k]);
      const int differenceIn = std::abs(in[j] - in[k]);
      if (differenceOut <= flat && differenceIn <= flat) continue;
      ++found.notFlat;
      found.largestDifference = std::max({found.largestDifference, differenceOut, differenceIn});
    }
  }
}

void CompareMeans(const CornerValues& in, const CornerValues& out, LONG response,
                  Evaluation& found) {
  const int difference = std::abs(Mean(out) - Mean(in));
  if (difference >= response) return;
  ++found.noResponse;
  found.smallestResponse = std::min(found.smallestResponse, difference);
}

}  // namespace

DWORD MeasureFvdCorners(HANDLE fvd, CornerValues& values, WORD width, WORD height) {
  const int right = width - kWindowSize;
  const int bottom = height - kWindowSize;
  FVD_WINDOW windows[kCorners] = {WindowAt(0, 0), WindowAt(right, 0), WindowAt(0, bottom),
                                  WindowAt(right, bottom)};
  FVD_MEASURE_REQUEST request = {};
  request.command = kMeasureWindows;
  request.windowCount = kCorners;
  request.windows = windows;
  if (DeviceIoControl(fvd, IOCTL_FVD_MEASURE, &request, sizeof request, nullptr, 0, nullptr,
                      nullptr) == FALSE) {
    return GetLastError();
  }
  std::transform(std::begin(windows), std::end(windows), std::begin(values),
                 [](const FVD_WINDOW& window) { return static_cast<WORD>(window.measurement); });
  return 0;
}

CornerLevels ReadCornerLevels(TARQ::CResource& item) {
  const CornerLevels defaults;
  const OpenedResource group = OpenedResource::ParentOf(item);
  CornerLevels levels;
  levels.flat = ReadLevel(group, "flatLevel", defaults.flat);
  levels.response = ReadLevel(group, "responseLevel", defaults.response);
  return levels;
}

DetectorSize ReadDetectorSize() {
  const DetectorSize defaults;
  DetectorSize size;
  size.width = ReadExtent("image.flow.detector.geom.width", defaults.width);
  size.height = ReadExtent("image.flow.detector.geom.height", defaults.height);
  return size;
}

CornerRounds MeasureRounds(const OpenedResource& position, const MeasureFunction& measure,
                           const DetectorSize& size) {
  CornerRounds rounds;
  for (int round = 0; round < kCornerRounds; ++round) {
    CornerValues& in = rounds.in[round];
    CornerValues& out = rounds.out[round];
    position.Write(TARQ::CResourceValue("in", 0));
    rounds.failures |= measure(in, size.width, size.height);
    position.Write(TARQ::CResourceValue("out", 0));
    rounds.failures |= measure(out, size.width, size.height);
    if (std::equal(std::begin(in), std::end(in), std::begin(out))) ++rounds.identical;
  }
  return rounds;
}

Finding JudgeCorners(const CornerRounds& rounds, const CornerLevels& levels,
                     const CornerVerdicts& verdicts) {
  if (rounds.failures != 0) return verdicts.failedRequest;
  if (rounds.identical > 0) return verdicts.identical;
  Evaluation found = {0, 0, levels.flat, levels.response};
  for (int round = 0; round < kCornerRounds; ++round) {
    CompareCorners(rounds.in[round], rounds.out[round], levels.flat, found);
    CompareMeans(rounds.in[round], rounds.out[round], levels.response, found);
  }
  if (found.notFlat > 0) {
    return {verdicts.notFlat, FormatText(verdicts.notFlatFormat, found.largestDifference)};
  }
  if (found.noResponse > 0) {
    return {verdicts.noResponse, FormatText(verdicts.noResponseFormat, found.smallestResponse)};
  }
  return {};
}
