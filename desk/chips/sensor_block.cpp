#include "chips/sensor_block.h"

namespace desk {

namespace {

constexpr std::size_t kTemperatures = 3;

constexpr KnobRow kRows[] = {
    {"temperature0", KnobKind::Number, "0.0001 K", "2981500", 0, 4294967295, "The first word.",
     Breaks({"3430000", "the sensor reads far too hot", "", "343 K and hotter, 243 K and colder"},
            {"2000000", "the sensor reads far too cold"})
         .Within(2730000, 3130000)},
    {"temperature1", KnobKind::Number, "0.0001 K", "2984000", 0, 4294967295, "The second word.",
     Breaks({"3430000", "the sensor reads far too hot", "", "343 K and hotter, 243 K and colder"},
            {"2000000", "the sensor reads far too cold"})
         .Within(2730000, 3130000)},
    {"temperature2", KnobKind::Number, "0.0001 K", "2979000", 0, 4294967295, "The third word.",
     Breaks({"3430000", "the sensor reads far too hot", "", "343 K and hotter, 243 K and colder"},
            {"2000000", "the sensor reads far too cold"})
         .Within(2730000, 3130000)},
};
constexpr KnobFamily kFamily = {"Sensor block", ".desk.bus.<bus>.<address>", kRows};

}  // namespace

SensorBlock::SensorBlock(const std::string& prefix) : mKnobs(prefix, kFamily) {}

std::uint8_t SensorBlock::ByteAt(std::size_t address) const {
  if (address == 0 || address > 4 * kTemperatures) return 0;
  const std::size_t word = (address - 1) / 4;
  const std::size_t byte = (address - 1) % 4;
  const auto temperature = static_cast<std::uint32_t>(mKnobs[word].Number());
  return static_cast<std::uint8_t>(temperature >> (24 - 8 * byte));
}

bool SensorBlock::Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) {
  if (!written.empty()) mAddress = written[0];
  for (std::uint8_t& byte : read) byte = ByteAt(mAddress++);
  return true;
}

}  // namespace desk
