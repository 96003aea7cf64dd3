#include "support/test_camera.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "server/json.h"
#include "tarq/framework.h"
#include "tarq/node_access.h"

int WINAPI WinMain(HINSTANCE instance, HINSTANCE previous, LPWSTR commandLine, int show);

namespace test {

namespace fs = std::filesystem;
using TARQ::NodeAccess;

namespace {

std::string Text(const Json& value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Result& result) {
  return out << "{" << result.status << ", \"" << result.value << "\", \"" << result.message
             << "\"}";
}

TemporaryFolder::TemporaryFolder() {
  std::string name = (fs::temp_directory_path() / "diagor-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  mPath = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(mPath, ignored);
}

BareCamera::BareCamera(const std::string& variant, const std::string& knobs) {
  desk::CameraSettings settings;
  settings.variant = variant;
  settings.root = mFolder.Path();
  settings.knobs = knobs;
  mCamera = std::make_unique<desk::Camera>(settings);
  EXPECT_EQ(mCamera->TakeStorage(), "");
}

void BareCamera::Set(const std::string& path, const std::string& value) {
  ASSERT_EQ(mCamera->Write(path, TARQ::CResourceValue(value.c_str())), 0U)
      << path << " = " << value;
}

Json BareCamera::Tree(const std::string& path) {
  TARQ::CResourceTree& tree = path.starts_with(".") ? mCamera->CameraTree() : mCamera->TaskTree();
  TARQ::CServerResource* const node = NodeAccess::Find(NodeAccess::Root(tree), path);
  return node == nullptr ? Json() : desk::NodeJson(*node, 32);
}

std::string BareCamera::Get(const std::string& path) {
  const Json node = Tree(path);
  if (node.is_null()) return "no such node";
  return Text(node["value"]);
}

std::future<Json> BareCamera::Ask(const std::string& path, const Json& value) {
  const auto reply = std::make_shared<std::promise<Json>>();
  TARQ::CServerResource* const node = NodeAccess::Find(NodeAccess::Root(mCamera->TaskTree()), path);
  if (node == nullptr || mCamera->Deliveries().Deliver(
                             *node, *desk::ValueFromJson(value, NodeAccess::Stored(*node).Type()),
                             true, [node, reply](const desk::Delivered& delivered) {
                               reply->set_value(Json::parse(desk::Dump(desk::DeliveredJson(
                                   *node, delivered, desk::TraceWish::Always))));
                             }) != desk::Deliveries::Start::Started) {
    reply->set_value(Json());
  }
  return reply->get_future();
}

std::vector<Json> BareCamera::RunTogether(const std::vector<std::string>& paths) {
  std::vector<std::future<Json>> asked;
  {
    // None begins while this thread has its turn.
    const desk::Clock::Participation mine(mCamera->Clock(), desk::Clock::Role::Follows);
    for (const std::string& path : paths) asked.push_back(Ask(path, "run"));
  }
  std::vector<Json> replies;
  replies.reserve(asked.size());
  for (std::future<Json>& each : asked) replies.push_back(each.get());
  return replies;
}

Result BareCamera::Run(const std::string& path, const Json& value) {
  const Json reply = Write(path, value);
  if (reply.is_null()) return {0, "no such node", ""};
  const auto text = reply["value"].get<std::string>();
  const Json& records = reply["records"];
  return {
      reply["status"].get<DWORD>(), text,
      records.empty() ? "no record" : client::MessageOf(records.back().get<std::string>(), text)};
}

fs::path BareCamera::File(const std::string& cameraPath) const {
  return mFolder.Path() / fs::path(cameraPath).relative_path();
}

std::string BareCamera::Contents(const std::string& cameraPath) const {
  std::ifstream file(File(cameraPath), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void BareCamera::MakeFile(const std::string& cameraPath, const std::string& contents) {
  fs::create_directories(File(cameraPath).parent_path());
  std::ofstream(File(cameraPath), std::ios::binary) << contents;
}

std::vector<std::string> BareCamera::LogLines() const {
  std::istringstream log(Contents("/FlashFS/tmp/bitlog.txt"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(log, line);) lines.push_back(line);
  return lines;
}

TestCamera::TestCamera(const std::string& variant, const std::string& knobs,
                       const std::vector<std::string>& files)
    : TestCamera(variant, knobs, [&files](BareCamera& camera) {
        for (const std::string& file : files) camera.MakeFile(file);
      }) {}

TestCamera::TestCamera(const std::string& variant, const std::string& knobs, const Prepare& prepare)
    : BareCamera(variant, knobs) {
  if (prepare) prepare(*this);
  const auto serves = std::make_shared<std::promise<bool>>();
  desk::SetFrameworkHooks({{}, [serves] { serves->set_value(true); }});
  mProgram = std::thread([serves, this] {
    wchar_t noWords[] = L"";
    mExitCode = WinMain(nullptr, nullptr, noWords, 1);
    try {
      serves->set_value(false);
    } catch (const std::future_error&) {  // it has served
    }
  });
  mStarted = serves->get_future().get();
  if (!mStarted) Stop();
}

void TestCamera::Stop() {
  if (!mProgram.joinable()) return;
  desk::RequestStop();
  mProgram.join();
}

std::vector<std::string> TraceLines(const Json& reply) {
  std::vector<std::string> lines;
  for (const Json& step : reply["trace"]) {
    std::string line;
    for (const auto& [key, value] : step.items()) {
      if (!line.empty()) line += " ";
      line += key == "ms" ? std::to_string(value.get<long>()) : Text(value);
    }
    lines.push_back(line);
  }
  return lines;
}

}  // namespace test
