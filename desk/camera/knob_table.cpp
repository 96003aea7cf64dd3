#include "camera/knob_table.h"

#include <sstream>

#include "camera/access_faults.h"
#include "camera/camera.h"
#include "chips/clock_chip.h"
#include "chips/fuel_gauge.h"
#include "chips/sensor_block.h"
#include "chips/temperature_converter.h"
#include "chips/temperature_sensor.h"
#include "coredll/window_system.h"
#include "drivers/driver_port.h"
#include "drivers/i2c_bus.h"
#include "drivers/power_management.h"
#include "drivers/video_front_end.h"
#include "drivers/visual_camera.h"
#include "operator/operator.h"
#include "peripherals/cooler.h"
#include "peripherals/flag.h"
#include "peripherals/focus_motor.h"
#include "peripherals/image_filter.h"
#include "peripherals/image_pipeline.h"
#include "peripherals/image_service.h"
#include "peripherals/lamp.h"
#include "peripherals/laser.h"
#include "peripherals/measuring_range.h"
#include "peripherals/power.h"

namespace desk {

namespace {

std::string_view KindText(KnobKind kind) {
  switch (kind) {
    case KnobKind::Bool:
      return "bool";
    case KnobKind::Integer:
      return "integer";
    case KnobKind::Number:
      return "number";
    case KnobKind::Text:
      return "text";
    case KnobKind::Trigger:
      return "trigger";
    case KnobKind::Command:
      return "command";
    case KnobKind::ReadOnly:
      return "read only";
  }
  return "";
}

bool HasDefault(KnobKind kind) {
  return kind != KnobKind::Trigger && kind != KnobKind::Command && kind != KnobKind::ReadOnly;
}

std::string RangeText(const KnobRow& row) {
  if (row.kind != KnobKind::Integer && row.kind != KnobKind::Number) return "";
  std::ostringstream text;
  text.precision(10);
  text << row.least << " to " << row.most;
  return text.str();
}

}  // namespace

std::vector<KnobFamily> AllKnobs() {
  return {
      {"An address of an I2C bus", ".desk.bus.<i2c1, i2c2>.<address>", I2cBus::SlotKnobRows()},
      {"A stream driver", ".desk.driver.<i2c1, i2c2, pmi1, fvd1, cam1>", DriverPort::KnobRows()},
      {"Real-time clock chip", ".desk.rtc", ClockChip::KnobRows()},
      {"Fuel gauge", ".desk.gauge", FuelGauge::KnobRows()},
      {"Power management", ".desk.pmi", PowerManagement::CounterKnobRows()},
      {"Sensor block", ".desk.bus.<bus>.<address>", SensorBlock::KnobRows()},
      {"16-bit temperature sensor", ".desk.bus.<bus>.<address>", TemperatureSensor::KnobRows()},
      {"24-bit temperature converter", ".desk.bus.<bus>.<address>",
       TemperatureConverter::KnobRows()},
      {"Video front-end", ".desk.fvd", VideoFrontEnd::RegisterKnobRows()},
      {"Video memory", ".desk.video", VideoMemory::KnobRows()},
      {"Visual camera", ".desk.cam", VisualCamera::CameraKnobRows()},
      {"GPS receiver", ".desk.gps", Gps::KnobRows()},
      {"Display position", ".desk.display", Display::KnobRows()},
      {"Focus motor", ".desk.focus", FocusMotor::KnobRows()},
      {"Shutter and aperture", ".desk.<shutter, aperture>", Flag::KnobRows()},
      {"Filter", ".desk.filter", ImageFilter::KnobRows()},
      {"The frame", ".desk.frontend", ImagePipeline::KnobRows()},
      {"Measuring range", ".desk.range", MeasuringRange::KnobRows()},
      {"Lamps", ".desk.<torch, flash>", Lamp::KnobRows()},
      {"The camera's display", ".desk.image", ImageService::KnobRows()},
      {"Laser pointer", ".desk.laser", Laser::KnobRows()},
      {"Detector cooler", ".desk.cooler", Cooler::KnobRows()},
      {"Screen", ".desk.screen", WindowSystem::KnobRows()},
      {"Automatic operator", ".desk.operator", Operator::KnobRows()},
      {"Camera-wide nodes and files", ".desk", AccessFaults::KnobRows()},
      {"Camera-wide nodes, counted", ".desk.nodes", AccessFaults::CounterKnobRows()},
      {"Registry", ".desk.registry", Camera::RegistryKnobRows()},
      {"Time", ".desk.clock", Camera::ClockKnobRows()},
      {"The task's queue and events", ".desk.task", Camera::TaskKnobRows()},
      {"Keys and touches", ".desk", Camera::InputKnobRows()},
      {"The whole camera", ".desk", Camera::CameraKnobRows()},
  };
}

std::string KnobTableMarkdown() {
  std::ostringstream text;
  for (const KnobFamily& family : AllKnobs()) {
    text << "### " << family.title << "\n\n"
         << "| Knob | Kind | Unit | Default | Range | Meaning |\n|---|---|---|---|---|---|\n";
    for (const KnobRow& row : family.rows) {
      text << "| `" << family.prefix << "." << row.name << "` | " << KindText(row.kind) << " | "
           << row.unit << " | ";
      if (HasDefault(row.kind) && row.initial.empty()) {
        text << "empty";
      } else if (HasDefault(row.kind)) {
        text << "`" << row.initial << "`";
      }
      text << " | " << RangeText(row) << " | " << row.meaning << " |\n";
    }
    text << "\n";
  }
  return text.str();
}

}  // namespace desk
