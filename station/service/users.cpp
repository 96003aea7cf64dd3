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
  if (!store.FindUser(name)) throw NoSuch("there is no user " + name);
  UserUpdate update;
  std::string what;
  const auto add = [&what](std::string_view part) {
    what.append(what.empty() ? "" : ", ").append(part);
  };
  if (change.role) {
    update.role = RoleText(*change.role);
    add(std::string("is ").append(*update.role).append(" now"));
  }
  if (change.password) {
    CheckPassword(*change.password);
    update.passwordHash = HashOfPassword(*change.password, cost);
    add("has another password");
  }
  if (change.isDisabled) {
    update.disabledAt = *change.isDisabled ? std::optional(Now()) : std::nullopt;
    add(*change.isDisabled ? "is disabled" : "is enabled");
  }
  if (what.empty()) return;
  try {
    store.ChangeUser(name, update);
  } catch (const StoreError& error) {
    if (error.kind != StoreError::Kind::Constraint) throw;
    throw NotNow(error.what());
  }
  store.WriteAudit({Now(), who, "user " + name + " " + what});
}

}  // namespace station
