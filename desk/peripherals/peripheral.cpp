#include "peripherals/peripheral.h"

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

std::unique_ptr<Peripheral> MakePeripheral(const std::string& name, const Clock& clock) {
  if (name == "gps") return std::make_unique<Gps>(clock);
  if (name == "display") return std::make_unique<Display>();
  if (name == "focus") return std::make_unique<FocusMotor>(clock);
  if (name == "shutter" || name == "aperture") return std::make_unique<Flag>(name, clock);
  if (name == "filter") return std::make_unique<ImageFilter>();
  if (name == "range") return std::make_unique<MeasuringRange>();
  if (name == "frame") return std::make_unique<ImagePipeline>();
  if (name == "torch" || name == "flash") return std::make_unique<Lamp>(name);
  if (name == "image") return std::make_unique<ImageService>();
  if (name == "laser") return std::make_unique<Laser>();
  if (name == "cooler") return std::make_unique<Cooler>(clock);
  return nullptr;
}

}  // namespace desk
