// Camera-wide nodes whose open, read or write by the program fails, and files that are lost.
#pragma once

#include <mutex>
#include <set>
#include <string>

#include "knobs/knob.h"
#include "tarq/node_access.h"

namespace desk {

class AccessFaults : public TARQ::AccessRules {
 public:
  AccessFaults();
  KnobSet& Knobs() { return mKnobs; }
  KnobSet& CounterKnobs() { return mCounterKnobs; }
  // Forgets which nodes were asked for. The knobs have a restore of their own.
  void Restore();

  bool MayOpen(const std::string& path) const override;
  bool MayRead(const std::string& path) const override;
  bool MayWrite(const std::string& path) const override;
  bool LosesFile(const std::string& name) const;

 private:
  // The paths that one knob names.
  class PathSet {
   public:
    explicit PathSet(Knob& knob);
    bool Has(const std::string& path) const;

   private:
    mutable std::mutex mLock;
    std::set<std::string> mPaths;  // without a leading dot
  };

  // The program's calls of one kind: some fail, all are told.
  class Calls {
   public:
    Calls(Knob& fails, Knob& told);
    void Note(const std::string& path);
    void Forget();

    FaultCounter counter;

   private:
    std::mutex mLock;
    std::set<std::string> mPaths;
  };

  bool ShouldFail(Calls& calls, const char* call, const std::string& path) const;

  KnobSet mKnobs;
  PathSet mHidden;
  PathSet mUnreadable;
  PathSet mRefused;
  KnobSet mCounterKnobs;
  mutable Calls mOpens;
  mutable Calls mReads;
  mutable Calls mWrites;
  mutable std::mutex mFailedLock;
  mutable std::string mFailed;
};

}  // namespace desk
