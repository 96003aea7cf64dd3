#include "host/access_faults.h"

#include <fnmatch.h>

#include <sstream>

namespace desk {

namespace {

enum Row : std::size_t { kHidden, kUnreadable, kRefused, kLost };

constexpr KnobRow kRows[] = {
    {"hidden", KnobKind::Text, "paths", "", 0, 0,
     "Camera-wide nodes, separated by blanks, that the program cannot open, neither by path nor as "
     "a child of an open node."},
    {"unreadable", KnobKind::Text, "paths", "", 0, 0,
     "Camera-wide nodes, separated by blanks, whose read by the program fails."},
    {"refused", KnobKind::Text, "paths", "", 0, 0,
     "Camera-wide nodes, separated by blanks, that refuse the program's writes."},
    {"lost", KnobKind::Text, "names", "", 0, 0,
     "Files of the storage, by name with * and ?, separated by blanks, that are neither found nor "
     "opened."},
};

}  // namespace

std::span<const KnobRow> AccessFaults::KnobRows() {
  return kRows;
}

AccessFaults::AccessFaults()
    : mKnobs(".desk", kRows),
      mHidden(mKnobs[kHidden]),
      mUnreadable(mKnobs[kUnreadable]),
      mRefused(mKnobs[kRefused]) {}

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
  return !mHidden.Has(path);
}

bool AccessFaults::MayRead(const std::string& path) const {
  return !mUnreadable.Has(path);
}

bool AccessFaults::MayWrite(const std::string& path) const {
  return !mRefused.Has(path);
}

bool AccessFaults::LosesFile(const std::string& name) const {
  std::istringstream patterns(mKnobs[kLost].Text());
  for (std::string pattern; patterns >> pattern;) {
    if (fnmatch(pattern.c_str(), name.c_str(), FNM_NOESCAPE | FNM_CASEFOLD) == 0) return true;
  }
  return false;
}

}  // namespace desk
