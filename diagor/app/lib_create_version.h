// Publishes the program's software version, once.
#pragma once

#include "app/framework.h"

class CLibCreateVersion : public TARQ::CLibContainer {
 public:
  DWORD Init() override;
};
