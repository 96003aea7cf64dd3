// Filter tests: does the filter move into the image path and out of it?
// Needs image.flow.filter.position; by class also the frame average and the measuring range.
#pragma once

#include "items/res_bit_item.h"

class CBitTask;

// Moves the filter and checks nothing; platform K.
class CResBitFilter : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

// Judges the filter by the average of the frame, which has to fall when it goes in. A hot black
// body has to stand in view. The measuring range stays as the test sets it; platform H.
class CResBitFilterH : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateFilterGroup(CBitTask* task, DWORD platform);
