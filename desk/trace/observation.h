// What is observed of one delivery of a client's write: the steps that the delivering thread asks
// of the camera, and the records that come meanwhile. The program knows nothing of it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "clock/clock.h"

namespace desk {

// What has parts of its own, as JSON.
struct TraceJson {
  explicit TraceJson(std::string json) : text(std::move(json)) {}
  std::string text;
};
using TraceValue = std::variant<bool, std::int64_t, double, std::string, TraceJson>;
using TraceFields = std::vector<std::pair<std::string, TraceValue>>;

struct TraceStep {
  TimePoint at;  // since the delivery's start
  std::string op;
  TraceFields fields;
};

class Observation {
 public:
  static constexpr std::size_t kMostSteps = 10'000;
  static constexpr std::size_t kMostRecords = 1'000;  // of a test that goes on for ever

  Observation(const Clock& clock, bool traced);

  // The observation of the delivery that runs on this thread, or null.
  static Observation* Current();
  // Whether a step would be kept or counted: asked before a costly one is put together.
  static bool IsTraced();
  // Adds a step to the current delivery's trace, where there is one.
  static void Step(std::string_view op, TraceFields fields);

  // A step that lasts: it stands where it begins, and End adds how and when it ended ("ended", ms
  // since the delivery's start).
  class OpenStep {
   public:
    OpenStep(std::string_view op, TraceFields fields);
    void End(TraceFields fields);

   private:
    std::size_t mIndex;  // beyond the trace's end: the step was not kept
  };

  // The delivering thread has written a record.
  void AddRecord(std::string record);

  Duration Elapsed() const { return mClock.Now() - mStart; }
  const std::vector<TraceStep>& Steps() const { return mSteps; }
  std::size_t StepsLeftOut() const { return mStepsLeftOut; }
  const std::vector<std::string>& Records() const { return mRecords; }
  std::size_t RecordsLeftOut() const { return mRecordsLeftOut; }

  // Makes the observation this thread's own while it lives.
  class Scope {
   public:
    explicit Scope(Observation& observation);
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
  };

 private:
  const Clock& mClock;
  const TimePoint mStart;
  const bool mTraced;
  std::vector<TraceStep> mSteps;
  std::size_t mStepsLeftOut = 0;
  std::vector<std::string> mRecords;
  std::size_t mRecordsLeftOut = 0;
};

// Bytes as hexadecimal text, lower case.
std::string HexText(const void* bytes, std::size_t count);
// "0x80000058".
std::string HexNumber(std::uint32_t number);

}  // namespace desk
