#include "station/service/service.h"

#include <list>

#include "http/server.h"
#include "station/service/api.h"
#include "station/service/camera_watch.h"

namespace station {

namespace {

http::Limits LimitsOfStation() {
  http::Limits limits;
  limits.connections = 512;
  limits.streams = 128;
  return limits;
}

StationIdentity IdentityOf(const StationConfig& config, const std::string& version) {
  StationIdentity identity;
  identity.name = config.name;
  identity.folder = config.data;
  identity.version = version;
  identity.cameraPatience = config.waitForCamera;
  return identity;
}

}  // namespace

struct Service::State {
  State(Store& where, const StationConfig& settings, const Options& options)
      : store(where),
        config(settings),
        key(SigningKey::LoadOrMake(config.data / "station.key")),
        runs(store, IdentityOf(config, options.version), events, options.complain),
        api({.store = store,
             .config = config,
             .cameras = cameras,
             .events = events,
             .runs = runs,
             .key = key,
             .version = options.version,
             .machineUser = options.machineUser},
            [this](auto work) { return server.RunLong(std::move(work)); }),
        server([this](const http::Request& request,
                      const http::Send& send) { api.Handle(request, send); },
               LimitsOfStation(), options.complain) {
    for (const CameraAddress& each : config.cameras) cameras.emplace_back(each, events);
    events.OnAdd([this] { server.ContinueStreams(); });
  }
  // Nothing begins any more; then whoever is still at it is waited for.
  ~State() {
    runs.EndAll();
    api.End();
    for (CameraWatch& watch : watches) watch.End();
    watches.clear();
    server.Stop();
    events.OnAdd({});
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  Store& store;
  const StationConfig config;
  const SigningKey key;
  Events events;
  std::list<CameraState> cameras;
  Runs runs;
  Api api;
  http::Server server;
  std::list<CameraWatch> watches;
};

Service::Service(Store& store, const StationConfig& config, const Options& options)
    : mState(std::make_unique<State>(store, config, options)) {}

Service::~Service() = default;

std::string Service::Bind(std::uint16_t port) {
  return mState->server.Bind(port);
}

std::uint16_t Service::Port() const {
  return mState->server.Port();
}

void Service::Serve() {
  for (CameraState& camera : mState->cameras) mState->watches.emplace_back(camera, mState->store);
  mState->server.Serve();
}

}  // namespace station
