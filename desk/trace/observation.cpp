#include "trace/observation.h"

#include <algorithm>
#include <fstream>
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

void Observation::Step(std::string_view op,
                       std::vector<std::pair<std::string, TraceValue>> fields) {
  if (!IsTraced()) return;
  if (tCurrent->mSteps.size() >= kMostSteps) {
    ++tCurrent->mStepsLeftOut;
    return;
  }
  tCurrent->mSteps.push_back({tCurrent->Elapsed(), std::string(op), std::move(fields)});
}

Observation::OpenStep::OpenStep(std::string_view op,
                                std::vector<std::pair<std::string, TraceValue>> fields)
    : mIndex(std::numeric_limits<std::size_t>::max()) {
  if (!IsTraced()) return;
  if (tCurrent->mSteps.size() < kMostSteps) mIndex = tCurrent->mSteps.size();
  Step(op, std::move(fields));
}

void Observation::OpenStep::End(std::vector<std::pair<std::string, TraceValue>> fields) {
  if (!IsTraced() || mIndex >= tCurrent->mSteps.size()) return;
  auto& kept = tCurrent->mSteps[mIndex].fields;
  kept.insert(kept.end(), fields.begin(), fields.end());
  kept.emplace_back("ended",
                    std::chrono::duration<double, std::milli>(tCurrent->Elapsed()).count());
}

void Observation::WillAppend(const std::filesystem::path& file) {
  const bool known = std::any_of(mFiles.begin(), mFiles.end(),
                                 [&](const GrowingFile& each) { return each.path == file; });
  if (known) return;
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(file, error);
  mFiles.push_back({file, error ? 0 : size});
}

std::vector<std::string> Observation::Records() const {
  std::vector<std::string> records = mRecords;
  for (const GrowingFile& file : mFiles) {
    std::error_code error;
    // Shorter than it was: restarted meanwhile, so that all of it came since.
    const bool restarted = std::filesystem::file_size(file.path, error) < file.size;
    std::ifstream stream(file.path, std::ios::binary);
    stream.seekg(restarted ? 0 : static_cast<std::streamoff>(file.size));
    for (std::string line; std::getline(stream, line);) records.push_back(std::move(line));
  }
  return records;
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
