// What diagor-station's commands share: the options and the commands themselves.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/config/station_config.h"
#include "station/store/store.h"
#include "terminal/exit_code.h"

namespace station_tool {

using namespace terminal;  // NOLINT(google-build-using-namespace): words of every command line

struct Options {
  std::optional<std::string> config;
  std::string data;      // empty: as the settings say
  std::string database;  // likewise
  bool json = false;
  bool quiet = false;

  std::vector<std::string> cameras;  // addresses, or names of the settings
  std::string plan = "quick";
  std::string operatorName;
  std::string serial;
  bool despiteSerial = false;

  std::string run;
  std::vector<std::string> runs;
  std::string variant;
  std::string planTitle;
  std::string outcome;
  std::string from;
  std::string to;
  std::size_t limit = 20;
  std::string item;
  std::string measurement;

  std::string file;
  std::string html;
  std::string jsonFile;
  std::string csv;
  std::string measurements;
  std::string junit;
  std::string key;
  std::string port;
  bool yes = false;

  std::string user;
  std::string role;
};

// A command's surroundings.
struct Station {
  station::StationConfig config;
  std::unique_ptr<station::Store> store;  // of the commands that want it
};

// Each does what its word says and returns the exit code.
using Command = int (*)(Station&, const Options&);

int Run(Station& station, const Options& options);
int Resume(Station& station, const Options& options);
int Runs(Station& station, const Options& options);
int Show(Station& station, const Options& options);
int Yield(Station& station, const Options& options);
int Failures(Station& station, const Options& options);
int Trend(Station& station, const Options& options);
int Export(Station& station, const Options& options);
int Sign(Station& station, const Options& options);
int Verify(Station& station, const Options& options);
int Key(Station& station, const Options& options);
int Serve(Station& station, const Options& options);
int UserList(Station& station, const Options& options);
int UserAdd(Station& station, const Options& options);
int UserRole(Station& station, const Options& options);
int UserPassword(Station& station, const Options& options);
int UserDisable(Station& station, const Options& options);
int UserEnable(Station& station, const Options& options);
int Audit(Station& station, const Options& options);
int Prune(Station& station, const Options& options);
int BackUp(Station& station, const Options& options);
int Migrate(Station& station, const Options& options);

// The run of that id or its beginning; UsageError: there is none, or more than one.
station::RunRecord FindRun(Station& station, const std::string& id);
// As the user asked by the options; UsageError: what a text means is not known.
station::RunFilter FilterOf(const Options& options);
// "2026-11-25", or with a time as RFC 3339 has it. none: a text that is empty.
std::optional<station::Time> TimeFrom(const std::string& text);
// Of a moment that is shown to a person: local time, to the second.
std::string LocalText(station::Time time);
// Who acts, for the audit: the operator, or whoever the machine knows.
std::string WhoActs(const Options& options);
void WriteAudit(Station& station, const std::string& who, const std::string& what);

}  // namespace station_tool
