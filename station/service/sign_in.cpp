#include "station/service/sign_in.h"

#include <algorithm>
#include <atomic>
#include <vector>

#include "station/report/encoding.h"
#include "station/service/refusal.h"
#include "station/store/error.h"
#include "station/store/text.h"

namespace station {

namespace {

constexpr Time kSecond = 1000;

// What is tried at once takes 64 MiB each; more wait, and not without end.
constexpr unsigned kAtOnce = 2;
constexpr unsigned kMostWaiting = 32;
constexpr unsigned kMostOfOne = 4;  // of one address: it does not keep the others out

// Five wrong passwords in a row are a person's; from then on each makes the next one wait twice as
// long. From many addresses together they are a guesser's, later.
constexpr unsigned kFree = 5;
constexpr unsigned kFreeOfAll = 100;
constexpr Time kFirstPause = 30 * kSecond;
constexpr Time kLongestPause = Time{15} * 60 * kSecond;
// Of names that nobody has too, which cost whoever tries them nothing.
constexpr std::size_t kMostCounted = 10'000;
constexpr std::size_t kLongestName = 80;  // a longer one is nobody's

// Only this is kept: who reads the database is not signed in by it.
std::string KeptAs(const std::string& token) {
  return Hexadecimal(Sha256(token));
}

Refusal MustWait(Time seconds) {
  Refusal refusal(429, "Wait",
                  "too many wrong passwords: try again in " + std::to_string(seconds) + " s");
  refusal.retryAfter = static_cast<unsigned>(seconds);
  return refusal;
}

// Of one address; neither a name nor an address has a line's end.
std::string KeyOf(const std::string& name, const std::string& peer) {
  return name + "\n" + peer;
}

}  // namespace

class SignIns::GuardedStream : public http::Stream {
 public:
  GuardedStream(std::shared_ptr<http::Stream> stream, std::string token)
      : mStream(std::move(stream)), mToken(std::move(token)) {}
  std::string Next() override { return mIsOver ? std::string() : mStream->Next(); }
  bool IsOver() const override { return mIsOver; }
  std::string Beat() const override { return mStream->Beat(); }
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

// Among those whose password is being looked at.
class SignIns::Place {
 public:
  Place(SignIns& signIns, const std::string& peer) : mSignIns(signIns), mPeer(peer) {
    {
      const std::lock_guard lock(mSignIns.mLock);
      unsigned& ofPeer = mSignIns.mWaitingOf[mPeer];
      if (mSignIns.mWaiting >= kMostWaiting || ofPeer >= kMostOfOne) {
        if (ofPeer == 0) mSignIns.mWaitingOf.erase(mPeer);
        throw Refusal(503, "No room", "too many sign in at once; try again later");
      }
      ++mSignIns.mWaiting;
      ++ofPeer;
    }
    mSignIns.mPlaces.acquire();
  }
  ~Place() {
    mSignIns.mPlaces.release();
    const std::lock_guard lock(mSignIns.mLock);
    --mSignIns.mWaiting;
    if (--mSignIns.mWaitingOf[mPeer] == 0) mSignIns.mWaitingOf.erase(mPeer);
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

 private:
  SignIns& mSignIns;
  const std::string mPeer;
};

void SignIns::CheckPause(const std::string& key, Time now) {
  const std::lock_guard lock(mLock);
  const auto found = mWrong.find(key);
  if (found == mWrong.end() || found->second.until <= now) return;
  throw MustWait((found->second.until - now + kSecond - 1) / kSecond);
}

unsigned SignIns::CountWrong(const std::string& key, unsigned free, Time now) {
  const std::lock_guard lock(mLock);
  if (mWrong.size() >= kMostCounted && !mWrong.contains(key)) {
    mWrong.erase(std::min_element(mWrong.begin(), mWrong.end(), [](const auto& a, const auto& b) {
      return a.second.latest < b.second.latest;
    }));
  }
  Wrong& wrong = mWrong[key];
  ++wrong.count;
  wrong.latest = now;
  if (wrong.count < free) return wrong.count;
  Time pause = kFirstPause;
  for (unsigned each = free; each < wrong.count && pause < kLongestPause; ++each) pause *= 2;
  wrong.until = now + std::min(pause, kLongestPause);
  return wrong.count;
}

// A disabled user hears no more than one who guesses.
void SignIns::Refuse(const std::string& name, const std::string& peer, bool isSomebody) {
  const Time now = mNow();
  if (name.size() <= kLongestName) {
    const unsigned count = CountWrong(KeyOf(name, peer), kFree, now);
    CountWrong(KeyOf(name, ""), kFreeOfAll, now);
    // Of names that nobody has, only that somebody tries them: whoever does fills no disk.
    if (isSomebody || count == kFree) {
      mStore.WriteAudit({now, Settled(name), "wrong name or password, from " + peer});
    }
  }
  throw Refusal(401, "Not signed in", "the name or the password is wrong");
}

std::string SignIns::SignIn(const std::string& name, const std::string& password,
                            const std::string& peer) {
  const Place place(*this, peer);
  CheckPause(KeyOf(name, peer), mNow());
  CheckPause(KeyOf(name, ""), mNow());
  const auto user = mStore.FindUser(name);
  const bool isHis = IsPasswordOf(user ? user->passwordHash : mNobodysHash, password);
  if (!isHis || !user || user->disabledAt) Refuse(name, peer, user.has_value());
  const Time now = mNow();
  std::string token = NewToken();
  try {
    mStore.AddSession({KeptAs(token), user->name, now + kLasting}, user->passwordHash, now);
  } catch (const StoreError& error) {
    if (error.kind != StoreError::Kind::Constraint) throw;
    Refuse(name, peer, true);  // disabled, or another password, while this one was looked at
  }
  {
    const std::lock_guard lock(mLock);
    mWrong.erase(KeyOf(name, peer));
    mWrong.erase(KeyOf(name, ""));
  }
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
