#include "client/results.h"

#include <algorithm>
#include <iomanip>

namespace client {

namespace {

constexpr char kRed[] = "\033[31m";
constexpr char kGreen[] = "\033[32m";
constexpr char kPlain[] = "\033[0m";

std::string Trimmed(const std::string& text) {
  const std::size_t last = text.find_last_not_of(' ');
  return last == std::string::npos ? std::string() : text.substr(0, last + 1);
}

}  // namespace

std::size_t CountFailed(const std::vector<Attempt>& attempts) {
  return static_cast<std::size_t>(std::count_if(
      attempts.begin(), attempts.end(), [](const Attempt& attempt) { return !attempt.passed; }));
}

void WriteTable(std::ostream& out, const std::vector<Attempt>& attempts, bool colour) {
  std::size_t width = 4;
  bool several = false;
  for (const Attempt& attempt : attempts) {
    width = std::max(width, attempt.path.size());
    several = several || attempt.round > 1;
  }
  const auto column = static_cast<int>(width) + 2;
  out << std::left;
  if (several) out << std::setw(7) << "ROUND";
  out << std::setw(column) << "ITEM" << std::setw(10) << "RESULT" << std::setw(9) << "SECONDS"
      << "MESSAGE\n";
  for (const Attempt& attempt : attempts) {
    if (several) out << std::setw(7) << attempt.round;
    out << std::setw(column) << attempt.path;
    if (colour) out << (attempt.passed ? kGreen : kRed);
    out << std::setw(10) << attempt.value;
    if (colour) out << kPlain;
    out << std::setw(9) << std::fixed << std::setprecision(1) << attempt.seconds
        << Trimmed(attempt.message) << "\n";
  }
  const std::size_t failed = CountFailed(attempts);
  out << attempts.size() - failed << " passed, " << failed << " failed\n";
}

void WriteJson(std::ostream& out, const std::vector<Attempt>& attempts) {
  Json json;
  json["passed"] = attempts.size() - CountFailed(attempts);
  json["failed"] = CountFailed(attempts);
  json["attempts"] = Json::array();
  for (const Attempt& attempt : attempts) {
    Json entry;
    entry["path"] = attempt.path;
    entry["round"] = attempt.round;
    entry["passed"] = attempt.passed;
    entry["status"] = attempt.status;
    entry["value"] = attempt.value;
    entry["message"] = attempt.message;
    entry["seconds"] = attempt.seconds;
    entry["records"] = attempt.records;
    json["attempts"].push_back(std::move(entry));
  }
  out << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

}  // namespace client
