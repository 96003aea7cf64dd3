// A run as a page for a person, on a screen and on paper.
#include <algorithm>
#include <array>
#include <iomanip>
#include <sstream>

#include "client/dictionary.h"
#include "station/report/encoding.h"
#include "station/report/writers.h"
#include "station/store/text.h"

namespace station {

namespace {

constexpr char kStyle[] = R"(
:root{color-scheme:light dark;--ink:#1a1a1a;--paper:#fff;--faint:#595959;--line:#c8c8c8;
--good:#0b6b2e;--bad:#a8071a;--warn:#7a4b00;--box:#f5f5f5}
@media (prefers-color-scheme:dark){:root{--ink:#eee;--paper:#141414;--faint:#b5b5b5;--line:#555;
--good:#7ddc9a;--bad:#ff9c96;--warn:#ffcf7a;--box:#222}}
*{box-sizing:border-box}
body{font:16px/1.45 sans-serif;color:var(--ink);background:var(--paper);max-width:60rem;
margin:0 auto;padding:1rem;overflow-wrap:anywhere}
h1{font-size:2rem;margin:0 0 .5rem}h2{margin:2rem 0 .5rem;border-bottom:1px solid var(--line)}
h3{margin:0 0 .25rem;font-size:1.1rem}
.good{color:var(--good)}.bad{color:var(--bad)}.warn{color:var(--warn)}.faint{color:var(--faint)}
dl{display:grid;grid-template-columns:max-content 1fr;gap:.1rem 1rem;margin:0}
dt{color:var(--faint)}dd{margin:0}
.card{border:1px solid var(--line);border-left:.4rem solid var(--bad);background:var(--box);
padding:.75rem 1rem;margin:.75rem 0;break-inside:avoid}
.scroll{overflow-x:auto}
table{border-collapse:collapse;width:100%;font-size:.9rem}
th,td{text-align:left;padding:.25rem .5rem;border-bottom:1px solid var(--line);vertical-align:top}
td.number{text-align:right;white-space:nowrap;font-variant-numeric:tabular-nums}
pre{white-space:pre-wrap;font-size:.85rem;background:var(--box);padding:.5rem;margin:.25rem 0}
img{max-width:100%}ol,ul{margin:.25rem 0;padding-left:1.5rem}
svg{color:var(--ink)}
@page{size:A4;margin:15mm}
@media print{:root{--ink:#000;--paper:#fff;--faint:#444;--line:#999;--good:#000;--bad:#000;
--warn:#000;--box:#fff}body{font-size:10pt;padding:0;max-width:none}tr{break-inside:avoid}
thead{display:table-header-group}}
)";

// Text, whatever it holds: also in attributes. A browser shows no control characters.
std::string Text(const std::string& text) {
  std::string shown;
  for (const char each : Settled(text)) {
    const auto byte = static_cast<unsigned char>(each);
    const bool isControl = (byte < 0x20 && each != '\n' && each != '\t') || byte == 0x7F;
    if (each == '&') {
      shown += "&amp;";
    } else if (each == '<') {
      shown += "&lt;";
    } else if (each == '>') {
      shown += "&gt;";
    } else if (each == '"') {
      shown += "&quot;";
    } else if (isControl) {
      shown += "\xEF\xBF\xBD";
    } else {
      shown += each;
    }
  }
  return shown;
}

// A long text is whole, but folded.
std::string Folded(const std::string& text) {
  constexpr std::size_t kLong = 400;
  if (text.size() <= kLong) return Text(text);
  return "<details><summary>" + std::to_string(text.size()) + " bytes</summary>" + Text(text) +
         "</details>";
}

std::string Number(double value) {
  std::ostringstream text;
  text << std::setprecision(7) << value;
  return text.str();
}

std::string Short(const std::string& item) {
  constexpr std::string_view kItems = "test.items.";
  return item.starts_with(kItems) ? item.substr(kItems.size()) : item;
}

// Word, sign and colour: any of them alone tells it.
struct Mark {
  const char* colour;
  const char* sign;
};
Mark MarkOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::Passed:
      return {"good", "&#10003;"};
    case Outcome::PassedOnRetry:
      return {"warn", "&#10003;"};
    case Outcome::Failed:
      return {"bad", "&#10007;"};
    case Outcome::Running:
    case Outcome::Incomplete:
      break;
  }
  return {"warn", "&#9888;"};
}

class Page {
 public:
  Page(std::ostream& out, const RunReport& report, std::string key)
      : mOut(out), mReport(report), mRun(report.run), mKey(std::move(key)) {}

  void Write() {
    mOut << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         << R"(<meta http-equiv="Content-Security-Policy" content=")" << HtmlPolicy() << "\">\n"
         << R"(<meta name="viewport" content="width=device-width, initial-scale=1">)"
         << "\n"
         << "<title>" << Text(mRun.cameraName) << " " << Text(mRun.serial) << ": "
         << OutcomeText(mRun.outcome) << "</title>\n<style>" << kStyle << "</style>\n</head>\n"
         << "<body>\n<main>\n";
    Head();
    Failures();
    Measurements();
    Attempts();
    Foot();
    mOut << "</main>\n</body>\n</html>\n";
  }

 private:
  void Field(const char* name, const std::string& text) {
    if (!text.empty()) mOut << "<dt>" << name << "</dt><dd>" << Text(text) << "</dd>\n";
  }

  void Head() {
    const Mark mark = MarkOf(mRun.outcome);
    mOut << "<header>\n<h1 class=\"" << mark.colour << "\"><span aria-hidden=\"true\">" << mark.sign
         << "</span> " << OutcomeText(mRun.outcome) << "</h1>\n";
    if (mRun.outcome == Outcome::Running) {
      mOut << "<p class=\"warn\">The run is under way, or was ended from outside.</p>\n";
    }
    mOut << "<dl>\n";
    Field("Why", mRun.reason);
    const bool hasName = mRun.cameraName != mRun.variant;
    Field("Camera", hasName ? mRun.cameraName + ", " + mRun.variant : mRun.variant);
    Field("Serial", mRun.serial);
    if (mRun.scannedSerial != mRun.serial) Field("Scanned serial", mRun.scannedSerial);
    Field("Plan", mRun.planTitle);
    Field("Tested by", mRun.operatorName);
    Field("At", mRun.station);
    Field("Begun", TimeText(mRun.startedAt));
    Field("Ended", mRun.endedAt ? TimeText(*mRun.endedAt) : "");
    Field("Camera's time", mRun.cameraTime);
    Field("Note", mRun.note);
    const auto passed = std::count_if(mReport.attempts.begin(), mReport.attempts.end(),
                                      [](const AttemptReport& each) { return each.passed; });
    const auto failed = std::count_if(mReport.attempts.begin(), mReport.attempts.end(), HasFailed);
    Field("Attempts", std::to_string(passed) + " passed, " + std::to_string(failed) + " failed, " +
                          std::to_string(static_cast<std::ptrdiff_t>(mReport.attempts.size()) -
                                         passed - failed) +
                          " without a result");
    mOut << "</dl>\n</header>\n";
  }

  void Failures() {
    if (std::none_of(mReport.attempts.begin(), mReport.attempts.end(), HasFailed)) return;
    mOut << "<section>\n<h2>What failed</h2>\n";
    // A test that failed again in the same way has one card.
    std::vector<std::pair<const AttemptReport*, int>> cards;
    for (const AttemptReport& attempt : mReport.attempts) {
      if (!HasFailed(attempt)) continue;
      const auto same = std::find_if(cards.begin(), cards.end(), [&attempt](const auto& card) {
        return card.first->item == attempt.item && card.first->code == attempt.code;
      });
      if (same == cards.end()) {
        cards.emplace_back(&attempt, 1);
      } else {
        ++same->second;
      }
    }
    for (const auto& [attempt, times] : cards) Card(*attempt, times);
    mOut << "</section>\n";
  }

  void Card(const AttemptReport& attempt, int times) {
    mOut << "<article class=\"card\">\n<h3>" << Text(Short(attempt.item)) << " <span class=\"bad\">"
         << Text(attempt.code) << "</span>";
    if (times > 1) mOut << " <span class=\"faint\">" << times << " times</span>";
    mOut << "</h3>\n<p>" << Folded(attempt.message) << "</p>\n";
    const client::TestGuide* const guide = client::GuideOf(attempt.className);
    const client::ResultGuide* const result =
        guide == nullptr ? nullptr : guide->Find(attempt.code);
    mOut << "<dl>\n";
    if (guide != nullptr) Field("The test", guide->about);
    if (result != nullptr) {
      Field("Means", result->means);
      Field("Try first", result->remedy);
    }
    mOut << "</dl>\n";
    Causes(attempt);
    Seen(attempt);
    mOut << "</article>\n";
  }

  void Causes(const AttemptReport& attempt) {
    constexpr std::size_t kMost = 5;
    const auto causes =
        client::CausesOf(attempt.item, attempt.className, attempt.code, mRun.variant);
    if (causes.empty()) return;
    mOut << "<p>Known causes, the likeliest first:</p>\n<ol>\n";
    std::vector<std::string> parts;
    for (std::size_t i = 0; i < causes.size(); ++i) {
      const std::string& part = causes[i].part;
      if (std::find(parts.begin(), parts.end(), part) == parts.end()) parts.push_back(part);
      if (i >= kMost) continue;
      mOut << "<li>" << Text(causes[i].what) << " <strong>[" << Text(part) << "]</strong></li>\n";
    }
    mOut << "</ol>\n";
    if (causes.size() > kMost) mOut << "<p>And " << causes.size() - kMost << " more.</p>\n";
    mOut << "<dl>\n";
    for (const std::string& part : parts) {
      mOut << "<dt>" << Text(part) << "</dt><dd>" << Text(client::RemedyFor(part)) << "</dd>\n";
    }
    mOut << "</dl>\n";
  }

  void Seen(const AttemptReport& attempt) {
    for (const EvidenceRecord& each : attempt.evidence) {
      switch (each.kind) {
        case EvidenceKind::Record:
          mOut << "<pre>" << Folded(each.bytes) << "</pre>\n";
          break;
        case EvidenceKind::Trace:
          Trace(each.bytes);
          break;
        case EvidenceKind::Picture:
          mOut << R"(<img alt="The camera's screen" src="data:image/png;base64,)"
               << Base64(each.bytes) << "\">\n";
          break;
      }
    }
  }

  void Trace(const std::string& bytes) {
    constexpr std::size_t kLast = 12;
    const client::Json trace = client::Json::parse(bytes, nullptr, false);
    const bool hasSteps = trace.is_object() && trace.contains("steps") &&
                          trace["steps"].is_array() && !trace["steps"].empty();
    if (!hasSteps) return;
    const client::Json& steps = trace["steps"];
    const std::size_t first = steps.size() - std::min(kLast, steps.size());
    mOut << "<details open><summary>The last " << steps.size() - first << " of " << steps.size()
         << " steps</summary>\n<pre>";
    for (std::size_t i = first; i < steps.size(); ++i) {
      mOut << Text(steps[i].dump(-1, ' ', false, client::Json::error_handler_t::replace)) << "\n";
    }
    mOut << "</pre></details>\n";
  }

  void Measurements() {
    const bool hasAny =
        std::any_of(mReport.attempts.begin(), mReport.attempts.end(),
                    [](const AttemptReport& each) { return !each.measurements.empty(); });
    if (!hasAny) return;
    mOut << "<section>\n<h2>What was measured</h2>\n<div class=\"scroll\"><table>\n<thead><tr>"
         << "<th>Test</th><th>What</th><th>Value</th><th>Limits</th><th>This camera's earlier runs"
         << "</th></tr></thead>\n<tbody>\n";
    for (const AttemptReport& attempt : mReport.attempts) {
      for (const MeasurementRecord& each : attempt.measurements) {
        mOut << "<tr><td>" << Text(Short(attempt.item)) << "</td><td>" << Text(each.name)
             << "</td><td class=\"number\">" << Number(each.value) << " " << Text(each.unit)
             << "</td><td>";
        if (each.lower || each.upper) {
          mOut << (each.lower ? Number(*each.lower) : "") << " to "
               << (each.upper ? Number(*each.upper) : "");
        }
        mOut << "</td><td>";
        Plot(attempt, each);
        mOut << "</td></tr>\n";
      }
    }
    mOut << "</tbody></table></div>\n</section>\n";
  }

  // The camera's runs from left to right, this one's value as a dot; the limits dashed.
  void Plot(const AttemptReport& attempt, const MeasurementRecord& measurement) {
    const auto course =
        std::find_if(mReport.courses.begin(), mReport.courses.end(), [&](const Course& each) {
          return each.item == attempt.item && each.name == measurement.name;
        });
    if (course == mReport.courses.end() || course->values.size() < 2) {
      mOut << "<span class=\"faint\">none</span>";
      return;
    }
    constexpr double kWidth = 160;
    constexpr double kHeight = 36;
    constexpr double kMargin = 4;
    std::vector<double> values = course->values;
    values.back() = measurement.value;
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    double low = *least;
    double high = *most;
    // Limits that are far away would leave no room for what is between them.
    const double range = std::max(high - low, 1e-9);
    const auto isNear = [&](const std::optional<double>& limit) {
      constexpr double kFar = 3;
      return limit && *limit > low - kFar * range && *limit < high + kFar * range;
    };
    const bool showsLower = isNear(measurement.lower);
    const bool showsUpper = isNear(measurement.upper);
    if (showsLower) low = std::min(low, *measurement.lower);
    if (showsUpper) high = std::max(high, *measurement.upper);
    const double scale = std::max(high - low, 1e-9);
    const auto y = [&](double value) {
      return kMargin + (kHeight - 2 * kMargin) * (high - value) / scale;
    };
    const auto x = [&](std::size_t i) {
      return kMargin + (kWidth - 2 * kMargin) * static_cast<double>(i) /
                           static_cast<double>(values.size() - 1);
    };
    mOut << "<svg role=\"img\" width=\"160\" height=\"36\" viewBox=\"0 0 160 36\"><title>"
         << values.size() - 1 << " earlier runs, " << Number(*least) << " to " << Number(*most)
         << ", now " << Number(measurement.value) << "</title>";
    for (const auto& [shows, limit] :
         {std::pair(showsLower, measurement.lower), std::pair(showsUpper, measurement.upper)}) {
      if (!shows) continue;
      mOut << "<line x1=\"0\" x2=\"160\" y1=\"" << y(*limit) << "\" y2=\"" << y(*limit)
           << "\" stroke=\"currentColor\" stroke-dasharray=\"4 3\"/>";
    }
    mOut << "<polyline fill=\"none\" stroke=\"currentColor\" points=\"";
    for (std::size_t i = 0; i < values.size(); ++i) mOut << x(i) << "," << y(values[i]) << " ";
    mOut << "\"/><circle r=\"3\" fill=\"currentColor\" cx=\"" << x(values.size() - 1) << "\" cy=\""
         << y(values.back()) << "\"/></svg>";
  }

  void Attempts() {
    mOut << "<section>\n<h2>Every attempt</h2>\n<div class=\"scroll\"><table>\n<thead><tr><th>No."
         << "</th><th>Test</th><th>Round</th><th>Result</th><th>Seconds</th><th>Message</th></tr>"
         << "</thead>\n<tbody>\n";
    for (const AttemptReport& each : mReport.attempts) {
      const char* const colour = each.passed ? "good" : HasFailed(each) ? "bad" : "warn";
      mOut << "<tr><td class=\"number\">" << each.number << "</td><td>" << Text(Short(each.item))
           << "</td><td>" << each.round << (each.retry > 0 ? ", again" : "") << "</td><td class=\""
           << colour << "\">" << Text(ResultText(mReport, each)) << "</td><td class=\"number\">"
           << std::fixed << std::setprecision(1) << each.seconds << std::defaultfloat << "</td><td>"
           << Folded(each.problem.empty() ? each.message : each.problem) << "</td></tr>\n";
    }
    mOut << "</tbody></table></div>\n</section>\n";
  }

  void Foot() {
    mOut << "<section>\n<h2>What made this</h2>\n<dl>\n";
    Field("Run", mRun.id);
    Field("Versions", mRun.versions);
    Field("SHA-256 of its JSON", Hexadecimal(Sha256(JsonOf(mReport, mKey))));
    Field("Station's key", mKey);
    mOut << "</dl>\n<p>The plan:</p>\n<pre>" << Text(mRun.planText) << "</pre>\n</section>\n";
  }

  std::ostream& mOut;
  const RunReport& mReport;
  const RunRecord& mRun;
  const std::string mKey;
};

}  // namespace

std::string HtmlPolicy() {
  return "default-src 'none'; style-src 'sha256-" + Base64(Sha256(kStyle)) + "'; img-src data:";
}

void WriteHtml(std::ostream& out, const RunReport& report, const std::string& key) {
  Page(out, report, key).Write();
}

}  // namespace station
