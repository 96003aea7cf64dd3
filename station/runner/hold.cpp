#include "station/runner/hold.h"

#include <fstream>
#include <iterator>

#include "station/store/durable_file.h"

namespace station {

namespace {

constexpr double kLeaseSeconds = 30;
constexpr char kDescription[] = "test.description.";

// What was changed and is not given back yet: the camera's serial, and texts by node.
client::Json Kept(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  client::Json kept = client::Json::parse(text, nullptr, false);
  // A file that is torn or edited is nothing that could be given back.
  const bool isWhole = kept.is_object() && kept.contains("serial") && kept.contains("texts") &&
                       kept["texts"].is_object();
  if (isWhole) return kept;
  return {{"serial", nullptr}, {"texts", client::Json::object()}};
}

}  // namespace

CameraHold::CameraHold(const CameraAddress& address, const std::string& owner,
                       const std::filesystem::path& folder, std::chrono::milliseconds renewal)
    : mAddress(address),
      mOwner(owner),
      mChanges(CameraFile(folder, address, ".json")),
      mLocked(folder, address),
      mBetween(renewal) {
  constexpr std::chrono::seconds kPatience{10};  // a write has no end of its own
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  client::CameraClient camera(mAddress.host, mAddress.port,
                              [deadline] { return std::chrono::steady_clock::now() > deadline; });
  try {
    Renew(camera);
  } catch (const client::InterruptedError&) {
    throw client::ConnectionError("no answer in time when it was asked for its lease");
  }
  if (mIsLeased) mRenewal = std::thread([this] { KeepLease(); });
}

CameraHold::~CameraHold() {
  {
    const std::lock_guard lock(mLock);
    mEnds = true;
  }
  mEnding.notify_all();
  if (mRenewal.joinable()) mRenewal.join();
}

std::string CameraHold::TakenBy() const {
  const std::lock_guard lock(mLock);
  return mTakenBy;
}

void CameraHold::Renew(client::CameraClient& camera) {
  constexpr unsigned kTaken = 409;
  try {
    if (mIsLeased) camera.TakeLease(mOwner, kLeaseSeconds);
  } catch (const client::RefusedError& error) {
    if (error.IsUnknown()) {
      mIsLeased = false;
      return;
    }
    if (error.status != kTaken) throw;
    const std::lock_guard lock(mLock);
    mTakenBy = error.what();
    throw RunRefused("camera " + mAddress.Text() + ": " + mTakenBy);
  }
}

// Until the end, or until somebody else has it; a camera that is away meanwhile is asked again the
// next time.
void CameraHold::KeepLease() {
  constexpr std::chrono::seconds kPatience{3};
  const auto ask = [&](const client::CameraClient::Interrupted& interrupted, const auto& act) {
    try {
      client::CameraClient camera(mAddress.host, mAddress.port, interrupted,
                                  {kPatience, kPatience});
      act(camera);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
      // Whether the camera is lost is seen by the run itself.
    }
  };
  const auto ends = [this] {
    const std::lock_guard lock(mLock);
    return mEnds;
  };
  std::unique_lock lock(mLock);
  while (mTakenBy.empty() && !mEnding.wait_for(lock, mBetween, [this] { return mEnds; })) {
    lock.unlock();
    ask(ends, [this](client::CameraClient& camera) { Renew(camera); });
    lock.lock();
  }
  if (!mTakenBy.empty()) return;
  lock.unlock();
  // Whoever answers nothing is not waited for: the lease ends by itself.
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  ask([deadline] { return std::chrono::steady_clock::now() > deadline; },
      [this](client::CameraClient& camera) { camera.TakeLease(mOwner, 0); });
}

void CameraHold::Describe(client::CameraClient& camera, const std::string& serial,
                          const std::map<std::string, std::string>& texts) {
  client::Json kept = Kept(mChanges);
  if (kept["serial"] != serial) kept = {{"serial", serial}, {"texts", client::Json::object()}};
  for (const auto& [node, text] : texts) {
    // What is kept already was there before any run.
    if (kept["texts"].contains(node)) continue;
    const client::Json value = camera.Get(kDescription + node)["value"];
    if (value.is_string()) kept["texts"][node] = value;
  }
  WriteDurably(mChanges, kept.dump(-1, ' ', false, client::Json::error_handler_t::replace), 0644,
               IfThere::Replace);
  for (const auto& [node, text] : texts) camera.Set(kDescription + node, text);
}

void CameraHold::GiveBack(client::CameraClient& camera, const std::string& serial) {
  const client::Json kept = Kept(mChanges);
  if (kept["serial"] != serial) return;
  Renew(camera);
  for (const auto& [node, text] : kept["texts"].items()) camera.Set(kDescription + node, text);
  std::error_code ignored;
  std::filesystem::remove(mChanges, ignored);
}

}  // namespace station
