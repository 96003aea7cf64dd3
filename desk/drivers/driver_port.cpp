#include "drivers/driver_port.h"

#include <algorithm>
#include <cctype>

namespace desk {

namespace {

enum Row : std::size_t { kPresent, kOpenFail, kFail, kError };

constexpr char kNotAsked[] = "no test of this camera asks for it";
constexpr char kStaysOpen[] = "no test of this camera opens it anew";

constexpr KnobRow kRows[] = {
    {"present", KnobKind::Bool, "", "true", 0, 0, "False: opening the driver fails.",
     Breaks({"false", "{device} is not there when the camera starts", "", "", true, kNotAsked},
            {"false", "{device} goes away while the camera runs", "", "", false, kStaysOpen})},
    {"open_fail", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good openings the next count fail; counted from this write on. Read: what is "
     "left.",
     Breaks({"0,1000000", "{device} cannot be reached anew", "", "", false, kStaysOpen})},
    {"fail", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good requests the next count fail; counted from this write on. Read: what is "
     "left.",
     Breaks({"0,1000000", "{device} does not work", "", "", false, kNotAsked},
            {"0,1", "{device} fails once", "", "one request", false,
             "no test of this camera asks for it, or it asks again"})},
    {"error", KnobKind::Integer, "", "1117", 1, 2147483647, "Error code of the requests that fail.",
     Condition("which error code failing requests have")},
};
constexpr KnobFamily kFamily = {"A stream driver", ".desk.driver.<i2c1, i2c2, pmi1, fvd1, cam1>",
                                kRows};

std::string KnobPrefix(const std::string& name) {
  std::string lower = name.substr(0, name.find(':'));
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ".desk.driver." + lower;
}

}  // namespace

DriverPort::DriverPort(std::string name, std::string called, std::string part)
    : mName(std::move(name)),
      mKnobs(KnobPrefix(mName), kFamily, std::move(part)),
      mFaults(mKnobs[kFail]),
      mOpenFaults(mKnobs[kOpenFail]) {
  mKnobs.CallDevice(std::move(called));
}

bool DriverPort::MayOpen() const {
  return mKnobs[kPresent].Bool() && !mOpenFaults.ShouldFail();
}

DWORD DriverPort::Control(const IoRequest& request) {
  if (mFaults.ShouldFail()) return static_cast<DWORD>(mKnobs[kError].Number());
  return Serve(request);
}

}  // namespace desk
