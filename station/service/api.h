// What the service answers: docs/station-api.md. One table has every route with the least role that
// it needs.
#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/camera_client.h"
#include "http/message.h"
#include "http/target.h"
#include "station/config/station_config.h"
#include "station/report/signature.h"
#include "station/service/camera_state.h"
#include "station/service/events.h"
#include "station/service/runs.h"
#include "station/service/sign_in.h"
#include "station/store/store.h"

namespace station {

class Api {
 public:
  // Work that may wait, on a thread of its own; false where there is none.
  using Longer = std::function<bool(std::function<void()>)>;

  struct Parts {
    Store& store;
    const StationConfig& config;
    std::list<CameraState>& cameras;
    Events& events;
    Runs& runs;
    const SigningKey& key;
    SignIns* signIns;  // null: nobody signs in, everybody comes from this machine
    std::function<void()> continueStreams;
    std::string version;
    std::string machineUser;  // who acts where nobody has said who
  };
  Api(Parts parts, Longer longer);

  // send is called once: at once where the answer is quick, else on another thread.
  void Handle(const http::Request& request, const http::Send& send);
  // What waits for a camera gives up.
  void End() { mEnds = true; }

 private:
  struct Call {
    http::Request request;
    http::Target target;
    std::vector<std::string> names;  // what stands in place of the route's braces
    Actor actor;
    http::Send send;

    // Of the query, decoded; none where it is not there.
    std::optional<std::string> Wish(std::string_view name) const;
    std::optional<Time> WishedTime(std::string_view name) const;
    std::size_t WishedCount(std::string_view name, std::size_t usual, std::size_t most) const;
    // Of the body, an object; one that is empty has nothing.
    client::Json Body() const;
  };
  // None: it was sent already.
  using Answer = std::optional<http::Reply>;
  struct Route {
    std::string_view method;
    std::string_view path;
    Role least;
    Answer (Api::*answer)(const Call& call);
    bool isQuick = false;
  };
  static const std::vector<Route>& Routes();

  // None: the request is for this station, and safe from others' eyes.
  Answer Misdirected(const http::Request& request) const;
  void Answers(const Route& route, Call call);

  Answer GetPage(const Call& call);
  Answer GetStation(const Call& call);
  Answer GetHealth(const Call& call);
  Answer GetMetrics(const Call& call);
  Answer GetEvents(const Call& call);
  Answer PostSignIn(const Call& call);
  Answer PostSignOut(const Call& call);
  Answer GetUsers(const Call& call);
  Answer PostUser(const Call& call);
  Answer PutUser(const Call& call);
  Answer GetPlans(const Call& call);
  Answer GetExplanation(const Call& call);

  Answer GetCameras(const Call& call);
  Answer GetCamera(const Call& call);
  Answer GetItems(const Call& call);
  Answer GetScreen(const Call& call);
  Answer GetPicture(const Call& call);
  Answer GetKnobs(const Call& call);
  Answer GetTree(const Call& call);
  Answer GetLog(const Call& call);
  Answer PutKey(const Call& call);
  Answer PutTouch(const Call& call);
  Answer PutLaser(const Call& call);
  Answer PutKnob(const Call& call);
  Answer PostRestore(const Call& call);

  Answer GetRuns(const Call& call);
  Answer PostRun(const Call& call);
  Answer GetRun(const Call& call);
  Answer PostAbort(const Call& call);
  Answer PostResume(const Call& call);
  Answer PutNote(const Call& call);
  Answer GetReport(const Call& call);
  Answer GetExport(const Call& call);
  Answer GetEvidence(const Call& call);
  Answer GetEvidencePicture(const Call& call);
  Answer GetYield(const Call& call);
  Answer GetFailures(const Call& call);
  Answer GetTrend(const Call& call);
  Answer GetMeasurements(const Call& call);
  Answer GetCurves(const Call& call);

  SignIns& NeededSignIns() const;
  CameraState& CameraOf(const std::string& id);
  CameraState& CameraOfSerial(const std::string& serial);
  CameraState& CameraForRun(const client::Json& body);
  client::CameraClient ClientOf(const CameraState& camera) const;
  // A desk camera's own: refused where the camera is none.
  client::Json SetKnob(const Call& call, const std::string& path, const client::Json& value);
  RunRequest RequestOf(const Call& call, const client::Json& body) const;
  RunRecord RunOf(const std::string& id);
  RunFilter FilterOf(const Call& call) const;
  std::string WhoActs(const Call& call, const client::Json& body) const;

  const Parts mParts;
  const Longer mLonger;
  std::atomic<bool> mEnds{false};
};

// The browser gives it back to this host alone, over TLS alone.
constexpr char kSessionCookie[] = "__Host-diagor-station";

// Of a body; none where it is not there.
std::optional<std::string> TextIn(const client::Json& body, const char* key);
bool FlagIn(const client::Json& body, const char* key);

}  // namespace station
