// The camera's own knobs: time, the task's queue, the registry, keys and touches, restore; and
// those that a start or a variant sets.
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "camera/camera.h"
#include "coredll/text.h"
#include "operator/key_names.h"
#include "tarq/framework.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum ClockRow : std::size_t { kNow, kLocal, kAdvance, kAt };
constexpr KnobRow kClockRows[] = {
    {"now", KnobKind::ReadOnly, "s", "", 0, 0, "Camera time since the start."},
    {"local", KnobKind::ReadOnly, "", "", 0, 0, "The camera's local time, as 2013-08-29T12:00:00."},
    {"advance", KnobKind::Command, "s", "", 0, 0,
     "Lets that much time pass; returns after everything due up to and including that instant."},
    {"at", KnobKind::Text, "schedule", "", 0, 0,
     "\"seconds path=value; seconds path=value; ...\": camera-wide writes, each made at that "
     "camera "
     "time after the next delivery of a client's write to the program's tree starts. A new "
     "schedule "
     "replaces the old one, an empty one clears it."},
};

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
     "write on. Read: what is left."},
};

enum RegistryRow : std::size_t { kBsp };
constexpr KnobRow kRegistryRows[] = {
    {"bsp", KnobKind::Text, "", "", 0, 0,
     "The registry's Ident\\BSP, read when the program starts; empty: the variant's own; -: the "
     "value does not exist."},
};

enum CameraRow : std::size_t { kRestore };
constexpr KnobRow kCameraRows[] = {
    {"restore", KnobKind::Trigger, "", "false", 0, 0,
     "Every knob back to its default, every device and ordinary camera-wide node back to the "
     "variant's start. The start's own knobs are not repeated."},
};

enum InputRow : std::size_t { kKey, kTouch };
constexpr KnobRow kInputRows[] = {
    {"key", KnobKind::Command, "", "", 0, 0,
     "Presses and releases a key: its name on the camera, its virtual-key name (F1, Up) or code "
     "(0x70). Without a dialog on the screen nothing takes it."},
    {"touch", KnobKind::Command, "x,y", "", 0, 0,
     "Touches a point of the screen, pixels from the top left corner, and lets it go."},
};

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

std::span<const KnobRow> Camera::ClockKnobRows() {
  return kClockRows;
}
std::span<const KnobRow> Camera::TaskKnobRows() {
  return kTaskRows;
}
std::span<const KnobRow> Camera::CameraKnobRows() {
  return kCameraRows;
}
std::span<const KnobRow> Camera::InputKnobRows() {
  return kInputRows;
}
std::span<const KnobRow> Camera::RegistryKnobRows() {
  return kRegistryRows;
}

void Camera::AddKnobs() {
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
