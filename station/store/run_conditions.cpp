#include "station/store/run_conditions.h"

namespace station {

Conditions::Conditions(const RunFilter& filter) : mHasSerial(filter.serial.has_value()) {
  Add("run.serial = :serial", "serial", filter.serial);
  Add("run.variant = :variant", "variant", filter.variant);
  Add("run.plan_title = :plan", "plan", filter.planTitle);
  Add("run.operator_name = :operator", "operator", filter.operatorName);
  if (filter.outcome) {
    Add("run.outcome = :outcome", "outcome",
        std::optional(std::string(OutcomeText(*filter.outcome))));
  }
  mEqualities = static_cast<int>(mTexts.size());
  Add("run.started_at >= :from", "from", filter.from);
  Add("run.started_at < :to", "to", filter.to);
}

std::string Conditions::RunTable(const Connection& connection) const {
  if (connection.IsPostgresql() || mEqualities < 2) return "run";
  // Of one camera there are few. For everything else the index by time has all that is asked.
  return mHasSerial ? "run INDEXED BY run_by_serial" : "run INDEXED BY run_by_time";
}

Statement& Conditions::Bind(Statement& statement) const {
  for (const auto& [name, number] : mNumbers) statement.Use(name, number);
  for (const auto& [name, text] : mTexts) statement.Use(name, text);
  return statement;
}

}  // namespace station
