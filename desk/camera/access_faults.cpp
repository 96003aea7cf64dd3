#include "camera/access_faults.h"

#include <fnmatch.h>

#include <sstream>

namespace desk {

namespace {

enum Row : std::size_t { kHidden, kUnreadable, kRefused, kLost };

// A study of faults says more: whether the program asks for the node at all.
constexpr char kNoVerdict[] = "no verdict of this camera's tests depends on it";

constexpr KnobRow kRows[] = {
    {"hidden", KnobKind::Text, "paths", "", 0, 0,
     "Camera-wide nodes, separated by blanks, that the program cannot open, neither by path nor as "
     "a child of an open node.",
     Breaks({"{node}", "the camera's software has no {node}", "camera software", "", false,
             kNoVerdict},
            {"{branch}", "the camera's software has no {branch}", "camera software", "", false,
             kNoVerdict})},
    {"unreadable", KnobKind::Text, "paths", "", 0, 0,
     "Camera-wide nodes, separated by blanks, whose read by the program fails.",
     Breaks({"{node}", "{node} cannot be read", "camera software", "", false, kNoVerdict})},
    {"refused", KnobKind::Text, "paths", "", 0, 0,
     "Camera-wide nodes, separated by blanks, that refuse the program's writes.",
     Breaks({"{node}", "{node} cannot be written", "camera software", "", false, kNoVerdict})},
    {"lost", KnobKind::Text, "names", "", 0, 0,
     "Files of the storage, by name with * and ?, separated by blanks, that are neither found nor "
     "opened.",
     Breaks({"*.bmp *.jpg", "the test images are missing", "storage", "", false,
             "no test of this camera shows test images to somebody who judges them"},
            {"coolerTest.txt", "the cooler's samples cannot be written", "storage", "", false,
             "this camera has no cooler"})},
};
constexpr KnobFamily kFamily = {"Camera-wide nodes and files", ".desk", kRows};

enum CounterRow : std::size_t {
  kOpenFail,
  kReadFail,
  kWriteFail,
  kFailed,
  kOpened,
  kRead,
  kWritten
};

constexpr KnobRow kCounterRows[] = {
    {"open_fail", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good openings of any node by the program the next count fail; counted from this "
     "write on. Read: what is left.",
     Breaks(
         {"0,1000000", "the camera's software gives nothing to the program", "camera software"})},
    {"read_fail", KnobKind::Text, "skip,count", "0,0", 0, 0, "Likewise its reads.",
     Breaks({"0,1000000", "nothing of the camera's software can be read", "camera software"})},
    {"write_fail", KnobKind::Text, "skip,count", "0,0", 0, 0, "Likewise its writes.",
     Breaks({"0,1000000", "nothing of the camera's software can be written", "camera software", "",
             false, "no test of this camera needs to write for its verdict"})},
    {"failed", KnobKind::ReadOnly, "", "", 0, 0,
     "The call that one of the three failed last: open, read or write, and the node."},
    {"opened", KnobKind::ReadOnly, "", "", 0, 0,
     "The nodes that the program opened, or tried to, since the start or the last restore."},
    {"read", KnobKind::ReadOnly, "", "", 0, 0, "Likewise those that it read."},
    {"written", KnobKind::ReadOnly, "", "", 0, 0, "Likewise those that it wrote."},
};
constexpr KnobFamily kCounters = {"Camera-wide nodes, counted", ".desk.nodes", kCounterRows};

}  // namespace

AccessFaults::AccessFaults()
    : mKnobs(kFamily),
      mHidden(mKnobs[kHidden]),
      mUnreadable(mKnobs[kUnreadable]),
      mRefused(mKnobs[kRefused]),
      mCounterKnobs(kCounters),
      mOpens(mCounterKnobs[kOpenFail], mCounterKnobs[kOpened]),
      mReads(mCounterKnobs[kReadFail], mCounterKnobs[kRead]),
      mWrites(mCounterKnobs[kWriteFail], mCounterKnobs[kWritten]) {
  mCounterKnobs[kFailed].OnRead([this] {
    const std::lock_guard lock(mFailedLock);
    return KnobValue(mFailed);
  });
}

void AccessFaults::Restore() {
  for (Calls* const calls : {&mOpens, &mReads, &mWrites}) calls->Forget();
}

AccessFaults::Calls::Calls(Knob& fails, Knob& told) : counter(fails) {
  told.OnRead([this] {
    const std::lock_guard lock(mLock);
    std::string text;
    for (const std::string& path : mPaths) text.append(text.empty() ? "" : " ").append(path);
    return KnobValue(text);
  });
}

void AccessFaults::Calls::Note(const std::string& path) {
  const std::lock_guard lock(mLock);
  mPaths.insert(path);
}

void AccessFaults::Calls::Forget() {
  const std::lock_guard lock(mLock);
  mPaths.clear();
}

bool AccessFaults::ShouldFail(Calls& calls, const char* call, const std::string& path) const {
  if (!calls.counter.ShouldFail()) return false;
  const std::lock_guard lock(mFailedLock);
  mFailed = call;
  mFailed.append(" ").append(path);
  return true;
}

AccessFaults::PathSet::PathSet(Knob& knob) {
  knob.OnWrite([this](const KnobValue& value) {
    std::istringstream words(std::get<std::string>(value));
    std::set<std::string> paths;
    for (std::string path; words >> path;) {
      paths.insert(path.front() == '.' ? path.substr(1) : path);
    }
    const std::lock_guard lock(mLock);
    mPaths = std::move(paths);
    return true;
  });
}

bool AccessFaults::PathSet::Has(const std::string& path) const {
  const std::lock_guard lock(mLock);
  return mPaths.contains(path);
}

bool AccessFaults::MayOpen(const std::string& path) const {
  mOpens.Note(path);
  return !mHidden.Has(path) && !ShouldFail(mOpens, "open", path);
}

bool AccessFaults::MayRead(const std::string& path) const {
  mReads.Note(path);
  return !mUnreadable.Has(path) && !ShouldFail(mReads, "read", path);
}

bool AccessFaults::MayWrite(const std::string& path) const {
  mWrites.Note(path);
  return !mRefused.Has(path) && !ShouldFail(mWrites, "write", path);
}

bool AccessFaults::LosesFile(const std::string& name) const {
  const std::string lost = mKnobs[kLost].Text();
  if (lost.empty()) return false;
  std::istringstream patterns(lost);
  for (std::string pattern; patterns >> pattern;) {
    if (fnmatch(pattern.c_str(), name.c_str(), FNM_NOESCAPE | FNM_CASEFOLD) == 0) return true;
  }
  return false;
}

}  // namespace desk
