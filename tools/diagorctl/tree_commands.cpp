// list, show, get, set and reset: the camera's nodes.
#include <iomanip>
#include <iostream>

#include "client/run_plan.h"
#include "diagorctl/command.h"
#include "diagorctl/output.h"

namespace diagorctl {

namespace {

void PrintNode(const client::Json& node, int level) {
  const auto path = node["path"].get<std::string>();
  const std::string name = level == 0 ? path : path.substr(path.rfind('.') + 1);
  const std::string indented = std::string(2 * static_cast<std::size_t>(level), ' ') + name;
  std::cout << std::left << std::setw(32) << (indented.empty() ? "." : indented) << " ";
  if (!node["value"].is_null()) {
    std::cout << "\"" << ValueText(node["value"]) << "\"  " << node["type"].get<std::string>()
              << "  ";
  }
  std::cout << node["class"].get<std::string>() << "\n";
  for (const client::Json& child : node["children"]) {
    if (child.is_object()) PrintNode(child, level + 1);
  }
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
      std::cout << std::left << std::setw(36) << item.path << std::setw(10) << item.value
                << item.className << "\n";
    }
  }
  if (items.empty()) std::cerr << "diagorctl: no test item matches\n";
  return items.empty() ? kUsage : kNothingFailed;
}

int Show(client::CameraClient& camera, const Options& options) {
  const client::Json node = camera.Get(client::FullPath(options.path), options.depth);
  if (options.json) {
    PrintJson(node);
  } else {
    PrintNode(node, 0);
  }
  return kNothingFailed;
}

int Get(client::CameraClient& camera, const Options& options) {
  const client::Json node = camera.Get(client::FullPath(options.path));
  if (options.json) {
    PrintJson(node);
  } else {
    std::cout << (node["value"].is_null() ? "" : ValueText(node["value"])) << "\n";
  }
  return kNothingFailed;
}

int Set(client::CameraClient& camera, const Options& options) {
  const client::Json reply =
      camera.Set(client::FullPath(options.path), options.value, options.trace);
  if (options.json || options.trace) {
    PrintJson(reply);
  } else if (!options.quiet) {
    std::cout << ValueText(reply["value"]) << "\n";
    for (const auto& record : reply["records"]) std::cout << ValueText(record) << "\n";
  }
  return reply["status"] == 0 ? kNothingFailed : kTestFailed;
}

int Reset(client::CameraClient& camera, const Options& options) {
  std::uint32_t status = camera.Set("test.clearResult", true)["status"].get<std::uint32_t>();
  if (options.resetLog) status |= camera.Set("test.clearLog", true)["status"].get<std::uint32_t>();
  if (options.resetCamera) camera.Set(".desk.restore", true);
  return status == 0 ? kNothingFailed : kTestFailed;
}

}  // namespace diagorctl
