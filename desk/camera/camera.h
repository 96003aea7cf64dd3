// One camera, assembled from a variant: machine, framework, chips, drivers, nodes, knobs.
#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "camera/access_faults.h"
#include "camera/schedule.h"
#include "camera/storage_setup.h"
#include "camera/variant.h"
#include "clock/clock.h"
#include "common_dll.h"
#include "coredll/machine.h"
#include "coredll/window_system.h"
#include "knobs/knob.h"
#include "screen/camera_screen.h"
#include "tarq/deliveries.h"
#include "trace/event_log.h"

namespace desk {

class Peripheral;
class I2cBus;
class Operator;
struct OperatorHands;
class VideoFrontEnd;

struct CameraSettings {
  std::string variant = "KY";
  std::filesystem::path root;  // stands for the camera's storage; empty: the default one
  Clock::Kind clock = Clock::Kind::Virtual;
  std::int64_t start = kUsualStart;  // of the virtual clock's calendar
  std::string knobs;                 // "path=value;path=value", set before the program starts
};

// There is one in a process at a time.
class Camera {
 public:
  // Throws std::runtime_error that says what is wrong with the settings. Makes no file.
  explicit Camera(const CameraSettings& settings);
  ~Camera();
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  // Takes the storage for this process, and fills it when it is missing or empty. An error's text,
  // or empty.
  std::string TakeStorage();

  desk::Clock& Clock() { return *mClock; }
  WindowSystem& Windows() { return mWindows; }
  const CameraScreen& Screen() const { return *mScreen; }
  const Storage& Files() const { return mMachine.storage; }
  TARQ::CResourceTree& CameraTree() { return mCameraTree; }
  const TARQ::CResourceTree& CameraTree() const { return mCameraTree; }
  TARQ::CResourceTree& TaskTree() { return mTaskTree; }
  desk::Deliveries& Deliveries() { return *mDeliveries; }
  EventLog& Events() { return mEvents; }
  const desk::Variant& Variant() const { return mVariant; }
  // In the order in which they were published.
  std::span<KnobSet* const> KnobSets() const { return mKnobSets; }

  // A client's write to a camera-wide node; the status of the node.
  DWORD Write(const std::string& path, const TARQ::CResourceValue& value);

 private:
  static const KnobFamily& ClockFamily();
  static const KnobFamily& TaskFamily();
  static const KnobFamily& RegistryFamily();
  static const KnobFamily& WholeFamily();
  static const KnobFamily& InputFamily();
  void AddDrivers();
  void AddChips();
  void AddNodes();
  void AddPeripherals();
  void AddKnobs();
  void AddTaskKnobs();
  void AddInputKnobs();
  void Publish(KnobSet& knobs);
  void StartKnobsOfVariant();
  template <typename Kind>
  Kind* FindPeripheral() const;
  void AddScreen();
  bool Touch(const std::string& point);
  bool LoseKeys(const std::string& keys);
  bool LosePanel(const std::string& part);
  OperatorHands Hands() const;
  void TellOfValues();
  std::unique_ptr<desk::Deliveries> MakeDeliveries();
  void SetStartKnobs(const std::string& knobs);
  void SetRegistry(const std::string& bsp);
  void Restore();

  // The core services and the framework act on this camera while it lives.
  class Installation {
   public:
    explicit Installation(Camera& camera);
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;
  };

  desk::Variant mVariant;
  StorageSetup mStorageSetup;
  std::unique_ptr<desk::Clock> mClock;
  EventLog mEvents;
  WindowSystem mWindows;
  Machine mMachine;
  Installation mInstallation;  // outlives the trees
  TARQ::CResourceTree mCameraTree;
  TARQ::CResourceTree mTaskTree;
  AccessFaults mAccessFaults;
  KnobSet mClockKnobs;
  KnobSet mTaskKnobs;
  std::unique_ptr<FaultCounter> mWaits;
  KnobSet mCameraKnobs;
  KnobSet mInputKnobs;
  KnobSet mRegistryKnobs;
  std::vector<KnobSet*> mKnobSets;
  std::vector<I2cBus*> mBuses;
  VideoFrontEnd* mVideo = nullptr;
  std::vector<std::unique_ptr<Peripheral>> mPeripherals;
  std::unique_ptr<CameraScreen> mScreen;
  std::vector<std::pair<TARQ::CServerResource*, TARQ::CResourceValue>> mNodeStarts;
  std::unique_ptr<Schedule> mSchedule;
  std::unique_ptr<Operator> mOperator;
  std::unique_ptr<desk::Deliveries> mDeliveries;
};

}  // namespace desk
