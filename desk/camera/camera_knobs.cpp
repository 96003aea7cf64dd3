// The camera's own knobs: time, the task's queue, the registry, keys and touches, restore; and
// those that a start or a variant sets.
#include <charconv>
#include <cmath>
#include <map>
#include <stdexcept>

#include "camera/camera.h"
#include "coredll/text.h"
#include "operator/key_names.h"
#include "tarq/framework.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum ClockRow : std::size_t { kKind, kNow, kLocal, kAdvance, kAt };
constexpr KnobRow kClockRows[] = {
    {"kind", KnobKind::ReadOnly, "", "", 0, 0, "real or virtual, as DIAGOR_CLOCK chose it."},
    {"now", KnobKind::ReadOnly, "s", "", 0, 0, "Camera time since the start."},
    {"local", KnobKind::ReadOnly, "", "", 0, 0, "The camera's local time, as 2013-08-29T12:00:00."},
    {"advance", KnobKind::Command, "s", "", 0, 0,
     "Lets that much time pass; returns after everything due up to and including that instant."},
    {"at", KnobKind::Text, "schedule", "", 0, 0,
     "\"seconds path=value; seconds path=value; ...\": camera-wide writes, each made at that "
     "camera time after the next delivery of a client's write to the program's tree starts. A new "
     "schedule replaces the old one, an empty one clears it.",
     Condition("what happens at which moment")},
};
constexpr KnobFamily kClock = {"Time", ".desk.clock", kClockRows};

enum TaskRow : std::size_t { kPing, kSubscribe, kSend, kSignal, kWaitFail };
constexpr KnobRow kTaskRows[] = {
    {"ping", KnobKind::Command, "number", "", 0, 0,
     "Sends a ping with that number to the task's queue and waits for the answer, a second of "
     "camera time at most; refused when none comes. Reads the number answered last."},
    {"subscribe", KnobKind::Command, "path", "", 0, 0,
     "Sends a subscription record for that node of the program's tree; refused when no reply comes "
     "within a second. Reads the last reply, path=value."},
    {"send", KnobKind::Command, "kind", "", 0, 0,
     "Puts a record of that kind, and of nothing else, into the task's queue; refused when the "
     "queue is full."},
    {"signal", KnobKind::Trigger, "", "false", 0, 0,
     "Signals the task's start/stop event although nothing is to stop."},
    {"wait_fail", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good waits of the program for handles the next count fail; counted from this "
     "write on. Read: what is left.",
     Breaks({"0,1", "the program's waiting fails once", "camera software", "one wait", false,
             "the program waits again"})},
};
constexpr KnobFamily kTask = {"The task's queue and events", ".desk.task", kTaskRows};

enum RegistryRow : std::size_t { kBsp };
constexpr KnobRow kRegistryRows[] = {
    {"bsp", KnobKind::Text, "", "", 0, 0,
     "The registry's Ident\\BSP, read when the program starts; empty: the variant's own; -: the "
     "value does not exist.",
     Breaks({"-", "the camera does not know which platform it is", "camera software", "", true})},
};
constexpr KnobFamily kRegistry = {"Registry", ".desk.registry", kRegistryRows};

enum CameraRow : std::size_t { kRestore };
constexpr KnobRow kCameraRows[] = {
    {"restore", KnobKind::Trigger, "", "false", 0, 0,
     "Every knob back to its default, every device and ordinary camera-wide node back to the "
     "variant's start. The start's own knobs are not repeated."},
};
constexpr KnobFamily kWhole = {"The whole camera", ".desk", kCameraRows};

constexpr char kNoTouchTest[] = "this camera has no test of the touch screen";

enum InputRow : std::size_t { kKey, kTouch, kLostKeys, kLostPanel };
constexpr KnobRow kInputRows[] = {
    {"key", KnobKind::Command, "", "", 0, 0,
     "Presses and releases a key: its name on the camera, its virtual-key name (F1, Up) or code "
     "(0x70). Without a dialog on the screen nothing takes it."},
    {"touch", KnobKind::Command, "x,y", "", 0, 0,
     "Touches a point of the screen, pixels from the top left corner, and lets it go."},
    {"lostkeys", KnobKind::Text, "keys", "", 0, 0,
     "Keys that send nothing when they are pressed: names or codes, separated by commas; *: all of "
     "them.",
     Breaks({"*", "the keypad sends nothing", "keypad", "", false,
             "this camera has no test of its keys"},
            {"{key}", "the key {key} sends nothing", "keypad", "", false,
             "no test of this camera asks for that key"})},
    {"lostpanel", KnobKind::Text, "", "", 0, 0,
     "left, right, top, bottom or all: the part of the touch panel that feels nothing. Empty: "
     "none.",
     Breaks({"all", "the touch panel feels nothing", "touch screen", "", false, kNoTouchTest},
            {"left", "the left half of the touch panel feels nothing", "touch screen", "", false,
             kNoTouchTest},
            {"bottom", "the lower half of the touch panel feels nothing", "touch screen", "", false,
             kNoTouchTest})},
};
constexpr KnobFamily kInput = {"Keys and touches", ".desk", kInputRows};

constexpr char kBspRemoved[] = "-";

std::optional<double> ParseNumber(const KnobValue& value, double most) {
  const auto& text = std::get<std::string>(value);
  double number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool fits = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size() &&
                    number >= 0 && number <= most;
  return fits ? std::optional(number) : std::nullopt;
}

std::optional<DWORD> ParseDword(const KnobValue& value) {
  const std::optional<double> number = ParseNumber(value, 4294967295.0);
  const bool whole = number && std::trunc(*number) == *number;
  return whole ? std::optional(static_cast<DWORD>(*number)) : std::nullopt;
}

KnobValue ToKnobValue(const NodeStart& start) {
  if (const bool* const truth = std::get_if<bool>(&start)) return *truth;
  if (const auto* const whole = std::get_if<std::int64_t>(&start)) {
    return static_cast<double>(*whole);
  }
  if (const auto* const number = std::get_if<double>(&start)) return *number;
  return std::get<std::string>(start);
}

}  // namespace

const KnobFamily& Camera::ClockFamily() {
  return kClock;
}
const KnobFamily& Camera::TaskFamily() {
  return kTask;
}
const KnobFamily& Camera::RegistryFamily() {
  return kRegistry;
}
const KnobFamily& Camera::WholeFamily() {
  return kWhole;
}
const KnobFamily& Camera::InputFamily() {
  return kInput;
}

void Camera::AddKnobs() {
  mClockKnobs[kKind].OnRead(
      [this] { return KnobValue(std::string(mClock->IsVirtual() ? "virtual" : "real")); });
  mClockKnobs[kNow].OnRead([this] {
    const TARQ::CResourceValue now = TARQ::DoubleValue(ToSeconds(mClock->Now()));
    return KnobValue(std::string(now.GetAsAscii(false).AsChar()));
  });
  mClockKnobs[kLocal].OnRead([this] {
    const CalendarTime local = mClock->Local(mClock->UnixTime());
    CText text;
    text.Format("%04d-%02d-%02dT%02d:%02d:%02d", local.year, local.month, local.day, local.hour,
                local.minute, local.second);
    return KnobValue(std::string(text.AsChar()));
  });
  mClockKnobs[kAdvance].OnWrite([this](const KnobValue& value) {
    const std::optional<double> seconds = ParseNumber(value, 1e9);
    if (!seconds) return false;
    mClock->Advance(FromSeconds(*seconds));
    return true;
  });
  mClockKnobs[kAt].OnWrite(
      [this](const KnobValue& value) { return mSchedule->Set(std::get<std::string>(value)); });
  mRegistryKnobs[kBsp].OnWrite([this](const KnobValue& value) {
    SetRegistry(std::get<std::string>(value));
    return true;
  });
  mCameraKnobs[kRestore].OnWrite([this](const KnobValue& /*value*/) {
    Restore();
    return true;
  });
  AddTaskKnobs();
  AddInputKnobs();
  Publish(mAccessFaults.Knobs());
  Publish(mAccessFaults.CounterKnobs());
  Publish(mWindows.Knobs());
  Publish(mCameraKnobs);
  Publish(mInputKnobs);
  Publish(mClockKnobs);
  Publish(mRegistryKnobs);
  Publish(mTaskKnobs);
}

void Camera::AddTaskKnobs() {
  mWaits = std::make_unique<FaultCounter>(mTaskKnobs[kWaitFail]);
  mMachine.waits = mWaits.get();
  mTaskKnobs[kPing].OnWrite([](const KnobValue& value) {
    const std::optional<DWORD> number = ParseDword(value);
    return number && PingTask(*number);
  });
  mTaskKnobs[kPing].OnRead([] { return KnobValue(std::to_string(LastPing())); });
  mTaskKnobs[kSubscribe].OnWrite(
      [](const KnobValue& value) { return AskForReply(std::get<std::string>(value)); });
  mTaskKnobs[kSubscribe].OnRead([] { return KnobValue(LastReply()); });
  mTaskKnobs[kSend].OnWrite([](const KnobValue& value) {
    const std::optional<DWORD> kind = ParseDword(value);
    return kind && SendKind(*kind);
  });
  mTaskKnobs[kSignal].OnWrite([](const KnobValue& /*value*/) {
    SignalTasks();
    return true;
  });
}

void Camera::AddInputKnobs() {
  mInputKnobs[kKey].OnWrite([this](const KnobValue& value) {
    const auto code = ParseKey(std::get<std::string>(value), mVariant.keypad);
    if (code) mWindows.ReleaseKey(*code);
    return code.has_value();
  });
  mInputKnobs[kTouch].OnWrite(
      [this](const KnobValue& value) { return Touch(std::get<std::string>(value)); });
  mInputKnobs[kLostKeys].OnWrite(
      [this](const KnobValue& value) { return LoseKeys(std::get<std::string>(value)); });
  mInputKnobs[kLostPanel].OnWrite(
      [this](const KnobValue& value) { return LosePanel(std::get<std::string>(value)); });
}

bool Camera::LoseKeys(const std::string& keys) {
  const std::vector<std::string> names = SplitNames(keys);
  // Commas alone: a comma as a key is called Comma.
  if (names.empty() && keys.find(',') != std::string::npos) return false;
  bool losesAll = false;
  std::set<KeyCode> lost;
  for (const std::string& name : names) {
    const auto code = ParseKey(name, mVariant.keypad);
    if (name == "*") {
      losesAll = true;
    } else if (code) {
      lost.insert(*code);
    } else {
      return false;
    }
  }
  mWindows.LoseKeys(losesAll, std::move(lost));
  return true;
}

bool Camera::LosePanel(const std::string& part) {
  const int width = mWindows.Width();
  const int height = mWindows.Height();
  const std::map<std::string, Area> parts = {
      {"", {}},
      {"all", {0, 0, width, height}},
      {"left", {0, 0, width / 2, height}},
      {"right", {width / 2, 0, width - width / 2, height}},
      {"top", {0, 0, width, height / 2}},
      {"bottom", {0, height / 2, width, height - height / 2}},
  };
  const auto found = parts.find(part);
  if (found == parts.end()) return false;
  mWindows.LosePanel(found->second);
  return true;
}

void Camera::SetRegistry(const std::string& bsp) {
  if (bsp == kBspRemoved) {
    mMachine.registry.SetBsp(std::nullopt);
  } else {
    mMachine.registry.SetBsp(ToWide(bsp.empty() ? mVariant.bsp : bsp));
  }
}

// The first "=" ends the path. A schedule has semicolons of its own: an entry that is no write of
// its own goes on with the one before.
void Camera::SetStartKnobs(const std::string& knobs) {
  std::vector<std::pair<std::string, std::string>> writes;
  std::size_t from = 0;
  while (from < knobs.size()) {
    const std::size_t end = std::min(knobs.find(';', from), knobs.size());
    const std::string entry = knobs.substr(from, end - from);
    from = end + 1;
    if (entry.find_first_not_of(' ') == std::string::npos) continue;
    const std::size_t equals = entry.find('=');
    const std::size_t blank = entry.find_first_of(' ', entry.find_first_not_of(' '));
    const bool isWrite = equals != std::string::npos && equals < blank;
    if (isWrite) {
      writes.emplace_back(
          entry.substr(entry.find_first_not_of(' '), equals - entry.find_first_not_of(' ')),
          entry.substr(equals + 1));
    } else if (!writes.empty()) {
      writes.back().second += ";" + entry;
    } else {
      throw std::runtime_error("DIAGOR_KNOBS: \"" + entry + "\" is not of the form path=value");
    }
  }
  for (const auto& [path, value] : writes) {
    const DWORD status = Write(path, TARQ::CResourceValue(value.c_str()));
    if (status == 0) continue;
    throw std::runtime_error("DIAGOR_KNOBS: " + path +
                             (status == TARQ::kStatusNotFound ? " is no node of this camera"
                                                              : " refuses the value " + value));
  }
}

bool Camera::Touch(const std::string& point) {
  int x = 0;
  int y = 0;
  const char* const end = point.data() + point.size();
  const auto first = std::from_chars(point.data(), end, x);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != ',') return false;
  const auto second = std::from_chars(first.ptr + 1, end, y);
  if (second.ec != std::errc() || second.ptr != end) return false;
  if (!Area{0, 0, mWindows.Width(), mWindows.Height()}.Contains(x, y)) return false;
  mWindows.Tap(x, y);
  return true;
}

void Camera::StartKnobsOfVariant() {
  for (const auto& [path, start, at] : mVariant.knobs) {
    Knob* knob = nullptr;
    for (KnobSet* const set : mKnobSets) {
      for (Knob& each : set->All()) {
        if (set->Prefix() + "." + std::string(each.Row().name) == path) knob = &each;
      }
    }
    if (knob == nullptr) {
      throw std::runtime_error(std::string(at).append("knobs: there is no knob ").append(path));
    }
    if (!knob->StartFrom(ToKnobValue(start))) {
      throw std::runtime_error(
          std::string(at).append("knobs: ").append(path).append(" does not take that value"));
    }
  }
}

}  // namespace desk
