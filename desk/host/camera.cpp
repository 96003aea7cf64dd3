#include "host/camera.h"

#include <charconv>
#include <cmath>
#include <stdexcept>

#include "chips/chip.h"
#include "coredll/handles.h"
#include "coredll/text.h"
#include "drivers/i2c_bus.h"
#include "drivers/power_management.h"
#include "drivers/video_front_end.h"
#include "drivers/visual_camera.h"
#include "knobs/knob_node.h"
#include "operator/operator.h"
#include "tarq/framework.h"
#include "tarq/node_access.h"
#include "tarq/trace_value.h"
#include "tasks/camera_task.h"
#include "tasks/device_node.h"
#include "tasks/image_pipeline.h"
#include "tasks/image_service.h"
#include "tasks/laser.h"
#include "tasks/power.h"

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

TARQ::CResourceValue ToResourceValue(const NodeStart& start) {
  if (const bool* const truth = std::get_if<bool>(&start)) return TARQ::CResourceValue(*truth);
  if (const auto* const whole = std::get_if<std::int64_t>(&start)) {
    return TARQ::CResourceValue(static_cast<LONG>(*whole));
  }
  if (const auto* const number = std::get_if<double>(&start)) return TARQ::DoubleValue(*number);
  return TARQ::CResourceValue(std::get<std::string>(start).c_str());
}

KnobValue ToKnobValue(const NodeStart& start) {
  if (const bool* const truth = std::get_if<bool>(&start)) return *truth;
  if (const auto* const whole = std::get_if<std::int64_t>(&start)) {
    return static_cast<double>(*whole);
  }
  if (const auto* const number = std::get_if<double>(&start)) return *number;
  return std::get<std::string>(start);
}

// Whether that write makes a test run: an item resets at "Untested".
bool RunsTest(const TARQ::CServerResource& node, const TARQ::CResourceValue& value) {
  return TARQ::NodeAccess::IsTest(node, TARQ::NodeAccess::Path(node)) &&
         std::string_view(value.GetAscii().AsChar()) != "Untested";
}

// What clients wrote to nodes that a device drives.
void ForgetWrites(TARQ::CServerResource& node) {
  if (auto* const device = dynamic_cast<DeviceNode*>(&node)) device->DeviceChanged();
  for (TARQ::CServerResource* const child : TARQ::NodeAccess::Children(node)) ForgetWrites(*child);
}

std::unique_ptr<DriverPort> MakeDriver(const std::string& name, const Clock& clock) {
  if (name == "i2c1") return std::make_unique<I2cBus>("I2C1:");
  if (name == "i2c2") return std::make_unique<I2cBus>("I2C2:");
  if (name == "pmi1") return std::make_unique<PowerManagement>(clock);
  if (name == "fvd1") return std::make_unique<VideoFrontEnd>();
  if (name == "cam1") return std::make_unique<VisualCamera>();
  return nullptr;
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

Camera::Camera(const CameraSettings& settings)
    : mVariant(LoadVariant(settings.variant)),
      mStorageSetup(settings.root, settings.variant),
      mClock(std::make_unique<desk::Clock>(settings.clock)),
      mEvents(*mClock),
      mWindows(*mClock, mVariant.displayWidth, mVariant.displayHeight),
      mMachine{mClock.get(), &mWindows, &mEvents, Storage(mStorageSetup.Root()), {}, {}, nullptr},
      mInstallation(*this),
      mClockKnobs(".desk.clock", kClockRows),
      mTaskKnobs(".desk.task", kTaskRows),
      mWaits(mTaskKnobs[kWaitFail]),
      mCameraKnobs(".desk", kCameraRows),
      mInputKnobs(".desk", kInputRows),
      mRegistryKnobs(".desk.registry", kRegistryRows) {
  TARQ::NodeAccess::SetRules(mCameraTree, &mAccessFaults);
  mMachine.waits = &mWaits;
  mMachine.storage.OnLook(
      [this](const std::string& name) { return mAccessFaults.LosesFile(name); });
  SetRegistry("");
  AddDrivers();
  AddChips();
  AddNodes();
  AddTasks();
  AddScreen();
  AddKnobs();
  mSchedule = std::make_unique<Schedule>(
      *mClock, [this](const std::string& path, const std::string& value) {
        return Write(path, TARQ::CResourceValue(value.c_str())) == 0;
      });
  mOperator = std::make_unique<Operator>(*mClock, mWindows, mVariant.keypad, Hands());
  Publish(mOperator->Knobs());
  StartKnobsOfVariant();
  // The program enters its own version beside the camera's.
  if (TARQ::NodeAccess::Find(TARQ::NodeAccess::Root(mCameraTree), "version") == nullptr) {
    throw std::runtime_error(mVariant.file + ": nodes: version.product.name is missing");
  }
  mDeliveries = MakeDeliveries();
  TellOfValues();
  SetStartKnobs(settings.knobs);
}

Camera::~Camera() {
  mDeliveries.reset();
  mSchedule.reset();  // it may still write the operator's knobs
  mOperator.reset();
}

// From now on: how the camera was assembled is nobody's news.
void Camera::TellOfValues() {
  const auto tell = [this](const char* tree) {
    return [this, tree](const TARQ::CServerResource& node, const TARQ::CResourceValue& value) {
      mEvents.Add(
          "value",
          {{"tree", tree}, {"path", TARQ::NodeAccess::Path(node)}, {"value", ToTraceValue(value)}});
    };
  };
  TARQ::NodeAccess::SetListener(mCameraTree, tell("camera"));
  TARQ::NodeAccess::SetListener(mTaskTree, tell("task"));
}

std::unique_ptr<desk::Deliveries> Camera::MakeDeliveries() {
  const auto starts = [this](const TARQ::CServerResource& node, const TARQ::CResourceValue& value) {
    const std::string path = TARQ::NodeAccess::Path(node);
    if (RunsTest(node, value)) mEvents.Add("test-started", {{"path", path}});
    mOperator->DeliveryStarts(path);
    mSchedule->DeliveryStarts();
  };
  const auto ended = [this](const TARQ::CServerResource& node, const TARQ::CResourceValue& value,
                            const Delivered& delivered) {
    if (!RunsTest(node, value)) return;
    mEvents.Add(
        "test-ended",
        {{"path", TARQ::NodeAccess::Path(node)},
         {"status", static_cast<std::int64_t>(delivered.status)},
         {"value", ToTraceValue(delivered.value)},
         {"elapsed_ms", std::chrono::duration<double, std::milli>(delivered.elapsed).count()}});
  };
  return std::make_unique<desk::Deliveries>(
      *mClock, desk::Deliveries::Watcher{.starts = starts, .ended = ended});
}

Camera::Installation::Installation(Camera& camera) {
  InstallMachine(&camera.mMachine);
  TARQ::CSupervisor::mpGlobalResourceTree = &camera.mCameraTree;
  TARQ::CSupervisor::mpLocalResourceTree = &camera.mTaskTree;
}

Camera::Installation::~Installation() {
  TARQ::CSupervisor::mpGlobalResourceTree = nullptr;
  TARQ::CSupervisor::mpLocalResourceTree = nullptr;
  ResetFramework();
  InstallMachine(nullptr);
}

void Camera::AddDrivers() {
  for (const ListedName& listed : mVariant.drivers) {
    std::unique_ptr<DriverPort> driver = MakeDriver(listed.name, *mClock);
    if (driver == nullptr) {
      throw std::runtime_error(listed.at + "drivers: there is no driver " + listed.name);
    }
    Publish(driver->Knobs());
    if (auto* const bus = dynamic_cast<I2cBus*>(driver.get())) mBuses.push_back(bus);
    if (auto* const power = dynamic_cast<PowerManagement*>(driver.get())) {
      Publish(power->CounterKnobs());
    }
    if (auto* const video = dynamic_cast<VideoFrontEnd*>(driver.get())) {
      mVideo = video;
      Publish(video->RegisterKnobs());
      Publish(video->Memory().Knobs());
    }
    if (auto* const visual = dynamic_cast<VisualCamera*>(driver.get())) {
      Publish(visual->CameraKnobs());
    }
    mMachine.devices.push_back(std::move(driver));
  }
}

void Camera::AddChips() {
  for (const ChipEntry& entry : mVariant.chips) {
    I2cBus* bus = nullptr;
    for (I2cBus* const each : mBuses) {
      if (each->Knobs().Prefix() == ".desk.driver." + entry.bus) bus = each;
    }
    if (bus == nullptr) {
      throw std::runtime_error(entry.at + "bus: there is no bus " + entry.bus);
    }
    std::unique_ptr<Chip> chip = MakeChip(entry.kind, *mClock, bus->SlotPrefix(entry.address));
    if (chip == nullptr) {
      throw std::runtime_error(entry.at + "kind: there is no chip " + entry.kind);
    }
    if (!bus->Attach(entry.address, std::move(chip))) {
      throw std::runtime_error(entry.at + "address: another chip of the bus has it");
    }
  }
  for (I2cBus* const bus : mBuses) {
    for (KnobSet* const knobs : bus->ChipKnobs()) Publish(*knobs);
  }
}

void Camera::AddNodes() {
  TARQ::CServerResource& root = TARQ::NodeAccess::Root(mCameraTree);
  for (const auto& [path, start, at] : mVariant.nodes) {
    const std::size_t dot = path.rfind('.');
    TARQ::CServerResource& parent = TARQ::NodeAccess::MakeBranch(
        root, dot == std::string::npos ? std::string() : path.substr(0, dot));
    const TARQ::CResourceValue value = ToResourceValue(start);
    TARQ::CServerResource& node = TARQ::NodeAccess::Add(
        parent, std::unique_ptr<TARQ::CServerResource>(new TARQ::CServerResource(
                    TARQ::CResourcePath(path.substr(dot + 1)), value, 0x80000000)));
    mNodeStarts.emplace_back(&node, value);
  }
}

void Camera::AddTasks() {
  TARQ::CServerResource& root = TARQ::NodeAccess::Root(mCameraTree);
  for (const ListedName& listed : mVariant.tasks) {
    std::unique_ptr<CameraTask> task = MakeTask(listed.name, *mClock);
    if (task == nullptr) {
      throw std::runtime_error(listed.at + "tasks: there is no task " + listed.name);
    }
    task->Publish(root);
    Publish(task->Knobs());
    mTasks.push_back(std::move(task));
  }
  for (const auto& task : mTasks) {
    task->Meet(mTasks);
    auto* const pipeline = dynamic_cast<ImagePipeline*>(task.get());
    if (pipeline == nullptr || mVideo == nullptr) continue;
    mVideo->OnMeasure(
        [pipeline](std::span<FrameWindow> windows) { return pipeline->Measure(windows); });
  }
}

template <typename Task>
Task* Camera::FindTask() const {
  for (const auto& task : mTasks) {
    if (auto* const found = dynamic_cast<Task*>(task.get())) return found;
  }
  return nullptr;
}

void Camera::AddScreen() {
  auto* const service = FindTask<ImageService>();
  mScreen = std::make_unique<CameraScreen>(mWindows, mMachine.storage, mVariant.name,
                                           FindTask<ImagePipeline>(), service);
  if (service != nullptr) service->OnFreeze([this] { return mScreen->LiveImage(); });
  mInputKnobs[kKey].OnWrite([this](const KnobValue& value) {
    const auto code = ParseKey(std::get<std::string>(value), mVariant.keypad);
    if (code) mWindows.ReleaseKey(*code);
    return code.has_value();
  });
  mInputKnobs[kTouch].OnWrite(
      [this](const KnobValue& value) { return Touch(std::get<std::string>(value)); });
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

OperatorHands Camera::Hands() const {
  OperatorHands hands;
  hands.moveDisplay = [display = FindTask<Display>()](bool out) {
    if (display != nullptr) display->Move(out);
  };
  hands.pressLaser = [laser = FindTask<Laser>()](bool pressed) {
    if (laser != nullptr) laser->Press(pressed);
  };
  return hands;
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

void Camera::Publish(KnobSet& knobs) {
  PublishKnobs(mCameraTree, knobs);
  mKnobSets.push_back(&knobs);
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

DWORD Camera::Write(const std::string& path, const TARQ::CResourceValue& value) {
  TARQ::CServerResource* const node =
      TARQ::NodeAccess::Find(TARQ::NodeAccess::Root(mCameraTree), path);
  return node == nullptr ? TARQ::kStatusNotFound : TARQ::NodeAccess::Write(*node, value);
}

void Camera::Restore() {
  for (KnobSet* const knobs : mKnobSets) knobs->Restore();
  for (I2cBus* const bus : mBuses) bus->RestoreChips();
  if (mVideo != nullptr) mVideo->Memory().Restore();
  for (const auto& task : mTasks) task->Restore();
  ForgetWrites(TARQ::NodeAccess::Root(mCameraTree));
  for (const auto& [node, value] : mNodeStarts) TARQ::NodeAccess::Store(*node, value);
}

std::string Camera::TakeStorage() {
  return mStorageSetup.Take(mVariant);
}

}  // namespace desk
