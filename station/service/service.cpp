#include "station/service/service.h"

#include <algorithm>
#include <condition_variable>
#include <list>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "http/server.h"
#include "http/tls.h"
#include "station/runner/run.h"
#include "station/service/api.h"
#include "station/service/camera_watch.h"
#include "station/service/sign_in.h"

namespace station {

namespace {

http::Limits LimitsOfStation() {
  http::Limits limits;
  limits.connections = 512;
  limits.streams = 128;
  limits.beat = std::chrono::seconds(20);
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

// Whoever could sign in to make other users of the station is to be there before others can try.
std::shared_ptr<http::SecureLayer> SecureLayerOf(const StationConfig& config, Store& store,
                                                 const http::Server::Complain& complain) {
  if (!config.IsOpenToOthers()) return nullptr;
  const auto users = store.Users();
  const bool isSomebodyThere = std::any_of(users.begin(), users.end(),
                                           [](const UserRecord& each) { return !each.disabledAt; });
  if (!isSomebodyThere) {
    throw std::runtime_error(
        "others can reach " + config.listen.Text() +
        ", and nobody could sign in: diagor-station user add NAME --role administrator");
  }
  return http::LoadTls(config.certificate.string(), config.certificateKey.string(), complain);
}

// Users are changed by the command line too: their streams end within seconds.
class StreamGuard {
 public:
  explicit StreamGuard(std::function<void()> look) : mLook(std::move(look)) {}
  void Start() {
    mThread = std::thread([this] { Loop(); });
  }
  ~StreamGuard() {
    {
      const std::lock_guard lock(mLock);
      mEnds = true;
    }
    mWake.notify_one();
    if (mThread.joinable()) mThread.join();
  }
  StreamGuard(const StreamGuard&) = delete;
  StreamGuard& operator=(const StreamGuard&) = delete;

 private:
  void Loop() {
    constexpr std::chrono::seconds kPause{5};
    std::unique_lock lock(mLock);
    while (!mWake.wait_for(lock, kPause, [this] { return mEnds; })) {
      lock.unlock();
      mLook();
      lock.lock();
    }
  }

  const std::function<void()> mLook;
  std::mutex mLock;
  std::condition_variable mWake;
  bool mEnds = false;
  std::thread mThread;
};

}  // namespace

struct Service::State {
  State(Store& where, const StationConfig& settings, const Options& options)
      : store(where),
        config(settings),
        key(SigningKey::LoadOrMake(config.data / "station.key")),
        secure(SecureLayerOf(config, store, options.complain)),
        runs(store, IdentityOf(config, options.version), events, options.complain),
        api({.store = store,
             .config = config,
             .cameras = cameras,
             .events = events,
             .runs = runs,
             .key = key,
             .signIns = secure == nullptr ? nullptr : &signIns.emplace(store, Now),
             .continueStreams = [this] { server.ContinueStreams(); },
             .version = options.version,
             .machineUser = options.machineUser},
            [this](auto work) { return server.RunLong(std::move(work)); }),
        server([this](const http::Request& request,
                      const http::Send& send) { api.Handle(request, send); },
               LimitsOfStation(), options.complain, secure),
        guard([this, complain = options.complain] {
          try {
            if (signIns->EndStreams()) server.ContinueStreams();
          } catch (const std::exception& error) {
            complain(std::string("whether all are signed in still is not known: ") + error.what());
          }
        }) {
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
  const std::shared_ptr<http::SecureLayer> secure;  // null: nobody else can reach it
  std::optional<SignIns> signIns;
  Events events;
  std::list<CameraState> cameras;
  Runs runs;
  Api api;
  http::Server server;
  StreamGuard guard;
  std::list<CameraWatch> watches;
};

Service::Service(Store& store, const StationConfig& config, const Options& options)
    : mState(std::make_unique<State>(store, config, options)) {}

Service::~Service() = default;

std::string Service::Bind(std::uint16_t port) {
  const std::string& host = mState->config.listen.host;
  return mState->server.Bind(port, host == "localhost" ? "127.0.0.1" : host);
}

std::uint16_t Service::Port() const {
  return mState->server.Port();
}

void Service::Serve() {
  for (CameraState& camera : mState->cameras) mState->watches.emplace_back(camera, mState->store);
  if (mState->signIns) mState->guard.Start();
  mState->server.Serve();
}

}  // namespace station
