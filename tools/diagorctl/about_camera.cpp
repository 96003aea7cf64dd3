#include "diagorctl/about_camera.h"

#include "diagorctl/command.h"
#include "terminal/output.h"

namespace diagorctl {

std::string NameOf(client::CameraClient& camera, const char* path) {
  try {
    return ValueText(camera.Get(path)["value"]);
  } catch (const client::RefusedError&) {
    return "unknown";
  }
}

void TellOfLease(client::CameraClient& camera) {
  try {
    const client::Json lease = camera.Lease();
    if (!lease["owner"].is_null()) {
      Complain("note: " + ValueText(lease["owner"]) + " has this camera to himself for now");
    }
  } catch (const client::RefusedError&) {
    // A camera that knows no leases.
  }
}

}  // namespace diagorctl
