#include "trace/observation.h"

#include <algorithm>
#include <limits>

namespace desk {

namespace {

thread_local Observation* tCurrent = nullptr;

constexpr char kDigits[] = "0123456789abcdef";

}  // namespace

Observation::Observation(const Clock& clock, bool traced)
    : mClock(clock), mStart(clock.Now()), mTraced(traced) {}

Observation* Observation::Current() {
  return tCurrent;
}

bool Observation::IsTraced() {
  return tCurrent != nullptr && tCurrent->mTraced;
}

void Observation::Step(std::string_view op, TraceFields fields) {
  if (!IsTraced()) return;
  if (tCurrent->mSteps.size() >= kMostSteps) {
    ++tCurrent->mStepsLeftOut;
    return;
  }
  tCurrent->mSteps.push_back({tCurrent->Elapsed(), std::string(op), std::move(fields)});
}

Observation::OpenStep::OpenStep(std::string_view op, TraceFields fields)
    : mIndex(std::numeric_limits<std::size_t>::max()) {
  if (!IsTraced()) return;
  if (tCurrent->mSteps.size() < kMostSteps) mIndex = tCurrent->mSteps.size();
  Step(op, std::move(fields));
}

void Observation::OpenStep::End(TraceFields fields) {
  if (!IsTraced() || mIndex >= tCurrent->mSteps.size()) return;
  auto& kept = tCurrent->mSteps[mIndex].fields;
  kept.insert(kept.end(), fields.begin(), fields.end());
  kept.emplace_back("ended", ToMilliseconds(tCurrent->Elapsed()));
}

void Observation::AddRecord(std::string record) {
  if (mRecords.size() < kMostRecords) {
    mRecords.push_back(std::move(record));
  } else {
    ++mRecordsLeftOut;
  }
}

Observation::Scope::Scope(Observation& observation) {
  tCurrent = &observation;
}

Observation::Scope::~Scope() {
  tCurrent = nullptr;
}

std::string HexText(const void* bytes, std::size_t count) {
  const auto* const data = static_cast<const unsigned char*>(bytes);
  std::string text;
  text.reserve(2 * count);
  for (std::size_t i = 0; i < count; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 0xF];
  }
  return text;
}

std::string HexNumber(std::uint32_t number) {
  char digits[11] = "0x";
  for (std::size_t i = 0; i < 8; ++i) digits[2 + i] = kDigits[number >> (28 - 4 * i) & 0xF];
  std::string text = digits;
  std::transform(text.begin() + 2, text.end(), text.begin() + 2,
                 [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

}  // namespace desk
