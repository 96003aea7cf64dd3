// diagorctl: the command line on a camera's tests.
#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <iostream>

#include "diagorctl/command.h"
#include "terminal/output.h"

namespace diagorctl {

namespace {

// The signal that asked for the end; 0: none did.
std::atomic<int> gSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

// A run that is asked to end, by whichever signal, writes what it found. A second signal changes
// nothing: who ends a whole group of processes may send it twice.
void EndOnSignals() {
  const auto end = [](int signal) {
    int none = 0;
    gSignal.compare_exchange_strong(none, signal);
  };
  std::signal(SIGINT, end);
  std::signal(SIGTERM, end);
  // Who started it to outlive the terminal has it ignored.
  if (std::signal(SIGHUP, end) == SIG_IGN) std::signal(SIGHUP, SIG_IGN);
}

int Execute(Command command, const Options& options) {
  try {
    client::CameraClient camera(options.port, [] { return gSignal != 0; });
    const int code = command(camera, options);
    std::cout.flush();
    if (!std::cout) throw UsageError("cannot write to standard output");
    return code;
  } catch (const client::ConnectionError& error) {
    Complain("no camera on port " + std::to_string(options.port) + ": " + error.what() +
             " (start one with scripts/run --serve; name its port with --port)");
    return kNoConnection;
  } catch (const client::RefusedError& error) {
    Complain(error.what());
    return kRefused;
  } catch (const UsageError& error) {
    Complain(error.what());
    return kUsage;
  } catch (const client::InterruptedError&) {
    Complain("interrupted");
    return kSignal + gSignal;
  }
}

// command: the one that the user asks for.
void AddCommands(CLI::App& app, Options& options, Command& command) {
  const auto add = [&app, &command](const char* name, const char* help, Command run) {
    CLI::App* const sub = app.add_subcommand(name, help);
    sub->callback([&command, run] { command = run; });
    return sub;
  };
  CLI::App* sub = add("list", "List test items with their values", List);
  sub->add_option("glob", options.globs, "Which items; all without one");
  sub = add("show", "Show a node and what is below it", Show);
  sub->add_option("path", options.path, "Node; the program's whole tree without one");
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
      ->excludes(app.get_option("--json"));
  sub = add("reset", "Set every item back to Untested", Reset);
  sub->add_flag("--log", options.resetLog, "Restart the log file too");
  sub->add_flag("--camera", options.resetCamera, "Restore the simulated camera too");
  sub = add("log", "Print the log file", Log);
  sub->add_flag("--system", options.systemLog, "Print the system log instead");
  add("lease", "Say who has the camera to himself", Lease);
  sub = add("explain", "Say what a test does, what a result of it means and what to try", Explain);
  sub->add_option("item", options.path, "Test item")->required();
  sub->add_option("code", options.value,
                  "Result, as 00A3; without one what the item holds, else all that it can report");
  sub = add("faults", "Make a simulated camera's faults and show what its tests make of them",
            Faults);
  sub->add_option("glob", options.globs, "Which: knobs or path=value; all without one");
  sub->add_flag("--list", options.lists, "Only list them");
  sub->add_option("--pairs", options.pairs, "Also so many pairs of them, for what hides what")
      ->check(CLI::Range(0U, 100000U));
  sub->add_option("--seed", options.seed, "Which pairs")->capture_default_str();
  sub->add_flag("--csv", options.csv, "Print a row for each fault and item that differs")
      ->excludes(app.get_option("--json"));
  sub->add_flag("--no-memory", options.skipMemory, "Leave the video memory's test out");
  sub->add_flag("--as-it-is", options.asItIs, "Break nothing: the results of one run, as JSON");
  sub = add("watch", "Print what happens on the camera, until Ctrl-C", Watch);
  sub->add_option("--after", options.after,
                  "Begin after the event of that id; 0: all that is kept");
  sub->add_option("--count", options.count, "End after so many events");
}

// What the user typed in place of a command.
std::string NoCommand(const CLI::App& app) {
  std::string text = "a command is missing: one of";
  const std::vector<std::string> words = app.remaining();
  if (!words.empty()) text = "there is no command " + words.front() + ", but";
  for (const CLI::App* const each : app.get_subcommands([](const CLI::App*) { return true; })) {
    text += " " + each->get_name();
  }
  return text + " (diagorctl --help)";
}

int Main(int argc, char** argv) {
  EndOnSignals();
  CLI::App app{
      "Lists, runs and reads the tests of a camera.\n"
      "Paths: items.battery.battery or test.items.battery.battery; a leading dot names the "
      "camera-wide tree (.desk.rtc.rate).",
      "diagorctl"};
  app.footer(
      "Exit codes: 0 nothing failed, 1 a test failed, 2 usage, nothing matched or output that "
      "cannot be written,\n"
      "3 no connection, 4 refused (of a run: an attempt has no result). SIGHUP, SIGINT (Ctrl-C) "
      "and SIGTERM\n"
      "end with 129, 130 and 143; a run then writes the results that it has.\n");
  app.set_version_flag("--version", DIAGORCTL_VERSION);
  Options options;
  app.add_option("--port", options.port, "The camera's port")->capture_default_str();
  app.add_flag("--json", options.json, "Print JSON");
  app.add_flag("--quiet", options.quiet, "No progress");
  app.fallthrough();
  Command command = nullptr;
  AddCommands(app, options, command);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ExtrasError& error) {
    const bool isOption = app.remaining().front().starts_with("-");
    if (isOption || !app.get_subcommands().empty())
      return app.exit(error) == 0 ? kNothingFailed : kUsage;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kNothingFailed : kUsage;
  }
  if (command == nullptr) {
    Complain(NoCommand(app));
    return kUsage;
  }
  try {
    return Execute(command, options);
  } catch (const std::exception& error) {
    Complain(error.what());
    return kNoConnection;
  }
}

}  // namespace

}  // namespace diagorctl

int main(int argc, char** argv) {
  return diagorctl::Main(argc, argv);
}
