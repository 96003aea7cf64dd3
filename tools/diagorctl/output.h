// How values and JSON are printed, and what the terminal can show.
#pragma once

#include <string>

#include "client/camera_client.h"

namespace diagorctl {

bool UseColour();

// A text as it is, anything else as JSON.
std::string ValueText(const client::Json& value);

void PrintJson(const client::Json& json);

}  // namespace diagorctl
