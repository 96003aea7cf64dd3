// Knobs: what a tester can turn on the simulated camera while it runs. Each is a row of a table;
// docs/desk-camera.md is generated from the same rows.
#pragma once

#include <array>
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

// Something of the camera that is broken, as a value of its knob makes it.
struct Fault {
  // As a client writes it. "{key}": for each key of the camera's keypad, its name; "{node}": for
  // each camera-wide node that holds a value, its path; "{branch}": for each node above such ones.
  std::string_view value;
  std::string_view what;         // "the lens is stuck"; a name in braces as in the value
  std::string_view part = {};    // the replaceable unit; empty: the one that the device belongs to
  std::string_view from = {};    // of a gradual one: from where on it counts as a fault
  bool atStart = false;          // what it breaks is looked at only when the program starts
  std::string_view unseen = {};  // where no test reports it: why
};

// What a knob's values stand for in a camera's life: something broken, or a condition, which a
// healthy camera meets too. What only acts or is read stands for neither.
struct KnobRole {
  std::array<Fault, 4> faults = {};
  std::string_view condition = {};  // what it is a condition of; empty: it is none
  double least = 0;                 // where a healthy camera may be; least = most: as it starts
  double most = 0;

  // A healthy camera may be anywhere in that range.
  constexpr KnobRole Within(double low, double high) const {
    KnobRole role = *this;
    role.least = low;
    role.most = high;
    return role;
  }
  std::span<const Fault> Faults() const {
    std::size_t count = 0;
    while (count < faults.size() && !faults[count].what.empty()) ++count;
    return std::span(faults).first(count);
  }
};

constexpr KnobRole Breaks(const Fault& first, const Fault& second = {}, const Fault& third = {},
                          const Fault& fourth = {}) {
  return {.faults = {first, second, third, fourth}};
}
constexpr KnobRole Condition(std::string_view what) {
  return {.condition = what};
}

struct KnobRow {
  std::string_view name;
  KnobKind kind = KnobKind::Bool;
  std::string_view unit;  // empty: none
  std::string_view initial;
  double least = 0;  // of a number
  double most = 0;
  std::string_view meaning;
  KnobRole role = {};
};

// The knobs that every device of a kind has.
struct KnobFamily {
  std::string_view title;
  std::string_view prefix;  // "<bus>" and the like stand for a part that differs
  std::span<const KnobRow> rows;
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
  // Where a restore brings it.
  const KnobValue& Start() const { return mStart; }
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
  // part: the replaceable unit that the device belongs to.
  KnobSet(std::string prefix, const KnobFamily& family, std::string part = "main board");
  // Of a family whose prefix is always the same.
  explicit KnobSet(const KnobFamily& family, std::string part = "main board");
  KnobSet(const KnobSet&) = delete;
  KnobSet& operator=(const KnobSet&) = delete;

  const std::string& Prefix() const { return mPrefix; }
  const KnobFamily& Family() const { return *mFamily; }
  const std::string& Part() const { return mPart; }
  void BelongsTo(std::string part) { mPart = std::move(part); }
  // What a technician knows the device as, in its faults' texts: the prefix's last word, unless it
  // is called otherwise.
  const std::string& Device() const { return mDevice; }
  void CallDevice(std::string name) { mDevice = std::move(name); }
  // By the row's place in its table.
  Knob& operator[](std::size_t row) { return mKnobs[row]; }
  const Knob& operator[](std::size_t row) const { return mKnobs[row]; }
  std::deque<Knob>& All() { return mKnobs; }
  void Restore();

 private:
  std::string mPrefix;
  const KnobFamily* mFamily;
  std::string mPart;
  std::string mDevice;
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
