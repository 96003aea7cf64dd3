#include "drivers/power_management.h"

#include <cmath>
#include <cstring>

namespace desk {

namespace {

constexpr DWORD kIoctlRead = 0x224000;
constexpr DWORD kSecondsCounter = 20;
constexpr double kCounterRange = 4294967296.0;

enum Row : std::size_t { kRate, kCounter };

constexpr char kOtherClock[] = "this camera's clock is a chip of its own";

constexpr KnobRow kRows[] = {
    {"rate", KnobKind::Number, "1/s", "1", -10, 10,
     "Counts of the seconds counter in one second of the camera; 0: it stands.",
     Breaks({"0", "the seconds counter stands", "power board", "", false, kOtherClock},
            {"0.5", "the seconds counter is far too slow", "power board", "below 0.8", false,
             kOtherClock},
            {"1.5", "the seconds counter is far too fast", "power board", "above 1.2", false,
             kOtherClock})},
    {"counter", KnobKind::Number, "s", "1000", 0, 4294967295,
     "The seconds counter from now on; 32 bits, it wraps.",
     Condition("how long the power board has counted").Within(1000, 4000000000)},
};
constexpr KnobFamily kFamily = {"Power management", ".desk.pmi", kRows};

}  // namespace

PowerManagement::PowerManagement(const Clock& clock)
    : DriverPort("PMI1:", "the power management", "power board"),
      mCounterKnobs(kFamily),
      mCount(clock) {
  mCounterKnobs[kRate].OnWrite([this](const KnobValue& /*value*/) {
    mCount.Set(Counter());
    return true;
  });
  mCounterKnobs[kCounter].OnWrite([this](const KnobValue& value) {
    mCount.Set(std::get<double>(value));
    return true;
  });
  mCounterKnobs[kCounter].OnRead([this] { return KnobValue(std::floor(Counter())); });
  mCounterKnobs[kCounter].Restore();
}

double PowerManagement::Counter() const {
  const double counter = mCount.At(mCounterKnobs[kRate].Number());
  return counter - std::floor(counter / kCounterRange) * kCounterRange;
}

DWORD PowerManagement::Serve(const IoRequest& request) {
  DWORD selector = 0;
  if (request.code != kIoctlRead || request.inputSize != sizeof selector ||
      request.outputSize != sizeof selector) {
    return ERROR_INVALID_PARAMETER;
  }
  memcpy(&selector, request.input, sizeof selector);
  if (selector != kSecondsCounter) return ERROR_INVALID_PARAMETER;
  const auto counter = static_cast<DWORD>(Counter());
  memcpy(request.output, &counter, sizeof counter);
  return 0;
}

}  // namespace desk
