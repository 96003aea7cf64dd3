#include "drivers/driver_port.h"

#include <algorithm>
#include <cctype>

namespace desk {

namespace {

enum Row : std::size_t { kPresent, kOpenFail, kFail, kError };

constexpr KnobRow kRows[] = {
    {"present", KnobKind::Bool, "", "true", 0, 0, "False: opening the driver fails."},
    {"open_fail", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good openings the next count fail; counted from this write on. Read: what is "
     "left."},
    {"fail", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good requests the next count fail; counted from this write on. Read: what is "
     "left."},
    {"error", KnobKind::Integer, "", "1117", 1, 2147483647,
     "Error code of the requests that fail."},
};

std::string KnobPrefix(const std::string& name) {
  std::string lower = name.substr(0, name.find(':'));
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ".desk.driver." + lower;
}

}  // namespace

std::span<const KnobRow> DriverPort::KnobRows() {
  return kRows;
}

DriverPort::DriverPort(std::string name)
    : mName(std::move(name)),
      mKnobs(KnobPrefix(mName), kRows),
      mFaults(mKnobs[kFail]),
      mOpenFaults(mKnobs[kOpenFail]) {}

bool DriverPort::MayOpen() const {
  return mKnobs[kPresent].Bool() && !mOpenFaults.ShouldFail();
}

DWORD DriverPort::Control(const IoRequest& request) {
  if (mFaults.ShouldFail()) return static_cast<DWORD>(mKnobs[kError].Number());
  return Serve(request);
}

}  // namespace desk
