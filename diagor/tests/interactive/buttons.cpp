#include "tests/interactive/buttons.h"

#include <string>

#include "items/group_builder.h"
#include "items/platform.h"
#include "tests/interactive/key_dialogs.h"
#include "tests/interactive/test_window.h"

namespace {

struct ButtonTest {
  WindowedDialog dialog;
  const Keypad& keypad;
  DWORD mask;  // of the keys asked for
};

constexpr ButtonTest kTestN = {{101, KeyTestDialogProc<kKeypadN>, false, 0}, kKeypadN, 0x3E0F};
constexpr ButtonTest kTestV = {{107, KeyTestDialogProc<kKeypadN>, false, 0}, kKeypadN, 0x3E0F};
constexpr ButtonTest kTestK = {{103, LcdKeyDialogProc, false, 0}, kKeypadK, 0x7E17FF};
constexpr ButtonTest kTestH = {{117, LcdKeyDialogProc, false, 0}, kKeypadK, 0x7E57FF};
constexpr ButtonTest kTestKRem = {
    {108, KeyTestDialogProc<kKeypadKRem>, false, 0}, kKeypadKRem, 0xE190310F};
constexpr ButtonTest kTestR = {{105, KeyTestDialogProc<kKeypadR>, false, 0}, kKeypadR, 0xFFB0310F};
constexpr ButtonTest kTestR7 = {{118, KeyTestDialogProc<kKeypadR7>, true, 0}, kKeypadR7, 0x830300F};
constexpr ButtonTest kTestR7Bfs = {
    {127, KeyTestDialogProc<kKeypadR7Bfs>, true, 0}, kKeypadR7Bfs, 0x820340F};
constexpr ButtonTest kTestR8 = {
    {124, KeyTestDialogProc<kKeypadR8>, true, kLookTime}, kKeypadR8, 0xEAB0710F};
constexpr ButtonTest kTestLQ = {
    {125, KeyTestDialogProc<kKeypadLQ>, true, kLookTime}, kKeypadLQ, 0x10803000};
constexpr ButtonTest kTestKy = {{119, KyDialogProc, true, 0}, kKeypadKy, 0x8A30F70F};
constexpr ButtonTest kTestKy090 = {{119, KyDialogProc, true, 0}, kKeypadKy, 0x8A30B50F};
constexpr ButtonTest kTestV8 = {{126, KeyTestDialogProc<kKeypadV8>, false, 0}, kKeypadV8, 0x3E0F};

constexpr Failure kFailedInit = {0x50, "Failed to init test"};
constexpr DWORD kKeysMissing = 0x51;

Finding RunButtonTest(const ButtonTest& test) {
  gPendingMask = test.mask;
  gLcdAnswer = kLcdGood;  // no question about an image is open
  if (!RunOverTestWindow(test.dialog)) return kFailedInit;
  if (gPendingMask == 0) return {0, "Buttons OK"};
  std::string missing = "Keys missing: ";
  for (const KeyRow& key : test.keypad.keys) {
    if ((gPendingMask & key.bit) != 0) missing += key.name;
  }
  return {kKeysMissing, missing};
}

}  // namespace

DWORD CResBitButtonsN::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestN); });
}

DWORD CResBitButtonsV::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestV); });
}

DWORD CResBitButtonsK::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestK); });
}

DWORD CResBitButtonsH::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestH); });
}

DWORD CResBitButtonsKRem::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestKRem); });
}

DWORD CResBitButtonsR::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestR); });
}

DWORD CResBitButtonsR7::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestR7); });
}

DWORD CResBitButtonsR7_BfsInUse::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestR7Bfs); });
}

DWORD CResBitButtonsR8::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestR8); });
}

DWORD CResBitButtonsLQ::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestLQ); });
}

DWORD CResBitButtonsKy::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestKy); });
}

DWORD CResBitButtonsKy090::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestKy090); });
}

DWORD CResBitButtonsV8::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [] { return RunButtonTest(kTestV8); });
}

namespace {

template <typename Buttons>
TARQ::CServerResource* Make() {
  return new Buttons("buttons", "Buttons");
}

struct ClassRow {
  PlatformNumber platform;
  TARQ::CServerResource* (*make)();
};
constexpr ClassRow kClasses[] = {
    {kPlatformK, Make<CResBitButtonsK>},   {kPlatformR, Make<CResBitButtonsR>},
    {kPlatformV, Make<CResBitButtonsV>},   {kPlatformRRem, Make<CResBitButtonsKRem>},
    {kPlatformN7, Make<CResBitButtonsN>},  {kPlatformH, Make<CResBitButtonsH>},
    {kPlatformKY, Make<CResBitButtonsKy>}, {kPlatformR7, Make<CResBitButtonsR7>},
    {kPlatformR8, Make<CResBitButtonsR8>}, {kPlatformLQ, Make<CResBitButtonsLQ>},
    {kPlatformV8, Make<CResBitButtonsV8>},
};

}  // namespace

DWORD CreateButtonsGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("buttons", [platform](GroupBuilder& group) {
    for (const ClassRow& row : kClasses) {
      if (row.platform != platform) continue;
      const bool hasOtherKeys = platform == kPlatformR7 && gBfsInUse;
      group.Add(hasOtherKeys ? Make<CResBitButtonsR7_BfsInUse>() : row.make());
    }
    if (platform == kPlatformKY) group.Add(new CResBitButtonsKy090("buttons090", "Buttons090"));
  });
}
