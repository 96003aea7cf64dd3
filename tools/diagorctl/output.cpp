#include "diagorctl/output.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>

namespace diagorctl {

bool UseColour() {
  const char* const noColour = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
  return isatty(STDOUT_FILENO) != 0 && (noColour == nullptr || *noColour == '\0');
}

std::string ValueText(const client::Json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

void PrintJson(const client::Json& json) {
  std::cout << json.dump(2, ' ', false, client::Json::error_handler_t::replace) << "\n";
}

}  // namespace diagorctl
