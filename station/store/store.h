// What the station keeps, for years: cameras, runs, attempts with their measurements and evidence,
// users, and who did what; in a SQLite file or on a PostgreSQL server.
//
// Every function may be called on any thread at once and throws StoreError. A write returns when it
// is on disk; writes that wait at the same time are committed together, and an error reaches those
// alone whose write failed. Nothing that is kept is changed but by the functions that say so, and
// nothing is deleted but by age.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/store/error.h"
#include "station/store/types.h"

namespace station {

struct StoreOptions {
  std::chrono::milliseconds busy{5'000};  // how long to wait for another process
  std::size_t readers = 4;                // that many reads at once; others wait
};

class Store {
 public:
  // "sqlite:PATH" or a path, whose folder is there; "postgresql://...". A fresh database is made at
  // once; one of an older version is left as it is, see PendingMigrations.
  explicit Store(const std::string& url, const StoreOptions& options = {});
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // Where it is, for a person: without a password.
  const std::string& Name() const;
  // How many steps an older database is behind: while there are any, nothing may be asked of it but
  // Migrate, and BackUp before.
  int PendingMigrations();
  void Migrate();
  // Copies everything, as it is at this moment, to a file that is not there yet. SQLite alone.
  void BackUp(const std::string& file);

  // Runs as they happen. The first writes also that the camera was seen.
  void BeginRun(const RunStart& run);
  // Writes, as one, that an attempt of the run has ended, with all that belongs to it, and that the
  // next begins; either may be missing. Constraint: the run is over, the attempt has ended already
  // or never began, the number is taken.
  void Journal(const std::string& run, const std::optional<AttemptEnd>& end,
               const std::optional<AttemptStart>& next);
  // Constraint: it is not running.
  void EndRun(const std::string& run, const RunEnd& end);
  // An incomplete run goes on: it is running again, and to be archived anew. Constraint: it is not
  // incomplete.
  void ReopenRun(const std::string& run);
  void WriteNote(const std::string& run, const std::string& note);
  // Of the camera of that serial the name and the time are changed where it is known.
  void SeeCamera(const std::string& serial, const std::string& name, const std::string& variant,
                 Time now);

  // None: there is no such run, or more than one. id: at least its first eight characters.
  std::optional<RunRecord> FindRun(const std::string& id);
  // Newest first, limit at most; after: where the page before ended.
  std::vector<RunRecord> Runs(const RunFilter& filter, const std::optional<RunCursor>& after,
                              std::size_t limit);
  // In the order of their numbers.
  std::vector<AttemptRecord> Attempts(const std::string& run);
  std::vector<EvidenceRecord> Evidence(const std::string& run, std::int64_t attempt);
  // By serial.
  std::vector<CameraRecord> Cameras();

  // By week and variant; of the cameras whose first complete run of the plan lies in the period.
  std::vector<YieldRow> Yield(const std::string& planTitle, Time from, Time to);
  // Attempts that failed, of the runs that the filter takes; most first.
  std::vector<FailureRow> Failures(const RunFilter& filter);
  // Of attempts with a result in the latest of those runs, runs many, without the one named except;
  // a run's first thousands tell enough.
  std::vector<ItemLength> Lengths(const RunFilter& filter, std::size_t runs,
                                  const std::string& except);
  // The latest of a measurement, limit at most, newest first.
  std::vector<TrendPoint> Trend(const TrendFilter& filter, std::size_t limit);

  // Of each item what its latest attempts measured, by item and name.
  std::vector<KnownMeasurement> Measurements();
  // The latest that are kept of an item's attempts, limit at most, newest first; serial: of that
  // camera alone.
  std::vector<KeptTrace> Traces(const std::string& item, const std::optional<std::string>& serial,
                                std::size_t limit);

  // Deletes the runs that began before that and have ended, with all that belongs to them, some at
  // a time, so that others' writes come between. Returns how many.
  std::size_t Prune(Time before, bool onlyArchived);

  // Runs that have ended and are not archived, the oldest first.
  std::vector<RunRecord> RunsToArchive(std::size_t limit);
  std::int64_t CountRunsToArchive();
  void MarkArchived(const std::string& run, Time now);

  // Constraint: there is one of that name.
  void AddUser(const UserRecord& user);
  // Another password, and being disabled, end the user's sessions, as one with the change.
  // Constraint: there is none of that name, or no administrator would be left who is not disabled.
  void ChangeUser(const std::string& name, const UserUpdate& update);
  std::vector<UserRecord> Users();  // by name
  std::optional<UserRecord> FindUser(const std::string& name);
  // passwordHash: of the user, as it was looked at. Those that expired before now are forgotten.
  // Constraint: the user is disabled by now, or has another password.
  void AddSession(const SessionRecord& session, const std::string& passwordHash, Time now);
  std::optional<SessionRecord> FindSession(const std::string& hash);
  void EndSession(const std::string& hash);

  void WriteAudit(const AuditEntry& entry);
  // Newest first; before: the last id of the page before.
  std::vector<AuditEntry> Audit(const std::optional<std::int64_t>& before, std::size_t limit);

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace station
