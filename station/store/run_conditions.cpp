#include "station/store/run_conditions.h"

namespace station {

Conditions::Conditions(const RunFilter& filter) {
  Add("run.serial = :serial", "serial", filter.serial);
  Add("run.variant = :variant", "variant", filter.variant);
  Add("run.plan_title = :plan", "plan", filter.planTitle);
  Add("run.operator_name = :operator", "operator", filter.operatorName);
  if (filter.outcome) {
    Add("run.outcome = :outcome", "outcome",
        std::optional(std::string(OutcomeText(*filter.outcome))));
  }
  Add("run.started_at >= :from", "from", filter.from);
  Add("run.started_at < :to", "to", filter.to);
}

Statement& Conditions::Bind(Statement& statement) const {
  for (const auto& [name, number] : mNumbers) statement.Use(name, number);
  for (const auto& [name, text] : mTexts) statement.Use(name, text);
  return statement;
}

}  // namespace station
