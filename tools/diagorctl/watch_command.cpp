// watch: what happens on the camera, as it happens.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <vector>

#include "diagorctl/command.h"
#include "terminal/output.h"

namespace diagorctl {

namespace {

// "Button Test N-Camera, Hit buttons!, hit 7 of 9, missing Power, Store, 42 s left".
std::string ScreenText(const client::Json& dialog) {
  if (dialog.is_null()) return "no dialog";
  std::vector<std::string> parts = {ValueText(dialog["title"])};
  std::vector<std::string> missing;
  std::size_t buttons = 0;
  std::size_t hit = 0;
  for (const client::Json& control : dialog["controls"]) {
    if (control["kind"] != "button") {
      parts.push_back(ValueText(control["text"]));
      continue;
    }
    ++buttons;
    if (control["hit"] == true) {
      ++hit;
      continue;
    }
    // Targets are all called the same.
    const std::string label = ValueText(control["label"]);
    if (std::find(missing.begin(), missing.end(), label) == missing.end()) missing.push_back(label);
  }
  if (buttons > 0) parts.push_back("hit " + std::to_string(hit) + " of " + std::to_string(buttons));
  if (!missing.empty()) missing[0].insert(0, "missing ");
  parts.insert(parts.end(), missing.begin(), missing.end());
  if (dialog["timeout_ms"].is_number()) {
    const double left = dialog["timeout_ms"].get<double>() / 1000;
    parts.push_back(std::to_string(std::lround(left)) + " s left");
  }
  std::string text;
  for (const std::string& part : parts) text.append(text.empty() ? "" : ", ").append(part);
  return text;
}

// "  5.000  test-ended    test.items.clock.clock  OK  "
void PrintEvent(const client::Event& event, const Options& options) {
  if (options.json) {
    client::Json line;
    line["id"] = event.id;
    line["event"] = event.kind;
    for (const auto& [key, value] : event.fields.items()) line[key] = value;
    std::cout << line.dump(-1, ' ', false, client::Json::error_handler_t::replace) << std::endl;
    return;
  }
  const auto field = [&event](const char* key) {
    return event.fields.contains(key) ? ValueText(event.fields[key]) : std::string();
  };
  const double at = event.fields.contains("at") ? event.fields["at"].get<double>() : 0;
  std::cout << std::right << std::setw(12) << std::fixed << std::setprecision(3) << at << "  "
            << std::left << std::setw(14) << event.kind;
  if (event.kind == "record") {
    std::cout << Shown(field("text"));
  } else if (event.kind == "screen") {
    std::cout << Shown(ScreenText(event.fields.value("dialog", client::Json())));
  } else if (event.kind == "gap") {
    std::cout << "events missed: " << field("missed");
  } else {
    std::cout << (field("tree") == "camera" ? "." : "") << Shown(field("path")) << "  "
              << Shown(field("value"));
  }
  std::cout << std::endl;  // seen at once, also through a pipe
}

// How long to wait before the stream is asked for once more: ever longer while nothing comes.
class RetryDelay {
 public:
  std::chrono::milliseconds Next() {
    const auto now = mNext;
    mNext = std::min(2 * mNext, kLongest);
    return now;
  }
  void Restart() { mNext = kShortest; }

 private:
  static constexpr std::chrono::milliseconds kShortest{250};
  static constexpr std::chrono::milliseconds kLongest{30000};
  std::chrono::milliseconds mNext = kShortest;
};

}  // namespace

// A stream that ends is taken up again where it ended; a camera that has gone stays gone.
int Watch(client::CameraClient& camera, const Options& options) {
  std::string last = options.after;
  unsigned left = options.count;
  RetryDelay delay;
  const auto print = [&](const client::Event& event) {
    if (options.count > 0 && left == 0) return;
    if (!event.id.empty()) last = event.id;
    delay.Restart();
    PrintEvent(event, options);
    if (left > 0) --left;
  };
  const auto done = [&] { return (options.count > 0 && left == 0) || !std::cout; };
  for (;;) {
    camera.Subscribe(print, last);
    try {
      while (!camera.AwaitEvents(done, std::chrono::hours(1))) {
      }
      return kNothingFailed;
    } catch (const client::ConnectionError&) {
      const std::chrono::milliseconds wait = delay.Next();
      if (!options.quiet) {
        Complain("the stream of events ended; asking again in " + std::to_string(wait.count()) +
                 " ms");
      }
      camera.Pause(wait);
    }
  }
}

}  // namespace diagorctl
