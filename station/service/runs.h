// The runs that this process has under way: one per camera, each on the thread that asked for it.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "station/runner/run.h"
#include "station/service/camera_state.h"
#include "station/service/events.h"
#include "station/store/store.h"

namespace station {

class Runs {
 public:
  using Complain = std::function<void(const std::string& what)>;
  Runs(Store& store, StationIdentity station, Events& events, Complain complain);

  // Returns at the run's end; onBegun is called when it has begun. Throws when it cannot begin:
  // Refusal, RunRefused, client::ConnectionError, StoreError. who: for the audit.
  using OnBegun = std::function<void(const RunRecord& run)>;
  void Start(CameraState& camera, const RunRequest& request, const std::string& who,
             const OnBegun& onBegun);
  void Resume(CameraState& camera, const RunRecord& run, const std::string& who,
              const OnBegun& onBegun);
  // isNow: not even after the attempt under way. False: it is not under way here.
  bool Abort(const std::string& run, bool isNow);
  // All at once, and nothing begins any more. Who waits in Start or Resume returns soon.
  void EndAll();

  // Null: it is not under way here.
  std::shared_ptr<const CameraFacts> CameraOf(const std::string& run) const;

  struct Counts {
    std::map<std::string, std::uint64_t> runs;      // by outcome
    std::map<std::string, std::uint64_t> attempts;  // by result
  };
  Counts CountsNow() const;

  void Audit(const std::string& who, const std::string& what);

 private:
  struct Active {
    explicit Active(CameraState& its) : camera(its) {}
    CameraState& camera;
    RunControl control;
    std::string run;  // empty: it has not begun
  };
  using Place = std::list<Active>::iterator;
  using Act = std::function<RunRecord(Active& active, const OnNews& onNews)>;

  void Go(CameraState& camera, const std::string& who, const OnBegun& onBegun, const Act& act);
  Place Enter(CameraState& camera);
  RunRecord AsKept(const RunRecord& run);
  // error: what ended it before its time, or empty.
  void Leave(Place place, const std::optional<RunRecord>& ended, const std::string& error);
  void Hear(Active& active, const RunNews& news);
  void Tell(const char* act, const CameraFacts& camera, const UnderWay& run,
            const std::string& text);

  Store& mStore;
  const StationIdentity mStation;
  Events& mEvents;
  const Complain mComplain;
  mutable std::mutex mLock;
  bool mEnds = false;
  std::list<Active> mActive;
  Counts mCounts;
};

}  // namespace station
