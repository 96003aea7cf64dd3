// One camera of the station, as everybody sees it: who is there, what it does.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "client/camera_client.h"
#include "station/config/camera_address.h"
#include "station/service/events.h"
#include "station/store/types.h"

namespace station {

// A run that this process has under way, and how far it is.
struct UnderWay {
  RunRecord run;
  std::string item;  // of the attempt under way; empty: there is none
  std::size_t done = 0;
  std::size_t left = 0;
  std::optional<std::chrono::milliseconds> timeLeft;
  std::string waits;           // why, while it does
  bool needsOperator = false;  // the attempt under way
};

struct CameraFacts {
  CameraAddress address;
  std::string id;  // its name, or its address
  bool isReachable = false;
  std::string problem = "it was not asked yet";
  std::string serial;  // empty: it was never reached
  std::string product;
  bool isDesk = false;
  int testsUnderWay = 0;  // anybody's
  bool tellsScreen = true;
  client::Json screen;  // the dialog on it as it was told, or null
  Time screenToldAt = 0;
  bool isTaken = false;  // for a run that is under way, or is about to begin or has just ended
  std::optional<UnderWay> run;
  std::optional<RunRecord> lastRun;

  std::string State() const;  // docs/station-api.md
};

class CameraState {
 public:
  CameraState(const CameraAddress& address, Events& events);

  const CameraAddress& Address() const { return mAddress; }
  const std::string& Id() const { return mId; }
  CameraFacts Facts() const;

  // Whoever watches is told when anything but a run's progress has become another.
  void Change(const std::function<void(CameraFacts&)>& change);
  // What is on its screen is another thing now: dialog, or null.
  void ChangeScreen(const client::Json& dialog);

  // The picture of its screen, which several may want at a time: one is asked for by fetch, and
  // serves all who come within a moment.
  std::string Picture(bool viewFinder, const std::function<std::string()>& fetch);
  // What is on the screen may be another thing from now on.
  void ForgetPictures() { ++mScreens; }
  // For a run; refused while another one has it, with who has.
  void Take();

 private:
  const CameraAddress mAddress;
  const std::string mId;
  Events& mEvents;
  void ChangeLocked(const std::function<void(CameraFacts&)>& change);

  mutable std::mutex mLock;
  CameraFacts mFacts;

  struct SharedPicture {
    std::mutex lock;  // held while it is fetched
    std::atomic<std::uint64_t> failures{0};
    std::string png;
    std::chrono::steady_clock::time_point until{};
    std::uint64_t screen = 0;  // which of them it shows
  };
  std::atomic<std::uint64_t> mScreens{0};
  std::array<SharedPicture, 2> mPictures;  // of the screen, of the viewfinder
};

}  // namespace station
