// Takes one camera through a plan, on the caller's thread: one thread per camera. Every attempt is
// in the store before its write leaves for the camera.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "station/runner/hold.h"
#include "station/runner/plan.h"
#include "station/store/store.h"

namespace station {

struct StationIdentity {
  std::string name;              // in each run, and as other stations are told
  std::filesystem::path folder;  // where it keeps what it changed of cameras
  std::string version;           // of its software
  // How long a busy camera is asked again for an item whose length is not known yet.
  std::chrono::milliseconds busyPatience{60'000};
  // How long a lost camera is looked for, each time; then the run ends.
  std::chrono::milliseconds cameraPatience{60'000};
  // From one renewal of a camera's lease to the next: three of them before it ends.
  std::chrono::milliseconds leaseRenewal{10'000};
  // How long a database that is held or away is asked again to keep what was answered.
  std::chrono::milliseconds storePatience{300'000};
};

struct RunRequest {
  Plan plan;
  std::string operatorName;
  std::string scannedSerial;   // empty: none was scanned
  bool mayContradict = false;  // the camera may have another serial than the scanned one
};

// Both may be set at any time, on any thread or in a signal's handler.
struct RunControl {
  std::atomic<bool> aborts{false};      // no further attempt after the one under way
  std::atomic<bool> interrupts{false};  // nor its end: it is kept as interrupted
};

// What a run tells while it is under way. The pointers are valid during the call.
struct RunNews {
  enum class Kind {
    Begins,  // the run is kept and the camera is its own
    AttemptBegins,
    Waits,        // the camera is busy or lost, or the database does not answer: text says why
    AttemptEnds,  // and is on disk
    Warns,        // text
    Ends,
  };
  Kind kind = Kind::Begins;
  const RunRecord* run = nullptr;
  const AttemptStart* attempt = nullptr;
  const AttemptEnd* end = nullptr;
  std::string text;
  std::size_t done = 0;  // tests that have come to their end, of all rounds
  std::size_t left = 0;
  std::optional<std::chrono::milliseconds> timeLeft;  // none: no earlier run tells
};
using OnNews = std::function<void(const RunNews&)>;

// The run at its end; what happens to the camera meanwhile is in its outcome, not thrown. Throws
// before the run begins: RunRefused (somebody has the camera, its serial is another one, it has
// none of the plan's tests), client::ConnectionError; and StoreError at any time, of a database
// that is away for long: the camera is given back and the run can be resumed.
RunRecord StartRun(Store& store, const StationIdentity& station, const CameraAddress& address,
                   const RunRequest& request, const RunControl& control, const OnNews& onNews);

// Goes on with a run that is incomplete, or that was under way when its process ended, at what has
// no result yet. RunRefused, too, when the run is complete or is another camera's.
RunRecord ResumeRun(Store& store, const StationIdentity& station, const CameraAddress& address,
                    const RunRecord& run, const RunControl& control, const OnNews& onNews);

// What a camera calls itself; kUnknown where it does not say.
inline constexpr char kUnknown[] = "unknown";
struct CameraIdentity {
  std::string serial;
  std::string product;
};
CameraIdentity IdentityOf(client::CameraClient& camera);

// Milliseconds since 1970, now.
Time Now();

}  // namespace station
