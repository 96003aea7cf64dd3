// audit, prune, backup, migrate: the database's own needs.
#include <iostream>
#include <string_view>

#include "diagor-station/command.h"
#include "station/runner/run.h"
#include "station/store/text.h"
#include "terminal/output.h"

namespace station_tool {

int Prune(Station& station, const Options& options) {
  const auto wish = TimeFrom(options.to);
  if (!wish) throw UsageError("--before wants a date, as 2020-01-01");
  const station::Time before = *wish;
  station::RunFilter filter;
  filter.to = before;
  if (station.store->Runs(filter, std::nullopt, 1).empty()) {
    std::cout << "No run began before " << LocalText(before) << ".\n";
    return kNothingFailed;
  }
  if (!options.yes) {
    std::cerr << "Delete every run that began before " << LocalText(before)
              << ", with all that belongs to it, from " << station.store->Name()
              << "? Type yes: " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "yes") {
      std::cerr << "Nothing was deleted.\n";
      return kRefused;
    }
  }
  const std::size_t count = station.store->Prune(before, false);
  WriteAudit(station, WhoActs(options),
             "deleted " + std::to_string(count) + " runs of before " + station::TimeText(before));
  std::cout << count << " runs deleted; those under way stay.\n";
  return kNothingFailed;
}

int Audit(Station& station, const Options& options) {
  std::vector<std::vector<std::string>> rows = {{"WHEN", "WHO", "WHAT"}};
  client::Json json = client::Json::array();
  for (const station::AuditEntry& each : station.store->Audit(std::nullopt, options.limit)) {
    json.push_back(
        {{"at", station::TimeText(each.happenedAt)}, {"who", each.who}, {"what", each.what}});
    rows.push_back({LocalText(each.happenedAt), Shown(each.who), Shown(each.what)});
  }
  if (options.json) {
    PrintJson(json);
  } else {
    PrintTable(rows);
  }
  return kNothingFailed;
}

int BackUp(Station& station, const Options& options) {
  station.store->BackUp(options.file);
  std::cout << "The database " << station.store->Name() << " is copied to " << options.file
            << ".\n";
  return kNothingFailed;
}

int Migrate(Station& station, const Options& /*options*/) {
  const int pending = station.store->PendingMigrations();
  if (pending == 0) {
    std::cout << "The database is up to date.\n";
    return kNothingFailed;
  }
  const bool isServer = station.config.database.starts_with("postgresql:");
  if (!isServer) {
    constexpr std::string_view kScheme = "sqlite:";
    std::string copy = station.config.database;
    if (copy.starts_with(kScheme)) copy.erase(0, kScheme.size());
    copy.append(".before-").append(station::TimeText(station::Now()));
    station.store->BackUp(copy);
    std::cout << "The database is copied to " << copy << ".\n";
  } else {
    std::cout << "A server's database is not copied here: pg_dump does that.\n";
  }
  station.store->Migrate();
  std::cout << pending << " steps made; the database is up to date.\n";
  return kNothingFailed;
}

}  // namespace station_tool
