#include "station/store/uuid.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <random>

namespace station {

namespace {

constexpr std::uint64_t kCounterBits = 12;

std::uint64_t Random64(std::random_device& source) {
  return std::uint64_t{source()} << 32U | source();
}

}  // namespace

std::string NewRunId(Time now) {
  static std::mutex lock;
  static std::random_device source;
  // The milliseconds with a counter below them, which a full millisecond carries into the next.
  static std::uint64_t last = 0;

  const std::lock_guard guard(lock);
  // A fresh millisecond begins somewhere in the counter's lower half: room for 2048 and more.
  const std::uint64_t start = Random64(source) >> (64 - (kCounterBits - 1));
  last = std::max(last + 1, static_cast<std::uint64_t>(now) << kCounterBits | start);
  const std::uint64_t milliseconds = last >> kCounterBits;
  const std::uint64_t random = Random64(source);
  char text[64] = {};
  std::snprintf(text, sizeof text, "%08llx-%04llx-7%03llx-%04llx-%012llx",
                static_cast<unsigned long long>(milliseconds >> 16U & 0xFFFFFFFFU),
                static_cast<unsigned long long>(milliseconds & 0xFFFFU),
                static_cast<unsigned long long>(last & ((1U << kCounterBits) - 1)),
                static_cast<unsigned long long>(0x8000U | (random >> 48U & 0x3FFFU)),
                static_cast<unsigned long long>(random & 0xFFFFFFFFFFFFU));
  return text;
}

}  // namespace station
