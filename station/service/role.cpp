#include "station/service/role.h"

#include <algorithm>
#include <array>

namespace station {

namespace {

constexpr std::array<std::string_view, 4> kTexts = {"", "operator", "engineer", "administrator"};

}  // namespace

std::string_view RoleText(Role role) {
  return kTexts.at(static_cast<std::size_t>(role));
}

std::optional<Role> RoleOf(std::string_view text) {
  const auto* const found = std::find(kTexts.begin() + 1, kTexts.end(), text);
  if (found == kTexts.end()) return std::nullopt;
  return static_cast<Role>(found - kTexts.begin());
}

}  // namespace station
