// A run as files: for people, programs and spreadsheets. Texts of cameras and people may be
// anything: each format shows them as text.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "client/camera_client.h"
#include "station/report/run_report.h"

namespace station {

// A run without its attempts, as lists have it.
client::Json SummaryOf(const RunRecord& run);
// What an attempt measured, and what belongs to it besides: records as text, the trace as it is,
// the picture as base64, null where there is none.
client::Json JsonOf(const MeasurementRecord& measurement);
void AddEvidence(client::Json& json, const std::vector<EvidenceRecord>& evidence);
// docs/run-report.schema.json. key: who signs it (SigningKey::Id); empty: nobody does. The same run
// gives the same bytes.
std::string JsonOf(const RunReport& report, const std::string& key);
// One page that needs nothing else: no script, no network.
void WriteHtml(std::ostream& out, const RunReport& report, const std::string& key);
// What a server sends with it, as Content-Security-Policy.
std::string HtmlPolicy();
// RFC 4180, a row an attempt or a measurement.
void WriteAttempts(std::ostream& out, const RunReport& report);
void WriteMeasurements(std::ostream& out, const RunReport& report);
// As diagorctl run writes it.
void WriteJunit(std::ostream& out, const RunReport& report);

}  // namespace station
