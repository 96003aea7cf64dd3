#include "station/service/users.h"

#include <algorithm>
#include <cctype>

#include "station/runner/run.h"
#include "station/service/refusal.h"
#include "station/store/error.h"
#include "station/store/text.h"

namespace station {

namespace {

void CheckPassword(const std::string& password) {
  constexpr std::size_t kShortest = 8;
  constexpr std::size_t kLongest = 1024;
  if (password.size() < kShortest || password.size() > kLongest) {
    throw Unfit("a password has 8 to 1024 bytes");
  }
}

void CheckName(const std::string& name) {
  constexpr std::size_t kLongest = 80;
  const bool isWhole = !name.empty() && name.size() <= kLongest && Settled(name) == name &&
                       std::none_of(name.begin(), name.end(),
                                    [](unsigned char each) { return std::iscntrl(each) != 0; });
  // Blanks at its ends are seen by nobody.
  if (!isWhole || name.front() == ' ' || name.back() == ' ') {
    throw Unfit("a user's name has 1 to 80 bytes of text, without blanks at its ends");
  }
}

bool IsAdministrator(const UserRecord& user) {
  return !user.disabledAt && RoleOf(user.role) == Role::Administrator;
}

}  // namespace

void AddUser(Store& store, const std::string& who, const std::string& name, Role role,
             const std::string& password, PasswordCost cost) {
  CheckName(name);
  CheckPassword(password);
  try {
    store.AddUser(
        {name, std::string(RoleText(role)), HashOfPassword(password, cost), std::nullopt});
  } catch (const StoreError& error) {
    if (error.kind != StoreError::Kind::Constraint) throw;
    throw NotNow("there is a user " + name + " already");
  }
  store.WriteAudit(
      {Now(), who, std::string("user ").append(name).append(" added as ").append(RoleText(role))});
}

void ChangeUser(Store& store, const std::string& who, const std::string& name,
                const UserChange& change, PasswordCost cost) {
  const auto found = store.FindUser(name);
  if (!found) throw NoSuch("there is no user " + name);
  UserRecord user = *found;
  std::string what;
  const auto add = [&what](std::string_view part) {
    what.append(what.empty() ? "" : ", ").append(part);
  };
  if (change.role) {
    user.role = RoleText(*change.role);
    add(std::string("is ").append(user.role).append(" now"));
  }
  if (change.password) {
    CheckPassword(*change.password);
    user.passwordHash = HashOfPassword(*change.password, cost);
    add("has another password");
  }
  if (change.isDisabled) {
    user.disabledAt = *change.isDisabled ? std::optional(Now()) : std::nullopt;
    add(*change.isDisabled ? "is disabled" : "is enabled");
  }
  if (what.empty()) return;
  if (IsAdministrator(*found) && !IsAdministrator(user)) {
    const auto users = store.Users();
    if (std::count_if(users.begin(), users.end(), IsAdministrator) < 2) {
      throw NotNow(name + " is the last administrator: make another one first");
    }
  }
  store.ChangeUser(user);
  if (change.password || user.disabledAt) store.EndSessionsOf(name, Now());
  store.WriteAudit({Now(), who, "user " + name + " " + what});
}

}  // namespace station
