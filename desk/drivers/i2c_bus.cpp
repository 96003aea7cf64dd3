#include "drivers/i2c_bus.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <stdexcept>

#include "trace/observation.h"

namespace desk {

namespace {

constexpr DWORD kIoctlTransfer = 0x80004004;

// The request record, as the driver knows it.
struct TransferRecord {
  WORD address;  // 7 bits
  WORD readLength;
  WORD writeLength;
  WORD reserved;
  BYTE* readBuffer;
  const BYTE* writeBuffer;
};
static_assert(sizeof(TransferRecord) == 8 + 2 * sizeof(void*));

enum Row : std::size_t { kAnswers, kFail, kData };

constexpr KnobRow kSlotRows[] = {
    {"answers", KnobKind::Bool, "", "true", 0, 0, "False: the chip does not acknowledge.",
     Breaks({"false", "the chip does not answer", "", "", false, kOtherSensor})},
    {"fail", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good transfers the next count fail; then the chip answers again.",
     Breaks({"0,1", "the chip does not answer once", "", "one transfer", false,
             "the sensor is asked again, or a second one makes up for it"})},
    {"data", KnobKind::Text, "hex", "", 0, 0,
     "Bytes that reads yield in place of the chip's own, followed by zeros where a read asks for "
     "more; blanks allowed; empty: the chip's own.",
     Breaks({"ffffffffffffffff", "the chip reads ones only", "", "", false,
             "memories and batteries are asked whether they answer, not what they hold; what these "
             "bytes say of a temperature depends on the chip"})},
};
constexpr KnobFamily kFamily = {"An address of an I2C bus", ".desk.bus.<i2c1, i2c2>.<address>",
                                kSlotRows};

std::optional<std::vector<std::uint8_t>> ParseBytes(const std::string& text) {
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
               [](unsigned char c) { return std::isspace(c) == 0; });
  const bool allHex = std::all_of(digits.begin(), digits.end(),
                                  [](unsigned char c) { return std::isxdigit(c) != 0; });
  if (!allHex || digits.size() % 2 != 0) return std::nullopt;
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

}  // namespace

I2cBus::Slot::Slot(const std::string& prefix, std::unique_ptr<Chip> attached,
                   const std::string& part)
    : knobs(prefix, kFamily, part), faults(knobs[kFail]), chip(std::move(attached)) {
  if (chip->Knobs() != nullptr) chip->Knobs()->BelongsTo(part);
  knobs[kData].OnWrite(
      [](const KnobValue& value) { return ParseBytes(std::get<std::string>(value)).has_value(); });
}

std::string I2cBus::SlotPrefix(std::uint8_t address) {
  const std::string bus = Knobs().Prefix().substr(std::string(".desk.driver.").size());
  return ".desk.bus." + bus + "." + HexText(&address, 1);
}

bool I2cBus::Attach(std::uint8_t address, std::unique_ptr<Chip> chip, const std::string& part) {
  return mSlots.emplace(address, std::make_unique<Slot>(SlotPrefix(address), std::move(chip), part))
      .second;
}

std::vector<KnobSet*> I2cBus::ChipKnobs() {
  std::vector<KnobSet*> sets;
  for (auto& [address, slot] : mSlots) {
    sets.push_back(&slot->knobs);
    if (slot->chip->Knobs() != nullptr) sets.push_back(slot->chip->Knobs());
  }
  return sets;
}

void I2cBus::RestoreChips() {
  for (auto& [address, slot] : mSlots) slot->chip->Restore();
}

void I2cBus::Trace(const IoRequest& request, bool ok) const {
  if (request.code != kIoctlTransfer || request.inputSize != sizeof(TransferRecord)) {
    Device::Trace(request, ok);
    return;
  }
  if (!Observation::IsTraced()) return;
  const auto& record = *static_cast<const TransferRecord*>(request.input);
  const auto address = static_cast<std::uint8_t>(record.address << 1);
  Observation::Step("i2c",
                    {{"device", Name()},
                     {"address", HexText(&address, 1)},
                     {"written", HexText(record.writeBuffer, record.writeLength)},
                     {"read", ok ? HexText(record.readBuffer, record.readLength) : std::string()},
                     {"ok", ok}});
}

DWORD I2cBus::Serve(const IoRequest& request) {
  if (request.code != kIoctlTransfer || request.inputSize != sizeof(TransferRecord)) {
    return ERROR_INVALID_PARAMETER;
  }
  const auto& record = *static_cast<const TransferRecord*>(request.input);
  const std::lock_guard lock(mLock);
  const auto found = mSlots.find(static_cast<std::uint8_t>(record.address << 1));
  // Nobody at that address acknowledges.
  if (record.address > 0x7F || found == mSlots.end()) return ERROR_IO_DEVICE;
  Slot& slot = *found->second;
  if (!slot.knobs[kAnswers].Bool() || slot.faults.ShouldFail()) return ERROR_IO_DEVICE;

  const std::span<std::uint8_t> read(record.readBuffer, record.readLength);
  if (!slot.chip->Transfer({record.writeBuffer, record.writeLength}, read)) return ERROR_IO_DEVICE;
  const std::vector<std::uint8_t> forced = *ParseBytes(slot.knobs[kData].Text());
  if (!forced.empty()) {
    for (std::size_t i = 0; i < read.size(); ++i) read[i] = i < forced.size() ? forced[i] : 0;
  }
  return 0;
}

}  // namespace desk
