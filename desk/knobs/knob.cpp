#include "knobs/knob.h"

#include <charconv>
#include <cmath>

namespace desk {

namespace {

KnobValue InitialValue(const KnobRow& row) {
  switch (row.kind) {
    case KnobKind::Bool:
    case KnobKind::Trigger:
      return row.initial == "true";
    case KnobKind::Integer:
    case KnobKind::Number:
      return std::stod(std::string(row.initial));
    case KnobKind::Text:
    case KnobKind::Command:
    case KnobKind::ReadOnly:
      break;
  }
  return std::string(row.initial);
}

bool Fits(const KnobRow& row, const KnobValue& value) {
  switch (row.kind) {
    case KnobKind::Bool:
    case KnobKind::Trigger:
      return std::holds_alternative<bool>(value);
    case KnobKind::Integer:
    case KnobKind::Number: {
      const double* const number = std::get_if<double>(&value);
      return number != nullptr && *number >= row.least && *number <= row.most &&
             (row.kind == KnobKind::Number || std::trunc(*number) == *number);
    }
    case KnobKind::Text:
    case KnobKind::Command:
      return std::holds_alternative<std::string>(value);
    case KnobKind::ReadOnly:
      break;
  }
  return false;
}

}  // namespace

Knob::Knob(const KnobRow& row) : mRow(row), mStart(InitialValue(row)), mValue(mStart) {}

KnobValue Knob::Read() const {
  if (mOnRead) return mOnRead();
  const std::lock_guard lock(mLock);
  return mValue;
}

bool Knob::Write(const KnobValue& value) {
  if (!Fits(mRow, value)) return false;
  if (mRow.kind == KnobKind::Trigger) return !std::get<bool>(value) || !mOnWrite || mOnWrite(value);
  // Of two writes the device and the knob keep the same one. What acts may take its time.
  std::unique_lock<std::mutex> turn;
  if (mRow.kind != KnobKind::Command) turn = std::unique_lock(mWriteLock);
  if (mOnWrite && !mOnWrite(value)) return false;
  const std::lock_guard lock(mLock);
  mValue = value;
  return true;
}

void Knob::Restore() {
  switch (mRow.kind) {
    case KnobKind::Trigger:
    case KnobKind::Command:
    case KnobKind::ReadOnly:
      break;
    default:
      Write(mStart);
  }
}

bool Knob::StartFrom(const KnobValue& value) {
  const bool isSetting = mRow.kind == KnobKind::Bool || mRow.kind == KnobKind::Integer ||
                         mRow.kind == KnobKind::Number || mRow.kind == KnobKind::Text;
  if (!isSetting || !Write(value)) return false;
  mStart = value;
  return true;
}

KnobSet::KnobSet(std::string prefix, const KnobFamily& family, std::string part)
    : mPrefix(std::move(prefix)),
      mFamily(&family),
      mPart(std::move(part)),
      mDevice(mPrefix.substr(mPrefix.rfind('.') + 1)) {
  for (const KnobRow& row : family.rows) mKnobs.emplace_back(row);
}

KnobSet::KnobSet(const KnobFamily& family, std::string part)
    : KnobSet(std::string(family.prefix), family, std::move(part)) {}

void KnobSet::Restore() {
  for (Knob& knob : mKnobs) knob.Restore();
}

FaultCounter::FaultCounter(Knob& knob) {
  knob.OnWrite([this](const KnobValue& value) { return Set(std::get<std::string>(value)); });
  knob.OnRead([this] {
    const std::lock_guard lock(mLock);
    std::string left = std::to_string(mSkip);
    return KnobValue(left.append(",").append(std::to_string(mCount)));
  });
}

bool FaultCounter::Set(const std::string& text) {
  unsigned long skip = 0;
  unsigned long count = 0;
  const char* const end = text.data() + text.size();
  const auto first = std::from_chars(text.data(), end, skip);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != ',') return false;
  const auto second = std::from_chars(first.ptr + 1, end, count);
  if (second.ec != std::errc() || second.ptr != end) return false;
  const std::lock_guard lock(mLock);
  mSkip = skip;
  mCount = count;
  return true;
}

bool FaultCounter::ShouldFail() {
  const std::lock_guard lock(mLock);
  if (mSkip > 0) {
    --mSkip;
    return false;
  }
  if (mCount == 0) return false;
  --mCount;
  return true;
}

}  // namespace desk
