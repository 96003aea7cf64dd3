// All that is kept of one run, as its reports need it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "client/results.h"
#include "station/store/store.h"

namespace station {

// Log records, the trace and the picture as the runner keeps them: a record's bytes; JSON
// {"steps": [...], "left_out": n}; a PNG.
struct AttemptReport : AttemptRecord {
  std::vector<EvidenceRecord> evidence;
};

// A measurement's course over the camera's runs, oldest first, this run's last.
struct Course {
  std::string item;
  std::string name;
  std::vector<double> values;
};

struct RunReport {
  RunRecord run;
  std::vector<AttemptReport> attempts;
  std::vector<Course> courses;  // of what this run measured
};

RunReport GatherReport(Store& store, const RunRecord& run);

// "OK", "E 00A3", "no result", "interrupted", "under way".
std::string ResultText(const RunReport& report, const AttemptReport& attempt);
// The attempts as one camera's command line knows them.
client::Report ResultsOf(const RunReport& report);

}  // namespace station
