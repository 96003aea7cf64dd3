#include "station/service/sign_in.h"

#include <algorithm>
#include <atomic>
#include <vector>

#include "station/report/encoding.h"
#include "station/service/refusal.h"
#include "station/store/text.h"

namespace station {

namespace {

constexpr Time kSecond = 1000;

// What is tried at once takes 64 MiB each; more wait, and not without end.
constexpr unsigned kAtOnce = 2;
constexpr unsigned kMostWaiting = 32;

// Five wrong passwords in a row are a person's; from then on each makes the next one wait twice as
// long.
constexpr unsigned kFree = 5;
constexpr Time kFirstPause = 30 * kSecond;
constexpr Time kLongestPause = 15 * 60 * kSecond;
// Of names that nobody has too, which cost whoever tries them nothing.
constexpr std::size_t kMostNames = 10'000;

// Only this is kept: who reads the database is not signed in by it.
std::string KeptAs(const std::string& token) {
  return Hexadecimal(Sha256(token));
}

// A name that nobody has may be anything.
std::string Shown(const std::string& name) {
  constexpr std::size_t kMost = 80;
  return Settled(name.substr(0, kMost));
}

}  // namespace

class SignIns::GuardedStream : public http::Stream {
 public:
  GuardedStream(std::shared_ptr<http::Stream> stream, std::string token)
      : mStream(std::move(stream)), mToken(std::move(token)) {}
  std::string Next() override { return mIsOver ? std::string() : mStream->Next(); }
  bool IsOver() const override { return mIsOver; }
  const std::string& Token() const { return mToken; }
  void End() { mIsOver = true; }

 private:
  const std::shared_ptr<http::Stream> mStream;
  const std::string mToken;
  std::atomic<bool> mIsOver{false};
};

SignIns::SignIns(Store& store, std::function<Time()> now, PasswordCost cost)
    : mStore(store),
      mNow(std::move(now)),
      mNobodysHash(HashOfPassword(NewToken(), cost)),
      mPlaces(kAtOnce) {}

void SignIns::CheckPause(const std::string& name, Time now) {
  const std::lock_guard lock(mLock);
  const auto found = mWrong.find(name);
  if (found == mWrong.end() || found->second.until <= now) return;
  const Time seconds = (found->second.until - now + kSecond - 1) / kSecond;
  Refusal refusal(429, "Wait",
                  "too many wrong passwords: try again in " + std::to_string(seconds) + " s");
  refusal.retryAfter = static_cast<unsigned>(seconds);
  throw refusal;
}

void SignIns::CountWrong(const std::string& name, Time now) {
  const std::lock_guard lock(mLock);
  if (mWrong.size() >= kMostNames) {
    std::erase_if(mWrong, [now](const auto& each) { return each.second.until <= now; });
  }
  // Whoever waits still is kept; the others begin anew.
  if (mWrong.size() >= kMostNames && !mWrong.contains(name)) return;
  Wrong& wrong = mWrong[name];
  ++wrong.count;
  if (wrong.count < kFree) return;
  Time pause = kFirstPause;
  for (unsigned each = kFree; each < wrong.count && pause < kLongestPause; ++each) pause *= 2;
  wrong.until = now + std::min(pause, kLongestPause);
}

std::string SignIns::SignIn(const std::string& name, const std::string& password,
                            const std::string& peer) {
  // Both where it is left and where it is not reached.
  struct Place {
    explicit Place(SignIns& signIns) : its(signIns) {
      {
        const std::lock_guard lock(its.mLock);
        if (its.mWaiting >= kMostWaiting) {
          throw Refusal(503, "No room", "too many sign in at once; try again later");
        }
        ++its.mWaiting;
      }
      its.mPlaces.acquire();
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place() {
      its.mPlaces.release();
      const std::lock_guard lock(its.mLock);
      --its.mWaiting;
    }
    SignIns& its;
  };
  const Place place(*this);
  CheckPause(name, mNow());
  const auto user = mStore.FindUser(name);
  const bool isHis = IsPasswordOf(user ? user->passwordHash : mNobodysHash, password);
  const Time now = mNow();
  // A disabled user hears no more than one who guesses.
  if (!isHis || !user || user->disabledAt) {
    CountWrong(name, now);
    mStore.WriteAudit({now, Shown(name), "wrong name or password, from " + peer});
    throw Refusal(401, "Not signed in", "the name or the password is wrong");
  }
  {
    const std::lock_guard lock(mLock);
    mWrong.erase(name);
  }
  const std::string token = NewToken();
  mStore.AddSession({KeptAs(token), user->name, now + kLasting});
  mStore.WriteAudit({now, user->name, "signed in from " + peer});
  return token;
}

Actor SignIns::WhoHas(const std::string& token) const {
  if (token.empty()) return {};
  const auto session = mStore.FindSession(KeptAs(token));
  if (!session || session->expiresAt <= mNow()) return {};
  const auto user = mStore.FindUser(session->user);
  if (!user || user->disabledAt) return {};
  const auto role = RoleOf(user->role);
  return role ? Actor{user->name, *role} : Actor{};
}

void SignIns::SignOut(const std::string& token) {
  const Actor actor = WhoHas(token);
  mStore.EndSession(KeptAs(token));
  if (!actor.name.empty()) mStore.WriteAudit({mNow(), actor.name, "signed out"});
  EndStreams();
}

std::shared_ptr<http::Stream> SignIns::Guarded(std::shared_ptr<http::Stream> stream,
                                               const std::string& token) {
  auto guarded = std::make_shared<GuardedStream>(std::move(stream), token);
  const std::lock_guard lock(mLock);
  mStreams.push_back(guarded);
  return guarded;
}

bool SignIns::EndStreams() {
  std::vector<std::shared_ptr<GuardedStream>> streams;
  {
    const std::lock_guard lock(mLock);
    mStreams.remove_if([&streams](const auto& each) {
      auto stream = each.lock();
      if (stream == nullptr) return true;
      streams.push_back(std::move(stream));
      return false;
    });
  }
  bool hasEnded = false;
  for (const auto& stream : streams) {
    if (!WhoHas(stream->Token()).name.empty()) continue;
    stream->End();
    hasEnded = true;
  }
  return hasEnded;
}

}  // namespace station
