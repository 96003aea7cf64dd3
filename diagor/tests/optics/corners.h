// The judgement of a flag (shutter, aperture) by the image: the front-end measures the four corners
// of the detector with the flag in and out, three times. Each time the corners have to agree with
// each other, and their mean has to change with the flag.
// Needs "FVD1:" and image.flow.detector.geom.
#pragma once

#include <functional>

#include "items/res_bit_item.h"
#include "items/resource_access.h"

constexpr int kCorners = 4;

// Measurements in counts of the front-end, in the order top left, top right, bottom left, bottom
// right.
using CornerValues = WORD[kCorners];

// 0, or the driver's error; the values are unchanged then. width, height: of the detector, pixels.
DWORD MeasureFvdCorners(HANDLE fvd, CornerValues& values, WORD width, WORD height);

struct CornerLevels {
  LONG flat = 5000;      // counts by which corners may differ, inclusive
  LONG response = 5000;  // by which their mean has to change at least
};
// As clients set them at flatLevel and responseLevel beside the item; the defaults where such a
// node is missing.
CornerLevels ReadCornerLevels(TARQ::CResource& item);

struct DetectorSize {
  WORD width = 320;  // pixels
  WORD height = 240;
};
// The defaults where the camera does not say.
DetectorSize ReadDetectorSize();

constexpr int kCornerRounds = 3;
struct CornerRounds {
  CornerValues in[kCornerRounds] = {};
  CornerValues out[kCornerRounds] = {};
  DWORD failures = 0;  // the driver's errors, or-ed
  int identical = 0;   // rounds that measured the same in and out
};

// Texts and codes of the verdicts. The two formats take a difference, %d.
struct CornerVerdicts {
  Failure failedRequest;
  Failure identical;
  DWORD notFlat;
  const char* notFlatFormat;
  DWORD noResponse;
  const char* noResponseFormat;
};
// The first that applies; no code when the flag works.
Finding JudgeCorners(const CornerRounds& rounds, const CornerLevels& levels,
                     const CornerVerdicts& verdicts);

// How an item measures the corners: 0 or the driver's error.
using MeasureFunction = std::function<DWORD(CornerValues& values, WORD width, WORD height)>;

// Moves the flag in and out three times and measures after each move, without a pause: the first
// frame after a move shows its end.
CornerRounds MeasureRounds(const OpenedResource& position, const MeasureFunction& measure,
                           const DetectorSize& size);
