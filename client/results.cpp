#include "client/results.h"

#include <algorithm>
#include <iomanip>
#include <pugixml.hpp>
#include <sstream>

namespace client {

namespace {

constexpr char kRed[] = "\033[31m";
constexpr char kGreen[] = "\033[32m";
constexpr char kPlain[] = "\033[0m";

std::string Trimmed(const std::string& text) {
  const std::size_t last = text.find_last_not_of(' ');
  return last == std::string::npos ? std::string() : text.substr(0, last + 1);
}

std::string ResultOf(const Attempt& attempt) {
  return attempt.problem.empty() ? attempt.value : "none";
}

bool HasRounds(const std::vector<Attempt>& attempts) {
  return std::any_of(attempts.begin(), attempts.end(),
                     [](const Attempt& attempt) { return attempt.round > 1; });
}

std::string Fixed(double number, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << number;
  return text.str();
}

std::string Quoted(const std::string& text) {
  return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

// A text of the camera may hold what XML has no place for: control characters and U+FFFE, U+FFFF.
std::string ForXml(const std::string& text) {
  static constexpr char kReplacement[] = "\xEF\xBF\xBD";
  std::string clean;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool isControl = byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
    const bool isNoCharacter =
        text.compare(i, 3, "\xEF\xBF\xBE") == 0 || text.compare(i, 3, "\xEF\xBF\xBF") == 0;
    if (isControl || isNoCharacter) {
      clean += kReplacement;
      if (isNoCharacter) i += 2;
    } else {
      clean += text[i];
    }
  }
  return clean;
}

void Add(pugi::xml_node& node, const char* name, const std::string& value) {
  node.append_attribute(name).set_value(ForXml(value).c_str());
}

double SecondsOf(const std::vector<Attempt>& attempts) {
  double seconds = 0;
  for (const Attempt& attempt : attempts) seconds += attempt.seconds;
  return seconds;
}

void AddCounts(pugi::xml_node& node, const std::vector<Attempt>& attempts) {
  Add(node, "tests", std::to_string(attempts.size()));
  Add(node, "failures", std::to_string(CountFailed(attempts)));
  Add(node, "errors", std::to_string(CountWithoutResult(attempts)));
  Add(node, "time", Fixed(SecondsOf(attempts), 3));
}

void AddProperty(pugi::xml_node& properties, const char* name, const std::string& value) {
  pugi::xml_node property = properties.append_child("property");
  Add(property, "name", name);
  Add(property, "value", value);
}

std::string Lines(const std::vector<std::string>& records) {
  std::string text;
  for (const std::string& record : records) text.append(record).append("\n");
  return text;
}

std::string CauseText(const Cause& cause) {
  return std::string(cause.what).append(" [").append(cause.part).append("]");
}

// The first ones on a line; the rest is counted.
std::string CausesText(const std::vector<Cause>& causes) {
  constexpr std::size_t kMost = 3;
  std::string text;
  for (std::size_t i = 0; i < std::min(kMost, causes.size()); ++i) {
    text.append(text.empty() ? "" : "; ").append(CauseText(causes[i]));
  }
  if (causes.size() > kMost) {
    text.append("; ").append(std::to_string(causes.size() - kMost)).append(" more");
  }
  return text;
}

void AddAttempt(pugi::xml_node& suite, const Attempt& attempt, bool hasRounds) {
  const std::size_t dot = attempt.path.rfind('.');
  std::string name = attempt.path.substr(dot + 1);
  if (hasRounds) name.append(" [").append(std::to_string(attempt.round)).append("]");
  pugi::xml_node entry = suite.append_child("testcase");
  Add(entry, "classname", attempt.path.substr(0, dot));
  Add(entry, "name", name);
  Add(entry, "time", Fixed(attempt.seconds, 3));
  Add(entry, "status", attempt.value);
  if (!attempt.causes.empty()) {
    pugi::xml_node properties = entry.append_child("properties");
    for (const Cause& cause : attempt.causes) AddProperty(properties, "cause", CauseText(cause));
  }
  if (!attempt.problem.empty()) {
    pugi::xml_node error = entry.append_child("error");
    Add(error, "type", "no result");
    Add(error, "message", attempt.problem);
  } else if (!attempt.passed) {
    pugi::xml_node failure = entry.append_child("failure");
    Add(failure, "type", attempt.value);
    Add(failure, "message", attempt.message);
    failure.text().set(ForXml(Lines(attempt.records)).c_str());
  }
  std::string output = "started ";
  output.append(attempt.started).append("\n").append(Lines(attempt.records));
  entry.append_child("system-out").text().set(ForXml(output).c_str());
}

}  // namespace

std::size_t CountFailed(const std::vector<Attempt>& attempts) {
  return static_cast<std::size_t>(std::count_if(
      attempts.begin(), attempts.end(),
      [](const Attempt& attempt) { return !attempt.passed && attempt.problem.empty(); }));
}

std::size_t CountWithoutResult(const std::vector<Attempt>& attempts) {
  return static_cast<std::size_t>(
      std::count_if(attempts.begin(), attempts.end(),
                    [](const Attempt& attempt) { return !attempt.problem.empty(); }));
}

void AddCauses(Report& report) {
  for (Attempt& attempt : report.attempts) {
    if (attempt.passed || !attempt.problem.empty()) continue;
    attempt.causes = CausesOf(attempt.path, attempt.className, ResultText(attempt), report.camera);
  }
}

std::string Printable(std::string_view text) {
  static constexpr std::pair<char, const char*> kShort[] = {
      {'\n', "\\n"}, {'\r', "\\r"}, {'\t', "\\t"}};
  std::string shown;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    // U+0080 to U+009F, which begin commands as the escape character does.
    const bool isLong = byte == 0xC2 && next >= 0x80 && next < 0xA0;
    const auto* const known = std::find_if(std::begin(kShort), std::end(kShort),
                                           [&](const auto& each) { return each.first == text[i]; });
    if (known != std::end(kShort)) {
      shown += known->second;
    } else if (isLong || byte < 0x20 || byte == 0x7F) {
      constexpr char kDigits[] = "0123456789ABCDEF";
      const unsigned char code = isLong ? next : byte;
      shown += {'\\', 'x', kDigits[code >> 4], kDigits[code & 0xF]};
      if (isLong) ++i;
    } else {
      shown += text[i];
    }
  }
  return shown;
}

void WriteTable(std::ostream& out, const Report& report, TableStyle style, bool showsCauses) {
  const bool colour = style == TableStyle::Coloured;
  const auto shown = [style](const std::string& text) {
    return style == TableStyle::Plain ? text : Printable(text);
  };
  const std::vector<Attempt>& attempts = report.attempts;
  std::size_t width = 4;
  for (const Attempt& attempt : attempts) width = std::max(width, attempt.path.size());
  const bool hasRounds = HasRounds(attempts);
  const auto column = static_cast<int>(width) + 2;
  out << std::left;
  if (hasRounds) out << std::setw(7) << "ROUND";
  out << std::setw(column) << "ITEM" << std::setw(10) << "RESULT" << std::setw(9) << "SECONDS"
      << "MESSAGE\n";
  for (const Attempt& attempt : attempts) {
    if (hasRounds) out << std::setw(7) << attempt.round;
    out << std::setw(column) << attempt.path;
    if (colour) out << (attempt.passed ? kGreen : kRed);
    out << std::setw(10) << shown(ResultOf(attempt));
    if (colour) out << kPlain;
    out << std::setw(9) << Fixed(attempt.seconds, 1) << shown(Trimmed(attempt.message)) << "\n";
    if (showsCauses && !attempt.causes.empty()) {
      out << "    likely: " << shown(CausesText(attempt.causes)) << "\n";
    }
  }
  const std::size_t failed = CountFailed(attempts);
  const std::size_t without = CountWithoutResult(attempts);
  out << attempts.size() - failed - without << " passed, " << failed << " failed";
  if (without > 0) out << ", " << without << " without a result";
  if (!report.isWhole) out << "; the run ended before its end";
  out << "\n";
}

void WriteJson(std::ostream& out, const Report& report) {
  const std::vector<Attempt>& attempts = report.attempts;
  Json json;
  json["camera"] = report.camera;
  json["serial"] = report.serial;
  json["whole"] = report.isWhole;
  json["passed"] = attempts.size() - CountFailed(attempts) - CountWithoutResult(attempts);
  json["failed"] = CountFailed(attempts);
  json["without_result"] = CountWithoutResult(attempts);
  json["attempts"] = Json::array();
  for (const Attempt& attempt : attempts) {
    Json entry;
    entry["path"] = attempt.path;
    entry["round"] = attempt.round;
    entry["passed"] = attempt.passed;
    entry["status"] = attempt.status;
    entry["value"] = attempt.value;
    entry["message"] = attempt.message;
    entry["started"] = attempt.started;
    entry["seconds"] = attempt.seconds;
    entry["records"] = attempt.records;
    if (!attempt.problem.empty()) entry["problem"] = attempt.problem;
    if (!attempt.causes.empty()) entry["causes"] = Json::array();
    for (const Cause& cause : attempt.causes) {
      entry["causes"].push_back({{"what", cause.what}, {"part", cause.part}});
    }
    json["attempts"].push_back(std::move(entry));
  }
  out << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

void WriteJunit(std::ostream& out, const Report& report) {
  const std::vector<Attempt>& attempts = report.attempts;
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  Add(declaration, "version", "1.0");
  Add(declaration, "encoding", "UTF-8");
  pugi::xml_node suites = document.append_child("testsuites");
  Add(suites, "name", "diagor");
  AddCounts(suites, attempts);
  pugi::xml_node suite = suites.append_child("testsuite");
  Add(suite, "name", report.camera);
  AddCounts(suite, attempts);
  if (!attempts.empty()) Add(suite, "timestamp", attempts.front().started);
  pugi::xml_node properties = suite.append_child("properties");
  AddProperty(properties, "camera.name", report.camera);
  AddProperty(properties, "camera.serial", report.serial);
  AddProperty(properties, "run.whole", report.isWhole ? "true" : "false");
  const bool hasRounds = HasRounds(attempts);
  for (const Attempt& attempt : attempts) AddAttempt(suite, attempt, hasRounds);
  document.save(out, "  ");
}

void WriteTap(std::ostream& out, const Report& report) {
  const std::vector<Attempt>& attempts = report.attempts;
  out << "TAP version 13\n";
  std::size_t number = 0;
  for (const Attempt& attempt : attempts) {
    out << (attempt.passed ? "ok " : "not ok ") << ++number << " - " << attempt.path << "\n"
        << "  ---\n"
        << "  value: " << Quoted(ResultOf(attempt)) << "\n"
        << "  message: " << Quoted(attempt.message) << "\n"
        << "  status: " << attempt.status << "\n"
        << "  round: " << attempt.round << "\n"
        << "  started: " << Quoted(attempt.started) << "\n"
        << "  seconds: " << Fixed(attempt.seconds, 3) << "\n";
    if (!attempt.records.empty()) out << "  records:\n";
    for (const std::string& record : attempt.records) out << "    - " << Quoted(record) << "\n";
    if (!attempt.causes.empty()) out << "  causes:\n";
    for (const Cause& cause : attempt.causes) out << "    - " << Quoted(CauseText(cause)) << "\n";
    out << "  ...\n";
  }
  if (report.isWhole) {
    out << "1.." << number << "\n";
  } else {
    out << "Bail out! The run ended before its end.\n";
  }
}

}  // namespace client
