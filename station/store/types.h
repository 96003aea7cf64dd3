// What the station keeps. Times are milliseconds since 1970, UTC. Texts are UTF-8 and may be
// anything: a store settles them (text.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace station {

using Time = std::int64_t;

struct CameraRecord {
  std::string serial;
  std::string name;
  std::string variant;  // or platform
  Time firstSeen = 0;
  Time lastSeen = 0;
  bool operator==(const CameraRecord&) const = default;
};

enum class Outcome { Running, Passed, PassedOnRetry, Failed, Incomplete };
// As they are stored: "running", "passed", "passed on retry", "failed", "incomplete".
std::string_view OutcomeText(Outcome outcome);
// None: there is no such outcome.
std::optional<Outcome> OutcomeOf(std::string_view text);

struct RunStart {
  std::string id;  // NewRunId's
  std::string station;
  std::string serial;  // of the camera, as it says itself; its name and variant at that time
  std::string cameraName;
  std::string variant;
  std::string scannedSerial;  // empty: none was scanned
  std::string planTitle;
  std::string planText;  // the whole of it: a later edit changes no past
  std::string operatorName;
  std::string versions;  // of the software, the station's and the camera's
  Time startedAt = 0;
  std::string cameraTime;  // the camera's own, local
  bool operator==(const RunStart&) const = default;
};

struct RunEnd {
  Time endedAt = 0;
  Outcome outcome = Outcome::Incomplete;
  std::string reason;  // why it is incomplete
};

struct RunRecord : RunStart {
  std::optional<Time> endedAt;
  Outcome outcome = Outcome::Running;
  std::string reason;
  std::string note;
  std::optional<Time> archivedAt;
  bool operator==(const RunRecord&) const = default;
};

struct MeasurementRecord {
  std::string name;
  std::string unit;
  double value = 0;             // finite, as the limits
  std::optional<double> lower;  // where the test has them
  std::optional<double> upper;
  bool operator==(const MeasurementRecord&) const = default;
};

enum class EvidenceKind { Record, Trace, Picture };
// As they are stored: "record", "trace", "picture".
std::string_view EvidenceText(EvidenceKind kind);
std::optional<EvidenceKind> EvidenceOf(std::string_view text);

struct EvidenceRecord {
  EvidenceKind kind = EvidenceKind::Record;
  std::string bytes;
  bool operator==(const EvidenceRecord&) const = default;
};

struct AttemptStart {
  std::int64_t number = 1;  // within the run, from 1
  std::string item;         // "test.items.battery.battery"
  std::string className;
  std::int64_t round = 1;
  std::int64_t retry = 0;  // 0: the first attempt of the round
  Time startedAt = 0;
  bool operator==(const AttemptStart&) const = default;
};

struct AttemptResult {
  bool passed = false;
  double seconds = 0;  // of the camera's clock
  std::uint32_t status = 0;
  std::string value;
  // Of a failure, as statistics count it: "E 00A3", "no result, status 0x1"; 100 bytes are kept.
  std::string code;
  std::string message;
  std::string problem;  // why there is no result: refused, camera lost; else empty
  std::vector<MeasurementRecord> measurements;
  bool operator==(const AttemptResult&) const = default;
};

struct AttemptEnd : AttemptResult {
  std::int64_t number = 1;
  std::vector<EvidenceRecord> evidence;
};

// One that has no end was interrupted, or is under way while its run is.
struct AttemptRecord : AttemptStart, AttemptResult {
  bool isEnded = false;
  bool operator==(const AttemptRecord&) const = default;
};
// A test that came to its end and found something; what has no result has not.
bool HasFailed(const AttemptRecord& attempt);

struct UserRecord {
  std::string name;
  std::string role;
  std::string passwordHash;
  std::optional<Time> disabledAt;
  bool operator==(const UserRecord&) const = default;
};

// What is missing stays as it is.
struct UserUpdate {
  std::optional<std::string> role;
  std::optional<std::string> passwordHash;
  std::optional<std::optional<Time>> disabledAt;
};

struct SessionRecord {
  std::string hash;  // of what the browser holds
  std::string user;
  Time expiresAt = 0;
  bool operator==(const SessionRecord&) const = default;
};

struct AuditEntry {
  Time happenedAt = 0;
  std::string who;
  std::string what;
  std::int64_t id = 0;  // given by the store, rising
  bool operator==(const AuditEntry&) const = default;
};

// What is empty takes every run.
struct RunFilter {
  std::optional<std::string> serial;
  std::optional<std::string> variant;
  std::optional<std::string> planTitle;
  std::optional<Outcome> outcome;
  std::optional<std::string> operatorName;
  std::optional<Time> from;  // started then or later
  std::optional<Time> to;    // started before
};

// The last run of a page: the next page begins after it.
struct RunCursor {
  Time startedAt = 0;
  std::string id;
};

// Cameras of a variant whose first complete run of the plan lies in that week.
struct YieldRow {
  Time week = 0;  // its Monday, 00:00 UTC
  std::string variant;
  std::int64_t cameras = 0;
  std::int64_t passed = 0;      // of them, without a retry
  std::int64_t incomplete = 0;  // runs of the plan in that week, counted beside
  bool operator==(const YieldRow&) const = default;
};

struct CodeCount {
  std::string code;
  std::int64_t attempts = 0;
  bool operator==(const CodeCount&) const = default;
};
struct FailureRow {
  std::string item;
  std::int64_t attempts = 0;     // that failed
  std::vector<CodeCount> codes;  // most first
  bool operator==(const FailureRow&) const = default;
};

// How long an item's attempts took, from one's beginning to the next one's or to the run's end;
// where the run rested in between, what the camera's clock says.
struct ItemLength {
  std::string item;
  Time mean = 0;  // milliseconds
  Time longest = 0;
  bool operator==(const ItemLength&) const = default;
};

struct TrendFilter {
  std::string item;
  std::string measurement;
  std::optional<std::string> serial;  // none: of all cameras
  std::optional<Time> from;           // attempts that began then or later
  std::optional<Time> to;             // began before
};
struct TrendPoint {
  Time startedAt = 0;  // of the attempt
  std::string run;
  std::string serial;
  MeasurementRecord measurement;
  bool operator==(const TrendPoint&) const = default;
};

// What an item's attempts measure.
struct KnownMeasurement {
  std::string item;
  std::string name;
  std::string unit;
  bool operator==(const KnownMeasurement&) const = default;
};

// What is kept as the trace of an attempt.
struct KeptTrace {
  Time startedAt = 0;  // of the attempt
  std::string run;
  std::string serial;
  std::string bytes;
};

}  // namespace station
