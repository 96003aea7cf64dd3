// The video memory: 4 GB of byte addresses, of which only what was written takes room here.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "knobs/knob.h"

namespace desk {

class VideoMemory {
 public:
  VideoMemory();
  KnobSet& Knobs() { return mKnobs; }
  void Restore();

  // False: beyond the last address.
  bool Write(std::uint32_t address, std::span<const std::uint8_t> bytes);
  bool Read(std::uint32_t address, std::span<std::uint8_t> bytes);

  static std::span<const KnobRow> KnobRows();

 private:
  static constexpr std::size_t kPageSize = 64UL * 1024;
  using Page = std::array<std::uint8_t, kPageSize>;

  // One bit that does not keep what is written to it.
  struct BadCell {
    enum class Fault { None, StuckAt0, StuckAt1, Flips };
    Fault fault = Fault::None;
    std::uint64_t address = 0;  // of the byte
    std::uint8_t mask = 0;
  };

  bool SetBadCell(const std::string& text);
  KnobValue Counted(std::uint64_t number, bool hexadecimal) const;

  KnobSet mKnobs;
  mutable std::mutex mLock;
  std::vector<std::unique_ptr<Page>> mPages;  // by address; empty until the first write
  BadCell mBadCell;
  std::uint64_t mFirst = 0;
  std::uint64_t mLast = 0;
  std::uint64_t mBlocks = 0;
};

}  // namespace desk
