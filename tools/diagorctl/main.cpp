// diagorctl: the command line on a camera's tests.
#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <iostream>

#include "diagorctl/command.h"

namespace {

using namespace diagorctl;

std::atomic<bool> gInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

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
