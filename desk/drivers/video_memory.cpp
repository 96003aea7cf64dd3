#include "drivers/video_memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace desk {

namespace {

constexpr std::uint64_t kSize = 1ULL << 32;

enum Row : std::size_t { kCell, kFirst, kLast, kBlocks };

constexpr char kNotTested[] = "no test of this camera looks at that part of the video memory";
constexpr char kByChance[] =
    "no test of this camera looks at that part of the video memory; or the random words that it "
    "wrote there had the stuck value by chance";

constexpr KnobRow kRows[] = {
    {"cell", KnobKind::Text, "cell", "", 0, 0,
     "A bad cell, \"address word bit fault\": the bit (0 to 31) of the 32-bit word (0 based) "
     "behind the byte address; fault: stuck0, stuck1 or flips. As \"0x440000 5 3 flips\". Empty: "
     "none.",
     Breaks({"0x440000 5 3 flips", "a bit of the video memory changes by itself", "main board", "",
             false, kNotTested},
            {"0x440000 5 3 stuck0", "a bit of the video memory is stuck at 0", "main board", "",
             false, kByChance},
            {"0x440000 5 3 stuck1", "a bit of the video memory is stuck at 1", "main board", "",
             false, kByChance})},
    {"first", KnobKind::ReadOnly, "", "", 0, 0, "The lowest address of a write since the start."},
    {"last", KnobKind::ReadOnly, "", "", 0, 0, "The highest address of a write since the start."},
    {"blocks", KnobKind::ReadOnly, "", "", 0, 0, "Writes since the start."},
};
constexpr KnobFamily kFamily = {"Video memory", ".desk.video", kRows};

}  // namespace

VideoMemory::VideoMemory() : mKnobs(kFamily) {
  mKnobs[kCell].OnWrite(
      [this](const KnobValue& value) { return SetBadCell(std::get<std::string>(value)); });
  mKnobs[kFirst].OnRead([this] { return Counted(mFirst, true); });
  mKnobs[kLast].OnRead([this] { return Counted(mLast, true); });
  mKnobs[kBlocks].OnRead([this] { return Counted(mBlocks, false); });
}

VideoMemory::~VideoMemory() {
  Unmap();
}

void VideoMemory::Restore() {
  const std::lock_guard lock(mLock);
  Unmap();
  mFirst = mLast = mBlocks = 0;
}

bool VideoMemory::Map() {
  if (mCells != nullptr) return true;
  void* const cells = mmap(nullptr, kSize, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (cells == MAP_FAILED) return false;
  mCells = static_cast<std::uint8_t*>(cells);
  return true;
}

void VideoMemory::Unmap() {
  if (mCells != nullptr) munmap(mCells, kSize);
  mCells = nullptr;
}

// number: one of the members that the lock guards.
KnobValue VideoMemory::Counted(const std::uint64_t& number, bool hexadecimal) const {
  const std::lock_guard lock(mLock);
  std::ostringstream text;
  if (hexadecimal) text << "0x" << std::hex << std::uppercase;
  text << number;
  return text.str();
}

bool VideoMemory::SetBadCell(const std::string& text) {
  BadCell cell;
  if (!text.empty()) {
    std::istringstream words(text);
    std::string address;
    std::string fault;
    std::uint32_t word = 0;
    unsigned bit = 0;
    words >> address >> word >> bit >> fault;
    char* end = nullptr;
    const unsigned long long start = std::strtoull(address.c_str(), &end, 0);
    const bool reads = words && words.eof() && *end == '\0' && start < kSize && bit < 32;
    if (fault == "stuck0") cell.fault = BadCell::Fault::StuckAt0;
    if (fault == "stuck1") cell.fault = BadCell::Fault::StuckAt1;
    if (fault == "flips") cell.fault = BadCell::Fault::Flips;
    if (!reads || cell.fault == BadCell::Fault::None) return false;
    cell.address = start + 4ULL * word + bit / 8;
    if (cell.address >= kSize) return false;
    cell.mask = static_cast<std::uint8_t>(1U << bit % 8);
  }
  const std::lock_guard lock(mLock);
  mBadCell = cell;
  return true;
}

bool VideoMemory::Write(std::uint32_t address, std::span<const std::uint8_t> bytes) {
  if (address + static_cast<std::uint64_t>(bytes.size()) > kSize) return false;
  const std::lock_guard lock(mLock);
  if (!Map()) return false;
  mFirst = mBlocks == 0 ? address : std::min<std::uint64_t>(mFirst, address);
  mLast = std::max<std::uint64_t>(mLast, address);
  ++mBlocks;
  std::copy(bytes.begin(), bytes.end(), mCells + address);
  return true;
}

bool VideoMemory::Read(std::uint32_t address, std::span<std::uint8_t> bytes) {
  if (address + static_cast<std::uint64_t>(bytes.size()) > kSize) return false;
  const std::lock_guard lock(mLock);
  if (!Map()) return false;
  std::copy_n(mCells + address, bytes.size(), bytes.begin());
  ApplyBadCell(address, bytes);
  return true;
}

void VideoMemory::ApplyBadCell(std::uint32_t address, std::span<std::uint8_t> bytes) const {
  if (mBadCell.fault == BadCell::Fault::None || mBadCell.address < address ||
      mBadCell.address - address >= bytes.size()) {
    return;
  }
  std::uint8_t& byte = bytes[mBadCell.address - address];
  if (mBadCell.fault == BadCell::Fault::StuckAt0) {
    byte = static_cast<std::uint8_t>(byte & ~mBadCell.mask);
  } else if (mBadCell.fault == BadCell::Fault::StuckAt1) {
    byte |= mBadCell.mask;
  } else {
    byte ^= mBadCell.mask;
  }
}

}  // namespace desk
