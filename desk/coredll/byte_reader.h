// Reads little-endian words and texts of a block of bytes, never beyond its end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace desk {

class ByteReader {
 public:
  explicit ByteReader(std::span<const std::uint8_t> bytes) : mBytes(bytes) {}

  // False as soon as anything was asked for that is not there; zeros and empty texts come then.
  bool Ok() const { return mOk; }
  std::size_t Position() const { return mPosition; }

  std::uint8_t Byte() {
    if (mPosition >= mBytes.size()) {
      mOk = false;
      return 0;
    }
    return mBytes[mPosition++];
  }
  std::uint16_t Word() {
    const std::uint16_t low = Byte();
    return static_cast<std::uint16_t>(low | Byte() << 8);
  }
  std::uint32_t Dword() {
    const std::uint32_t low = Word();
    return low | static_cast<std::uint32_t>(Word()) << 16;
  }
  std::int16_t Short() { return static_cast<std::int16_t>(Word()); }
  // Up to its terminator.
  std::wstring Text() {
    std::wstring text;
    for (std::uint16_t unit = Word(); unit != 0 && mOk; unit = Word()) {
      text += static_cast<wchar_t>(unit);
    }
    return text;
  }
  void Skip(std::size_t count) {
    if (count > mBytes.size() - mPosition) {
      mOk = false;
      mPosition = mBytes.size();
    } else {
      mPosition += count;
    }
  }
  // To the next multiple of that many bytes; the end of the block will do.
  void Align(std::size_t bytes) {
    mPosition = std::min((mPosition + bytes - 1) / bytes * bytes, mBytes.size());
  }

 private:
  std::span<const std::uint8_t> mBytes;
  std::size_t mPosition = 0;
  bool mOk = true;
};

}  // namespace desk
