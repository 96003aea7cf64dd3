#include "camera/camera.h"

#include <stdexcept>

#include "chips/chip.h"
#include "coredll/handles.h"
#include "coredll/text.h"
#include "drivers/i2c_bus.h"
#include "drivers/power_management.h"
#include "drivers/video_front_end.h"
#include "drivers/visual_camera.h"
#include "operator/operator.h"
#include "peripherals/device_node.h"
#include "peripherals/image_pipeline.h"
#include "peripherals/image_service.h"
#include "peripherals/laser.h"
#include "peripherals/peripheral.h"
#include "peripherals/power.h"
#include "tarq/framework.h"
#include "tarq/knob_node.h"
#include "tarq/node_access.h"
#include "tarq/trace_value.h"

namespace desk {

namespace {

TARQ::CResourceValue ToResourceValue(const NodeStart& start) {
  if (const bool* const truth = std::get_if<bool>(&start)) return TARQ::CResourceValue(*truth);
  if (const auto* const whole = std::get_if<std::int64_t>(&start)) {
    return TARQ::CResourceValue(static_cast<LONG>(*whole));
  }
  if (const auto* const number = std::get_if<double>(&start)) return TARQ::DoubleValue(*number);
  return TARQ::CResourceValue(std::get<std::string>(start).c_str());
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
  if (name == "i2c1") return std::make_unique<I2cBus>("I2C1:", "the first bus of the boards");
  if (name == "i2c2") return std::make_unique<I2cBus>("I2C2:", "the second bus of the boards");
  if (name == "pmi1") return std::make_unique<PowerManagement>(clock);
  if (name == "fvd1") return std::make_unique<VideoFrontEnd>();
  if (name == "cam1") return std::make_unique<VisualCamera>();
  return nullptr;
}

}  // namespace

Camera::Camera(const CameraSettings& settings)
    : mVariant(LoadVariant(settings.variant)),
      mStorageSetup(settings.root, settings.variant),
      mClock(std::make_unique<desk::Clock>(settings.clock, settings.start)),
      mEvents(*mClock),
      mWindows(*mClock, mVariant.displayWidth, mVariant.displayHeight),
      mMachine{mClock.get(), &mWindows, &mEvents, Storage(mStorageSetup.Root()), {}, {}, nullptr},
      mInstallation(*this),
      mClockKnobs(ClockFamily()),
      mTaskKnobs(TaskFamily()),
      mCameraKnobs(WholeFamily()),
      mInputKnobs(InputFamily()),
      mRegistryKnobs(RegistryFamily()) {
  TARQ::NodeAccess::SetRules(mCameraTree, &mAccessFaults);
  mMachine.storage.OnLook(
      [this](const std::string& name) { return mAccessFaults.LosesFile(name); });
  SetRegistry("");
  AddDrivers();
  AddChips();
  AddNodes();
  AddPeripherals();
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
    mEvents.Add("test-ended", {{"path", TARQ::NodeAccess::Path(node)},
                               {"status", static_cast<std::int64_t>(delivered.status)},
                               {"value", ToTraceValue(delivered.value)},
                               {"elapsed_ms", ToMilliseconds(delivered.elapsed)}});
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
    if (!bus->Attach(entry.address, std::move(chip), PartOf(entry.serves))) {
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
                    TARQ::CResourcePath(path.substr(dot + 1)), value, TARQ::kPlainNode)));
    mNodeStarts.emplace_back(&node, value);
  }
}

void Camera::AddPeripherals() {
  TARQ::CServerResource& root = TARQ::NodeAccess::Root(mCameraTree);
  for (const ListedName& listed : mVariant.peripherals) {
    std::unique_ptr<Peripheral> peripheral = MakePeripheral(listed.name, *mClock);
    if (peripheral == nullptr) {
      throw std::runtime_error(listed.at + "peripherals: there is no peripheral " + listed.name);
    }
    peripheral->Publish(root);
    Publish(peripheral->Knobs());
    mPeripherals.push_back(std::move(peripheral));
  }
  for (const auto& peripheral : mPeripherals) {
    peripheral->ConnectTo(mPeripherals);
    auto* const pipeline = dynamic_cast<ImagePipeline*>(peripheral.get());
    if (pipeline == nullptr || mVideo == nullptr) continue;
    mVideo->OnMeasure(
        [pipeline](std::span<FrameWindow> windows) { return pipeline->Measure(windows); });
  }
}

template <typename Kind>
Kind* Camera::FindPeripheral() const {
  for (const auto& peripheral : mPeripherals) {
    if (auto* const found = dynamic_cast<Kind*>(peripheral.get())) return found;
  }
  return nullptr;
}

void Camera::AddScreen() {
  auto* const service = FindPeripheral<ImageService>();
  mScreen = std::make_unique<CameraScreen>(mWindows, mMachine.storage, mVariant.name,
                                           FindPeripheral<ImagePipeline>(), service);
  if (service != nullptr) service->OnFreeze([this] { return mScreen->LiveImage(); });
}

OperatorHands Camera::Hands() const {
  OperatorHands hands;
  hands.moveDisplay = [display = FindPeripheral<Display>()](bool out) {
    if (display != nullptr) display->Move(out);
  };
  hands.pressLaser = [laser = FindPeripheral<Laser>()](bool pressed) {
    if (laser != nullptr) laser->Press(pressed);
  };
  hands.seesDamage = [image = FindPeripheral<ImageService>()] {
    return image != nullptr && image->IsDamaged();
  };
  return hands;
}

void Camera::Publish(KnobSet& knobs) {
  PublishKnobs(mCameraTree, knobs);
  mKnobSets.push_back(&knobs);
}

DWORD Camera::Write(const std::string& path, const TARQ::CResourceValue& value) {
  TARQ::CServerResource* const node =
      TARQ::NodeAccess::Find(TARQ::NodeAccess::Root(mCameraTree), path);
  return node == nullptr ? TARQ::kStatusNotFound : TARQ::NodeAccess::Write(*node, value);
}

void Camera::Restore() {
  for (KnobSet* const knobs : mKnobSets) knobs->Restore();
  for (I2cBus* const bus : mBuses) bus->RestoreChips();
  mAccessFaults.Restore();
  if (mVideo != nullptr) mVideo->Memory().Restore();
  for (const auto& peripheral : mPeripherals) peripheral->Restore();
  ForgetWrites(TARQ::NodeAccess::Root(mCameraTree));
  for (const auto& [node, value] : mNodeStarts) TARQ::NodeAccess::Store(*node, value);
}

std::string Camera::TakeStorage() {
  return mStorageSetup.Take(mVariant);
}

}  // namespace desk
