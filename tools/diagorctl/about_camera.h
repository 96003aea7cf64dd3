// What several commands ask a camera about itself.
#pragma once

#include <string>

#include "client/camera_client.h"

namespace diagorctl {

// The value of a node that names the camera; "unknown" where it has none.
std::string NameOf(client::CameraClient& camera, const char* path = ".version.product.name");

// Two runs at once disturb each other: whoever comes while another one has the lease is told.
void TellOfLease(client::CameraClient& camera);

}  // namespace diagorctl
