// What the service answers, as JSON: docs/station-api.md.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/dictionary.h"
#include "client/run_plan.h"
#include "http/message.h"
#include "station/report/run_report.h"
#include "station/runner/plan.h"
#include "station/service/camera_state.h"
#include "station/store/types.h"

namespace station {

using client::Json;

// Bytes that are no UTF-8 are replaced, never refused.
std::string TextOf(const Json& json);
http::Reply JsonReply(const Json& json, unsigned status = 200);

// Somebody has to press, touch or look while that test runs.
bool NeedsOperator(std::string_view className, std::string_view item);

// With its attempts, and what is known of those that failed; without their evidence.
Json RunJson(const RunReport& report);
// The dialog with the time that is left of it now.
Json ScreenJson(const CameraFacts& camera);
Json CameraJson(const CameraFacts& camera);
Json ItemJson(const client::TestItem& item);
Json YieldJson(const YieldRow& row);
Json FailureJson(const FailureRow& row);
Json TrendJson(const TrendPoint& point);
// Without the password's hash.
Json UserJson(const UserRecord& user);
Json PlanJson(const Plan& plan, const std::string& name);
// picture: where it is to be had.
Json EvidenceJson(const std::vector<EvidenceRecord>& evidence, const std::string& picture);

// Progress, as runs and events have it.
void AddProgress(Json& json, const UnderWay& run);

// Each with what to try about its part.
Json CausesJson(const std::vector<client::Cause>& causes);
// What a result means, what makes it on that variant, and what to try.
Json ResultJson(const client::ResultGuide& guide, const std::vector<client::Cause>& causes);

}  // namespace station
