// diagorctl: the command line on a camera's tests.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "client/camera_client.h"
#include "client/log_lines.h"
#include "client/results.h"
#include "client/run_plan.h"

namespace {

enum ExitCode : int {
  kNothingFailed = 0,
  kTestFailed = 1,
  kUsage = 2,  // or nothing matched
  kNoConnection = 3,
  kRefused = 4,
  kInterrupted = 130,
};

constexpr std::uint16_t kDefaultPort = 0x567F;

// What the user named cannot be used; what() says why.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::atomic<bool> gInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

struct Options {
  std::uint16_t port = kDefaultPort;
  bool json = false;
  bool quiet = false;
  std::string path;
  std::string value;
  std::vector<std::string> globs;
  int depth = 32;
  client::RunOptions run;
  bool trace = false;
  bool resetLog = false;
  bool resetCamera = false;
  bool systemLog = false;
  std::string junit;  // a file; empty: none
  bool tap = false;
  std::string after;
  unsigned count = 0;  // of events; 0: until the end
};

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

// A file that is there whole or not at all. What cannot be written is said before a run, not after.
class ResultFile {
 public:
  explicit ResultFile(const std::string& path) {
    if (path.empty()) return;
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
      throw UsageError("cannot write " + path + ": it is no ordinary file");
    }
    mPath = std::filesystem::weakly_canonical(path, error).string();  // a link's file, not the link
    mDraft = mPath + "." + std::to_string(getpid()) + ".part";
    mStream.open(mDraft, std::ios::binary);
    if (!mStream) throw UsageError("cannot write " + mDraft);
  }
  ~ResultFile() {
    std::error_code ignored;
    if (!mDraft.empty()) std::filesystem::remove(mDraft, ignored);
  }
  ResultFile(const ResultFile&) = delete;
  ResultFile& operator=(const ResultFile&) = delete;

  void Write(const client::Report& report) {
    if (mPath.empty()) return;
    client::WriteJunit(mStream, report);
    mStream.close();
    std::error_code error;
    if (mStream) std::filesystem::rename(mDraft, mPath, error);
    if (!mStream || error) throw UsageError("cannot write " + mPath);
    mDraft.clear();
  }

 private:
  std::string mPath;
  std::string mDraft;  // empty: there is none
  std::ofstream mStream;
};

std::string NameOf(client::CameraClient& camera, const char* path) {
  try {
    return ValueText(camera.Get(path)["value"]);
  } catch (const client::RefusedError&) {
    return "unknown";
  }
}

int Run(client::CameraClient& camera, const Options& options) {
  const auto items = client::SelectForRun(client::TestItems(camera), options.globs);
  if (items.empty()) {
    std::cerr << "diagorctl: no test item matches; diagorctl list shows them all\n";
    return kUsage;
  }
  const auto progress = [&options](const client::Attempt& attempt, client::Phase phase) {
    if (options.quiet) return;
    if (phase == client::Phase::Ends) {
      std::cerr << attempt.value << "\n";
    } else {
      const bool begins = phase == client::Phase::Begins;
      std::cerr << (begins ? attempt.path : attempt.message) << " ... " << std::flush;
    }
  };
  ResultFile junit(options.junit);
  client::Report report;
  report.camera = NameOf(camera, ".version.product.name");
  report.serial = NameOf(camera, ".version.product.serial");
  const auto write = [&] {
    if (options.json) {
      client::WriteJson(std::cout, report);
    } else if (options.tap) {
      client::WriteTap(std::cout, report);
    } else {
      client::WriteTable(std::cout, report, UseColour());
    }
    std::cout.flush();
    junit.Write(report);
  };
  try {
    client::Run(camera, items, options.run, report.attempts, progress);
  } catch (...) {
    // What was found so far is not lost.
    std::cerr << "\n";
    try {
      write();
    } catch (const UsageError& error) {  // the reason why the run ended is the weightier one
      std::cerr << "diagorctl: " << error.what() << "\n";
    }
    throw;
  }
  report.isWhole = true;
  write();
  if (client::CountFailed(report.attempts) > 0) return kTestFailed;
  return client::CountWithoutResult(report.attempts) > 0 ? kRefused : kNothingFailed;
}

int Reset(client::CameraClient& camera, const Options& options) {
  std::uint32_t status = camera.Set("test.clearResult", true)["status"].get<std::uint32_t>();
  if (options.resetLog) status |= camera.Set("test.clearLog", true)["status"].get<std::uint32_t>();
  if (options.resetCamera) camera.Set(".desk.restore", true);
  return status == 0 ? kNothingFailed : kTestFailed;
}

int Log(client::CameraClient& camera, const Options& options) {
  const auto lines = client::LogLines(
      camera.File(options.systemLog ? "FlashFS/log/syslog.txt" : "FlashFS/tmp/bitlog.txt"));
  static constexpr const char* kKinds[] = {"header", "record", "fragment"};
  client::Json list = client::Json::array();
  for (const client::LogLine& line : lines) {
    const char* const kind = kKinds[static_cast<std::size_t>(line.kind)];
    if (options.json) {
      list.push_back({{"kind", kind}, {"text", line.text}});
    } else {
      std::cout << (line.kind == client::LogLine::Kind::Fragment ? "[fragment] " : "") << line.text
                << "\n";
    }
  }
  if (options.json) PrintJson(list);
  return kNothingFailed;
}

// "  5.000  test-ended    test.items.clock.clock  OK  "
void PrintEvent(const client::Event& event, const Options& options) {
  if (options.json) {
    client::Json line;
    line["id"] = event.id;
    line["event"] = event.kind;
    for (const auto& [key, value] : event.fields.items()) line[key] = value;
    std::cout << line.dump(-1, ' ', false, client::Json::error_handler_t::replace) << std::endl;
    return;
  }
  const auto field = [&event](const char* key) {
    return event.fields.contains(key) ? ValueText(event.fields[key]) : std::string();
  };
  const double at = event.fields.contains("at") ? event.fields["at"].get<double>() : 0;
  std::cout << std::right << std::setw(12) << std::fixed << std::setprecision(3) << at << "  "
            << std::left << std::setw(14) << event.kind;
  if (event.kind == "record") {
    std::cout << field("text");
  } else if (event.kind == "gap") {
    std::cout << "events missed: " << field("missed");
  } else {
    std::cout << (field("tree") == "camera" ? "." : "") << field("path") << "  " << field("value");
  }
  std::cout << std::endl;  // seen at once, also through a pipe
}

// A stream that ends is taken up again where it ended, once; a camera that has gone stays gone.
int Watch(client::CameraClient& camera, const Options& options) {
  std::string last = options.after;
  unsigned left = options.count;
  const auto tell = [&](const client::Event& event) {
    if (options.count > 0 && left == 0) return;
    if (!event.id.empty()) last = event.id;
    PrintEvent(event, options);
    if (left > 0) --left;
  };
  const auto done = [&] { return (options.count > 0 && left == 0) || !std::cout; };
  for (;;) {
    camera.Subscribe(tell, last);
    try {
      while (!camera.AwaitEvents(done, std::chrono::hours(1))) {
      }
      return kNothingFailed;
    } catch (const client::ConnectionError&) {
      if (!options.quiet) std::cerr << "diagorctl: the stream of events ended; asking again\n";
    }
  }
}

using Command = int (*)(client::CameraClient&, const Options&);

int Execute(Command command, const Options& options) {
  try {
    client::CameraClient camera(options.port, [] { return gInterrupted.load(); });
    const int code = command(camera, options);
    std::cout.flush();
    if (!std::cout) throw UsageError("cannot write to standard output");
    return code;
  } catch (const client::ConnectionError& error) {
    std::cerr << "diagorctl: no camera on port " << options.port << ": " << error.what()
              << " (start one with scripts/run --serve; name its port with --port)\n";
    return kNoConnection;
  } catch (const client::RefusedError& error) {
    std::cerr << "diagorctl: " << error.what() << "\n";
    return kRefused;
  } catch (const UsageError& error) {
    std::cerr << "diagorctl: " << error.what() << "\n";
    return kUsage;
  } catch (const client::InterruptedError&) {
    std::cerr << "diagorctl: interrupted\n";
    return kInterrupted;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGINT, [](int) { gInterrupted = true; });

  CLI::App app{
      "Lists, runs and reads the tests of a camera.\n"
      "Paths: items.battery.battery or test.items.battery.battery; a leading dot names the "
      "camera-wide tree (.desk.rtc.rate).",
      "diagorctl"};
  app.set_version_flag("--version", DIAGORCTL_VERSION);
  Options options;
  app.add_option("--port", options.port, "The camera's port")->capture_default_str();
  CLI::Option* const json = app.add_flag("--json", options.json, "Print JSON");
  app.add_flag("--quiet", options.quiet, "No progress");
  app.require_subcommand(1);
  app.fallthrough();

  Command command = nullptr;
  const auto add = [&](const char* name, const char* help, Command run) {
    CLI::App* const sub = app.add_subcommand(name, help);
    sub->callback([&command, run] { command = run; });
    return sub;
  };
  CLI::App* sub = add("list", "List test items with their values", List);
  sub->add_option("glob", options.globs, "Which items; all without one");
  sub = add("show", "Show a node and what is below it", Show);
  sub->add_option("path", options.path, "Node; the root of the tests without one");
  sub->add_option("--depth", options.depth, "Levels below the node")->check(CLI::Range(0, 32));
  sub = add("get", "Print a node's value", Get);
  sub->add_option("path", options.path, "Node")->required();
  sub = add("set", "Write a value to a node", Set);
  sub->add_option("path", options.path, "Node")->required();
  sub->add_option("value", options.value, "Value, as text")->required();
  sub->add_flag("--trace", options.trace, "Print what the write asked of the camera");
  sub = add("run", "Run test items and show their results", Run);
  sub->add_option("glob", options.globs, "Which items; all without one");
  sub->add_option("--repeat", options.run.rounds, "Rounds")->check(CLI::Range(1U, 1000000U));
  sub->add_flag("--until-fail", options.run.untilFail, "No further round after a failure");
  sub->add_option("--junit", options.junit, "Write the results as JUnit XML to that file too");
  sub->add_flag("--tap", options.tap, "Print the results as TAP in place of a table")
      ->excludes(json);
  sub = add("reset", "Set every item back to Untested", Reset);
  sub->add_flag("--log", options.resetLog, "Restart the log file too");
  sub->add_flag("--camera", options.resetCamera, "Restore the simulated camera too");
  sub = add("log", "Print the log file", Log);
  sub->add_flag("--system", options.systemLog, "Print the system log instead");
  sub = add("watch", "Print what happens on the camera, until Ctrl-C", Watch);
  sub->add_option("--after", options.after,
                  "Begin after the event of that id; 0: all that is kept");
  sub->add_option("--count", options.count, "End after so many events");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kNothingFailed : kUsage;
  }
  try {
    return Execute(command, options);
  } catch (const std::exception& error) {
    std::cerr << "diagorctl: " << error.what() << "\n";
    return kNoConnection;
  }
}
