// The people that a station knows: by the command line and by the API alike. Every change is
// written to the audit.
#pragma once

#include <optional>
#include <string>

#include "station/service/password.h"
#include "station/service/role.h"
#include "station/store/store.h"

namespace station {

// Refusal: the name is taken or no name (1 to 80 bytes without control characters), the password
// has not 8 to 1024 bytes. who: does it.
void AddUser(Store& store, const std::string& who, const std::string& name, Role role,
             const std::string& password, PasswordCost cost = PasswordCost::Usual);

struct UserChange {
  std::optional<Role> role = std::nullopt;
  std::optional<std::string> password = std::nullopt;
  std::optional<bool> isDisabled = std::nullopt;
};
// Another password, and being disabled, end what the user is signed in at. Refusal: there is no
// such user, no such password, or no administrator would be left.
void ChangeUser(Store& store, const std::string& who, const std::string& name,
                const UserChange& change, PasswordCost cost = PasswordCost::Usual);

}  // namespace station
