// Button tests: does every key of the camera, or of its remote control, send its code? The operator
// presses them all; the dialog shows which ones are still missing.
#pragma once

#include "items/res_bit_item.h"

class CBitTask;

// A class for each keypad; they differ in a row of data.
class CResBitButtonsN : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
// The keys of N.
class CResBitButtonsV : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
class CResBitButtonsK : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
// The keys of K, and IR/Vis.
class CResBitButtonsH : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
// The remote control of K.
class CResBitButtonsKRem : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
class CResBitButtonsR : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
class CResBitButtonsR7 : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
// R7 when it runs from its second flash file system.
class CResBitButtonsR7_BfsInUse : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
class CResBitButtonsR8 : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
class CResBitButtonsLQ : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
class CResBitButtonsKy : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
// The model without D/V and Camera: both may be pressed, neither is asked for.
class CResBitButtonsKy090 : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};
class CResBitButtonsV8 : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateButtonsGroup(CBitTask* task, DWORD platform);
