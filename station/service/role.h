// Who may do what.
#pragma once

#include <optional>
#include <string_view>

namespace station {

// Each may also do what those before it may.
enum class Role { Anybody, Operator, Engineer, Administrator };

// As users have them and the API tells them; empty for Anybody.
std::string_view RoleText(Role role);
// None: there is no such role.
std::optional<Role> RoleOf(std::string_view text);

}  // namespace station
