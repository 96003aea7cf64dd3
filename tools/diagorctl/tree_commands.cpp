// list, show, get and set: the camera's nodes.
#include <algorithm>
#include <iomanip>
#include <iostream>

#include "client/run_plan.h"
#include "diagorctl/command.h"
#include "terminal/output.h"

namespace diagorctl {

namespace {

bool IsCameraWide(const std::string& path) {
  return path.starts_with(".");
}

// The paths in it as this program takes them.
void NameAsTyped(client::Json& node) {
  node["path"] = std::string(".").append(ValueText(node["path"]));
  for (client::Json& child : node["children"]) {
    if (child.is_object()) NameAsTyped(child);
  }
}

client::Json NodeOf(client::CameraClient& camera, const std::string& path, int depth) {
  client::Json node = camera.Get(client::FullPath(path), depth);
  if (IsCameraWide(path)) NameAsTyped(node);
  return node;
}

void PrintNode(const client::Json& node, std::size_t width) {
  const std::string path = ValueText(node["path"]);
  std::cout << std::left << std::setw(static_cast<int>(width))
            << Shown(path.empty() ? "\"\"" : path) << "  ";
  if (!node["value"].is_null()) {
    std::cout << "\"" << Shown(ValueText(node["value"])) << "\"  " << ValueText(node["type"])
              << "  ";
  }
  std::cout << ValueText(node["class"]) << "\n";
  for (const client::Json& child : node["children"]) {
    if (child.is_object()) PrintNode(child, width);
  }
}

std::size_t LongestPath(const client::Json& node) {
  std::size_t longest = ValueText(node["path"]).size();
  for (const client::Json& child : node["children"]) {
    if (child.is_object()) longest = std::max(longest, LongestPath(child));
  }
  return longest;
}

}  // namespace

int List(client::CameraClient& camera, const Options& options) {
  const auto items = client::Select(client::TestItems(camera), options.globs);
  if (options.json) {
    client::Json list = client::Json::array();
    for (const auto& item : items) {
      list.push_back({{"path", item.path}, {"class", item.className}, {"value", item.value}});
    }
    PrintJson(list);
  } else {
    for (const auto& item : items) {
      std::cout << std::left << std::setw(36) << item.path << std::setw(10) << Shown(item.value)
                << item.className << "\n";
    }
  }
  if (items.empty()) Complain("no test item matches");
  return items.empty() ? kUsage : kNothingFailed;
}

int Show(client::CameraClient& camera, const Options& options) {
  const client::Json node = NodeOf(camera, options.path, options.depth);
  if (options.json) {
    PrintJson(node);
  } else {
    PrintNode(node, LongestPath(node));
  }
  return kNothingFailed;
}

int Get(client::CameraClient& camera, const Options& options) {
  const client::Json node = NodeOf(camera, options.path, 0);
  if (options.json) {
    PrintJson(node);
  } else {
    std::cout << Shown(ValueText(node["value"])) << "\n";
  }
  return kNothingFailed;
}

int Set(client::CameraClient& camera, const Options& options) {
  const client::Json reply =
      camera.Set(client::FullPath(options.path), options.value,
                 options.trace ? client::Traced::Always : client::Traced::No);
  if (options.json || options.trace) {
    PrintJson(reply);
  } else if (!options.quiet) {
    std::cout << Shown(ValueText(reply["value"])) << "\n";
    for (const auto& record : reply["records"]) std::cout << Shown(ValueText(record)) << "\n";
  }
  return reply["status"] == 0 ? kNothingFailed : kTestFailed;
}

int Lease(client::CameraClient& camera, const Options& options) {
  constexpr double kLongest = 3600;
  const client::Json lease = camera.Lease();
  const client::Json& seconds = lease["seconds"];
  const bool isFree = lease["owner"].is_null();
  if (!isFree && !(seconds.is_number() && seconds >= 0 && seconds <= kLongest)) {
    throw client::ConnectionError("what answers for its lease is no camera");
  }
  if (options.json) {
    PrintJson(lease);
  } else if (isFree) {
    std::cout << "nobody has this camera to himself\n";
  } else {
    std::cout << Shown(ValueText(lease["owner"])) << ", for "
              << static_cast<int>(seconds.get<double>() + 1) << " more seconds\n";
  }
  return kNothingFailed;
}

}  // namespace diagorctl
