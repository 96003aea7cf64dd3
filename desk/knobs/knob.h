// Knobs: what a tester can turn on the simulated camera while it runs. Each is a row of a table;
// docs/desk-camera.md is generated from the same rows.
#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace desk {

enum class KnobKind {
  Bool,
  Integer,
  Number,
  Text,
  Trigger,   // written true, it acts; it reads false
  Command,   // a text that acts when it is written; restoring leaves it alone
  ReadOnly,  // a text that the camera gives
};

struct KnobRow {
  std::string_view name;
  KnobKind kind = KnobKind::Bool;
  std::string_view unit;  // empty: none
  std::string_view initial;
  double least = 0;  // of a number
  double most = 0;
  std::string_view meaning;
};

using KnobValue = std::variant<bool, double, std::string>;

class Knob {
 public:
  explicit Knob(const KnobRow& row);

  const KnobRow& Row() const { return mRow; }

  bool Bool() const { return std::get<bool>(Read()); }
  double Number() const { return std::get<double>(Read()); }
  std::string Text() const { return std::get<std::string>(Read()); }

  KnobValue Read() const;
  // False, and nothing changed, when the value does not fit the row or the device refuses it.
  bool Write(const KnobValue& value);
  // The value from which this camera starts, in place of the row's. False when it does not fit.
  bool StartFrom(const KnobValue& value);
  // Back to the start; the device is told as of a write. Triggers and commands stay alone.
  void Restore();

  // The device computes the value in place of the one written last.
  void OnRead(std::function<KnobValue()> read) { mOnRead = std::move(read); }
  // Called before the value is stored, one write of a setting at a time; false refuses it. It must
  // not write the knob.
  void OnWrite(std::function<bool(const KnobValue&)> write) { mOnWrite = std::move(write); }

 private:
  const KnobRow& mRow;
  std::function<KnobValue()> mOnRead;
  std::function<bool(const KnobValue&)> mOnWrite;
  KnobValue mStart;
  std::mutex mWriteLock;
  mutable std::mutex mLock;
  KnobValue mValue;
};

// The knobs of one device, published below a prefix (".desk.rtc").
class KnobSet {
 public:
  KnobSet(std::string prefix, std::span<const KnobRow> rows);
  KnobSet(const KnobSet&) = delete;
  KnobSet& operator=(const KnobSet&) = delete;

  const std::string& Prefix() const { return mPrefix; }
  // By the row's place in its table.
  Knob& operator[](std::size_t row) { return mKnobs[row]; }
  const Knob& operator[](std::size_t row) const { return mKnobs[row]; }
  std::deque<Knob>& All() { return mKnobs; }
  void Restore();

 private:
  std::string mPrefix;
  std::deque<Knob> mKnobs;
};

// "skip,count": after skip good requests the next count fail. Counted anew from each write; read,
// it says what is left.
class FaultCounter {
 public:
  // Makes the knob, a text, the counter's setting.
  explicit FaultCounter(Knob& knob);
  // Counts a request; true when it is to fail.
  bool ShouldFail();

 private:
  bool Set(const std::string& text);

  std::mutex mLock;
  unsigned long mSkip = 0;
  unsigned long mCount = 0;
};

}  // namespace desk
