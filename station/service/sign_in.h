// Who is signed in, at a station that others than its own machine can reach. All on any thread.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <semaphore>
#include <string>

#include "http/message.h"
#include "station/service/password.h"
#include "station/service/role.h"
#include "station/store/store.h"

namespace station {

struct Actor {
  std::string name;  // empty: nobody has signed in
  Role role = Role::Anybody;
};

class SignIns {
 public:
  // now: milliseconds since 1970.
  SignIns(Store& store, std::function<Time()> now, PasswordCost cost = PasswordCost::Usual);

  // A shift at a bench.
  static constexpr Time kLasting = 12LL * 60 * 60 * 1000;

  // The token that says who asks from now on. Refusal: 401 the name or the password is wrong, 429
  // too many were wrong before, 503 too many sign in at once. peer: from where.
  std::string SignIn(const std::string& name, const std::string& password, const std::string& peer);
  // Nobody where the token is none, too old, signed out, or its user's no more.
  Actor WhoHas(const std::string& token) const;
  // Its streams end with it.
  void SignOut(const std::string& token);

  // The stream, for as long as the token is somebody's.
  std::shared_ptr<http::Stream> Guarded(std::shared_ptr<http::Stream> stream,
                                        const std::string& token);
  // Ends the streams of tokens that are nobody's any more. Whether there were any: they are to be
  // continued.
  bool EndStreams();

 private:
  class GuardedStream;
  // In a row, of a name from one address; of a name from all of them.
  struct Wrong {
    unsigned count = 0;
    Time until = 0;  // no other is tried before
    Time latest = 0;
  };
  class Place;

  void CheckPause(const std::string& key, Time now);
  // How many there are by now. free: so many cost no pause.
  unsigned CountWrong(const std::string& key, unsigned free, Time now);
  [[noreturn]] void Refuse(const std::string& name, const std::string& peer, bool isSomebody);

  Store& mStore;
  const std::function<Time()> mNow;
  const std::string mNobodysHash;  // takes as long as anybody's
  std::counting_semaphore<> mPlaces;
  std::mutex mLock;
  unsigned mWaiting = 0;
  std::map<std::string, unsigned> mWaitingOf;  // by address
  std::map<std::string, Wrong> mWrong;
  std::list<std::weak_ptr<GuardedStream>> mStreams;
};

}  // namespace station
