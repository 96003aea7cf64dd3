// diagor-station: the command line of the test station.
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <string_view>

#include "client/camera_client.h"
#include "diagor-station/command.h"
#include "station/runner/camera_lock.h"
#include "station/runner/run.h"
#include "station/store/text.h"
#include "terminal/output.h"

namespace station_tool {

namespace {

// A store that may be made, one that is there, or that is there and perhaps an older one.
enum class Needs { Nothing, Store, KeptStore, AnyStore };

// Whoever looks into a database of SQLite that is not there looks in the wrong place: as root,
// whose folders are others than the service's.
void CheckThere(const std::string& database) {
  constexpr std::string_view kScheme = "sqlite:";
  if (database.find("://") != std::string::npos) return;
  const std::string file =
      database.starts_with(kScheme) ? database.substr(kScheme.size()) : database;
  std::error_code error;
  if (!std::filesystem::exists(file, error)) {
    throw UsageError("nothing is kept in " + file +
                     " yet: is the station's data elsewhere (--data, --config, XDG_STATE_HOME)?");
  }
}

// What root makes in the service's folder the service could not change: root tests as its owner.
void BecomeOwner(const std::filesystem::path& folder) {
  struct stat there {};
  if (geteuid() != 0 || stat(folder.c_str(), &there) != 0 || there.st_uid == 0) return;
  if (setegid(there.st_gid) != 0 || seteuid(there.st_uid) != 0) {
    throw UsageError("cannot act as the owner of " + folder.string());
  }
}

// The folder is made, a database of SQLite in it.
std::unique_ptr<station::Store> OpenStore(const station::StationConfig& config, Needs needs) {
  if (needs == Needs::Nothing) return nullptr;
  if (needs != Needs::Store) CheckThere(config.database);
  std::error_code error;
  std::filesystem::create_directories(config.data, error);
  if (error) throw UsageError("cannot make " + config.data.string() + ": " + error.message());
  auto store = std::make_unique<station::Store>(config.database);
  if (needs != Needs::AnyStore && store->PendingMigrations() > 0) {
    throw UsageError(store->Name() +
                     " is of an older version: diagor-station migrate brings it up to date, with a "
                     "copy of it first");
  }
  return store;
}

int Execute(Command command, Needs needs, const Options& options) {
  try {
    Station station;
    station.config = station::LoadConfig(options.config);
    if (!options.data.empty()) station::MoveData(station.config, options.data);
    if (!options.database.empty()) station.config.database = options.database;
    if (command == Run || command == Resume) BecomeOwner(station.config.data);
    station.store = OpenStore(station.config, needs);
    const bool isCurrent = needs == Needs::Store || needs == Needs::KeptStore;
    if (isCurrent) station::EndKilledRuns(*station.store, station.config.data);
    const int code = command(station, options);
    std::cout.flush();
    if (!std::cout) throw UsageError("cannot write to standard output");
    return code;
  } catch (const client::ConnectionError& error) {
    Complain(error.what());
    return kNoConnection;
  } catch (const client::RefusedError& error) {
    Complain(error.what());
    return kRefused;
  } catch (const station::RunRefused& error) {
    Complain(error.what());
    return kRefused;
  } catch (const std::exception& error) {
    Complain(error.what());
    return kUsage;
  }
}

struct Chosen {
  Command command = nullptr;
  Needs needs = Needs::Nothing;
};

void AddFilter(CLI::App& sub, Options& options) {
  sub.add_option("--serial", options.serial, "Of cameras of that serial");
  sub.add_option("--variant", options.variant, "Of cameras of that variant");
  sub.add_option("--plan", options.planTitle, "Of the plan of that title");
  sub.add_option("--outcome", options.outcome,
                 "running, passed, \"passed on retry\", failed or incomplete");
  sub.add_option("--operator", options.operatorName, "Of that operator");
}

void AddPeriod(CLI::App& sub, Options& options) {
  sub.add_option("--from", options.from, "Begun then or later: 2026-11-25, or with a time");
  sub.add_option("--to", options.to, "Begun before");
}

CLI::Option* AddCameras(CLI::App& sub, Options& options) {
  return sub.add_option(
      "--camera", options.cameras,
      "HOST:PORT, or a name of the settings; several; without it those of the settings");
}

constexpr std::size_t kMostRows = 1'000'000;

class Commands {
 public:
  Commands(Options& options, Chosen& chosen) : mOptions(options), mChosen(chosen) {}

  void AddTo(CLI::App& app) {
    CLI::App* sub = Add(app, "run", "Take cameras through a plan", Run, Needs::Store,
                        "diagor-station run --camera 127.0.0.1:22143 --plan all --operator Ada");
    AddCameras(*sub, mOptions);
    sub->add_option("--plan", mOptions.plan, "A plan's name, or its file")->capture_default_str();
    sub->add_option("--operator", mOptions.operatorName, "Who tests");
    sub->add_option("--serial", mOptions.serial, "As scanned: the camera that has it is tested");
    sub->add_flag("--despite-serial", mOptions.despiteSerial,
                  "Test the one camera, although its own serial is another one");
    sub = Add(app, "resume", "Go on with runs that are incomplete", Resume, Needs::KeptStore,
              "diagor-station resume 019aba3c-5f23");
    sub->add_option("run", mOptions.runs, "Their ids, or how these begin")->required();
    AddCameras(*sub, mOptions)->allow_extra_args(false);
    sub = Add(app, "runs", "List runs, newest first", Runs, Needs::KeptStore,
              "diagor-station runs --outcome failed --from 2026-11-01");
    AddFilter(*sub, mOptions);
    AddPeriod(*sub, mOptions);
    sub->add_option("--limit", mOptions.limit, "So many at most")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, kMostRows));
    sub =
        Add(app, "show", "Show a run", Show, Needs::KeptStore, "diagor-station show 019aba3c-5f23");
    sub->add_option("run", mOptions.run, "Its id, or how it begins")->required();
    sub = Add(app, "serve", "Answer browsers and programs, until it is ended", Serve, Needs::Store,
              "diagor-station serve --port 22180");
    sub->add_option("--port", mOptions.port, "In place of the settings' one; 0: any free one");
    AddOutput(app);
    AddStatistics(app);
    AddUsers(app);
    AddUpkeep(app);
  }

 private:
  CLI::App* Add(CLI::App& app, const char* name, const char* help, Command command, Needs needs,
                const char* example) {
    CLI::App* const sub = app.add_subcommand(name, help);
    sub->footer(std::string("Example: ").append(example));
    sub->callback([this, command, needs] { mChosen = {command, needs}; });
    return sub;
  }

  void AddOutput(CLI::App& app) {
    CLI::App* sub = Add(app, "export", "Write a run to files", Export, Needs::KeptStore,
                        "diagor-station export 019aba3c-5f23 --html run.html --junit run.xml");
    sub->add_option("run", mOptions.run, "Its id, or how it begins")->required();
    sub->add_option("--html", mOptions.html, "The report");
    sub->add_option("--json", mOptions.jsonFile, "Everything, as docs/run-report.schema.json says");
    sub->add_option("--csv", mOptions.csv, "Its attempts as a table");
    sub->add_option("--measurements", mOptions.measurements, "Its measurements as a table");
    sub->add_option("--junit", mOptions.junit, "JUnit XML");
    sub = Add(app, "sign", "Write a run as JSON with the station's signature beside it", Sign,
              Needs::KeptStore, "diagor-station sign 019aba3c-5f23 run.json");
    sub->add_option("run", mOptions.run, "Its id, or how it begins")->required();
    sub->add_option("file", mOptions.file, "The signature goes to FILE.sig")->required();
    sub = Add(app, "verify", "Say whether a signed file is as it was signed", Verify,
              Needs::Nothing, "diagor-station verify run.json --key bench3.pem");
    sub->add_option("file", mOptions.file, "Its signature is read from FILE.sig")->required();
    sub->add_option("--key", mOptions.key,
                    "The public key of the station that signed; without it "
                    "this station's own");
    Add(app, "key", "Print the station's public key", Key, Needs::Nothing,
        "diagor-station key > bench3.pem");
  }

  void AddStatistics(CLI::App& app) {
    CLI::App* const statistics = app.add_subcommand("statistics", "What many runs tell");
    statistics->require_subcommand(1);
    CLI::App* sub = Add(*statistics, "yield", "First-pass yield by week and variant", Yield,
                        Needs::KeptStore, "diagor-station statistics yield --plan \"Quick test\"");
    sub->add_option("--plan", mOptions.planTitle, "The plan's title")->required();
    AddPeriod(*sub, mOptions);
    sub = Add(*statistics, "failures", "Failing tests, most often first", Failures,
              Needs::KeptStore, "diagor-station statistics failures --variant R8");
    AddFilter(*sub, mOptions);
    AddPeriod(*sub, mOptions);
    sub = Add(*statistics, "trend", "A measurement over time", Trend, Needs::KeptStore,
              "diagor-station statistics trend --item items.battery.battery --measurement voltage");
    sub->add_option("--item", mOptions.item, "The test")->required();
    sub->add_option("--measurement", mOptions.measurement, "Its name")->required();
    sub->add_option("--serial", mOptions.serial, "Of the camera of that serial");
    AddPeriod(*sub, mOptions);
    sub->add_option("--limit", mOptions.limit, "So many at most")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, kMostRows));
  }

  void AddUsers(CLI::App& app) {
    CLI::App* const user = app.add_subcommand(
        "user", "The people who may sign in, at a station that other machines can reach");
    user->require_subcommand(1);
    const auto add = [&](const char* name, const char* help, Command command, const char* example,
                         Needs needs = Needs::KeptStore) {
      CLI::App* const sub = Add(*user, name, help, command, needs, example);
      sub->add_option("name", mOptions.user, "The user's name")->required();
      return sub;
    };
    CLI::App* sub = add("add", "Let somebody sign in; asks for the password", UserAdd,
                        "diagor-station user add Ada --role engineer", Needs::Store);
    constexpr const char* kRoles =
        "operator: runs and notes; engineer: also chosen tests, another serial, knobs; "
        "administrator: also users";
    sub->add_option("--role", mOptions.role, kRoles)->required();
    sub = add("role", "Give somebody another role", UserRole,
              "diagor-station user role Ada administrator");
    sub->add_option("role", mOptions.role, kRoles)->required();
    add("password", "Give somebody another password; asks for it", UserPassword,
        "diagor-station user password Ada");
    add("disable", "Let somebody sign in no more", UserDisable, "diagor-station user disable Ada");
    add("enable", "Let somebody sign in again", UserEnable, "diagor-station user enable Ada");
    Add(*user, "list", "List them", UserList, Needs::KeptStore, "diagor-station user list");
  }

  void AddUpkeep(CLI::App& app) {
    CLI::App* sub = Add(app, "audit", "Show who did what, newest first", Audit, Needs::KeptStore,
                        "diagor-station audit --limit 100");
    sub->add_option("--limit", mOptions.limit, "So many at most")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, kMostRows));
    sub = Add(app, "prune", "Delete old runs, after asking", Prune, Needs::KeptStore,
              "diagor-station prune --before 2020-01-01");
    sub->add_option("--before", mOptions.to, "Runs that began before")->required();
    sub->add_flag("--yes", mOptions.yes, "Do not ask");
    sub = Add(app, "backup", "Copy the database to a new file, also while runs go on", BackUp,
              Needs::AnyStore, "diagor-station backup /media/stick/station.db");
    sub->add_option("file", mOptions.file, "A file that is not there yet")->required();
    Add(app, "migrate", "Bring an older database up to date, with a copy of it first", Migrate,
        Needs::AnyStore, "diagor-station migrate");
  }

  Options& mOptions;
  Chosen& mChosen;
};

}  // namespace

station::RunRecord FindRun(Station& station, const std::string& id) {
  auto run = station.store->FindRun(id);
  if (!run) {
    throw UsageError("there is no run " + id +
                     ", or more than one that begins so (at least 8 characters; diagor-station "
                     "runs lists them)");
  }
  return *run;
}

std::optional<station::Time> TimeFrom(const std::string& text) {
  constexpr std::size_t kDate = 10;
  if (text.empty()) return std::nullopt;
  auto time = station::TimeOf(text);
  std::tm day{};
  // A day begins where the person is.
  if (text.size() == kDate && strptime(text.c_str(), "%Y-%m-%d", &day) == text.c_str() + kDate) {
    constexpr station::Time kSecond = 1000;
    day.tm_isdst = -1;
    const int dayOfMonth = day.tm_mday;
    time = station::Time{mktime(&day)} * kSecond;
    if (day.tm_mday != dayOfMonth) time.reset();  // of a 31st of February another day was made
  }
  if (!time) throw UsageError("\"" + text + "\" is no time, as 2026-11-25 or 2026-11-25T08:30:00Z");
  return time;
}

station::RunFilter FilterOf(const Options& options) {
  const auto wish = [](const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
  };
  station::RunFilter filter;
  filter.serial = wish(options.serial);
  filter.variant = wish(options.variant);
  filter.planTitle = wish(options.planTitle);
  filter.operatorName = wish(options.operatorName);
  filter.from = TimeFrom(options.from);
  filter.to = TimeFrom(options.to);
  if (!options.outcome.empty()) {
    filter.outcome = station::OutcomeOf(options.outcome);
    if (!filter.outcome) {
      throw UsageError("there is no outcome " + options.outcome +
                       ": running, passed, \"passed on retry\", failed, incomplete");
    }
  }
  return filter;
}

std::string LocalText(station::Time time) {
  constexpr station::Time kSecond = 1000;
  const std::time_t seconds = time / kSecond;
  std::tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return text.data();
}

std::string WhoActs(const Options& options) {
  if (!options.operatorName.empty()) return options.operatorName;
  const passwd* const user = getpwuid(getuid());  // NOLINT(concurrency-mt-unsafe)
  return user == nullptr ? std::to_string(getuid()) : user->pw_name;
}

void WriteAudit(Station& station, const std::string& who, const std::string& what) {
  station.store->WriteAudit({station::Now(), who, what});
}

namespace {

int Main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // who reads has gone: seen where it is written
  CLI::App app{"Takes cameras through plans, keeps what came of it, and shows it again.",
               "diagor-station"};
  app.footer(
      "Exit codes: 0 nothing failed, 1 a test failed (verify: not as it was signed), 2 usage, or "
      "what cannot be read or\nwritten, 3 no connection, 4 refused, or a run is incomplete. A run "
      "ends after the test under way at\nCtrl-C (130), at once at another Ctrl-C, SIGTERM (143) "
      "and SIGHUP (129); resume goes on with it.\n");
  app.set_version_flag("--version", DIAGOR_STATION_VERSION);
  app.require_subcommand(1);
  Options options;
  app.add_option("--config", options.config,
                 "Settings; else $XDG_CONFIG_HOME/diagor-station/station.toml");
  app.add_option("--data", options.data,
                 "Folder of the database and the keys; else $XDG_STATE_HOME/diagor-station");
  app.add_option("--database", options.database, "A SQLite file, or postgresql://...");
  app.add_flag("--quiet", options.quiet, "No progress");
  app.fallthrough();
  Chosen chosen;
  Commands commands(options, chosen);
  commands.AddTo(app);
  for (CLI::App* const sub : app.get_subcommands([](const CLI::App*) { return true; })) {
    const std::string name = sub->get_name();
    if (name == "run" || name == "resume" || name == "runs" || name == "show" || name == "audit") {
      sub->add_flag("--json", options.json, "Print JSON");
    } else if (name == "statistics" || name == "user") {
      for (CLI::App* const each : sub->get_subcommands([](const CLI::App*) { return true; })) {
        if (name == "statistics" || each->get_name() == "list") {
          each->add_flag("--json", options.json, "Print JSON");
        }
      }
    }
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kNothingFailed : kUsage;
  }
  return Execute(chosen.command, chosen.needs, options);
}

}  // namespace

}  // namespace station_tool

int main(int argc, char** argv) {
  return station_tool::Main(argc, argv);
}
