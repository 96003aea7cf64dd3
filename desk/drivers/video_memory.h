// The video memory: 4 GB of byte addresses, mapped at the first access; only what was written takes
// room.
#pragma once

#include <cstdint>
#include <mutex>
#include <span>
#include <string>

#include "knobs/knob.h"

namespace desk {

class VideoMemory {
 public:
  VideoMemory();
  ~VideoMemory();
  VideoMemory(const VideoMemory&) = delete;
  VideoMemory& operator=(const VideoMemory&) = delete;

  KnobSet& Knobs() { return mKnobs; }
  void Restore();

  // False: beyond the last address, or this machine has no room.
  bool Write(std::uint32_t address, std::span<const std::uint8_t> bytes);
  bool Read(std::uint32_t address, std::span<std::uint8_t> bytes);

 private:
  // One bit that does not keep what is written to it.
  struct BadCell {
    enum class Fault { None, StuckAt0, StuckAt1, Flips };
    Fault fault = Fault::None;
    std::uint64_t address = 0;  // of the byte
    std::uint8_t mask = 0;
  };

  bool Map();
  void Unmap();
  void ApplyBadCell(std::uint32_t address, std::span<std::uint8_t> bytes) const;
  bool SetBadCell(const std::string& text);
  KnobValue Counted(const std::uint64_t& number, bool hexadecimal) const;

  KnobSet mKnobs;
  mutable std::mutex mLock;
  std::uint8_t* mCells = nullptr;  // null until the first access
  BadCell mBadCell;
  std::uint64_t mFirst = 0;
  std::uint64_t mLast = 0;
  std::uint64_t mBlocks = 0;
};

}  // namespace desk
