#include "station/store/types.h"

#include <algorithm>
#include <array>

namespace station {

namespace {

// In the order of their enumerations.
constexpr std::array<std::string_view, 5> kOutcomes = {"running", "passed", "passed on retry",
                                                       "failed", "incomplete"};
constexpr std::array<std::string_view, 3> kEvidence = {"record", "trace", "picture"};

template <typename Enumeration, std::size_t Count>
std::optional<Enumeration> Find(const std::array<std::string_view, Count>& texts,
                                std::string_view text) {
  const auto found = std::find(texts.begin(), texts.end(), text);
  if (found == texts.end()) return std::nullopt;
  return static_cast<Enumeration>(found - texts.begin());
}

}  // namespace

std::string_view OutcomeText(Outcome outcome) {
  return kOutcomes.at(static_cast<std::size_t>(outcome));
}

std::optional<Outcome> OutcomeOf(std::string_view text) {
  return Find<Outcome>(kOutcomes, text);
}

std::string_view EvidenceText(EvidenceKind kind) {
  return kEvidence.at(static_cast<std::size_t>(kind));
}

std::optional<EvidenceKind> EvidenceOf(std::string_view text) {
  return Find<EvidenceKind>(kEvidence, text);
}

bool HasFailed(const AttemptRecord& attempt) {
  return attempt.isEnded && attempt.problem.empty() && !attempt.passed;
}

}  // namespace station
