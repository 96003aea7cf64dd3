#include "items/res_bit_item.h"

#include <cstdio>
#include <cstring>

#include "items/resource_access.h"
#include "items/text.h"

namespace {

// A result and its record are one: a client's reset between the two would leave a record without
// its verdict.
TurnLock& ResultTurns() {
  static TurnLock lock;
  return lock;
}

}  // namespace

CResBitItem::CResBitItem(const TARQ::CResourcePath& path, const char* description)
    : CServerResource(path, TARQ::CResourceValue(kUntested, 0), kNodeAttributes),
      mDescription(),
      mMessage() {
  CopyText(mDescription, description);
}

DWORD CResBitItem::SetImpl(TARQ::CResourceValue& value, bool& changed) {
  if (strcmp(value.GetAscii().AsChar(), kUntested) == 0) {
    const Turn turn(ResultTurns());
    return CServerResource::SetImpl(value, changed);
  }
  return RunTest(value);
}

void CResBitItem::EmptyMessage() {
  CopyText(mMessage, "");
}

void CResBitItem::Conclude(const char* result, const char* message) {
  const Turn turn(ResultTurns());
  StoreResult(result);
  LogResult(message);
}

DWORD CResBitItem::SetResultOK(const char* message) {
  Conclude(kResultOK, message);
  return 0;
}

DWORD CResBitItem::SetResultTested(const char* message) {
  Conclude(kResultTested, message);
  return 0;
}

DWORD CResBitItem::SetResultError(const char* message, DWORD code) {
  char result[16] = "Error   ";
  if (code != 0) snprintf(result, sizeof result, "E %04X  ", code & 0xFFFF);
  Conclude(result, message);
  return 1;
}

DWORD CResBitItem::SetResult(const Finding& finding) {
  const char* const message = finding.message.c_str();
  if (finding.code != 0) return SetResultError(message, finding.code);
  return finding.passed == Passed::Tested ? SetResultTested(message) : SetResultOK(message);
}

// Into the stored value itself: through Set it would run the test again.
void CResBitItem::StoreResult(const char* result) {
  mValue.Set(TARQ::CResourceValue(result, 0), false);
}
