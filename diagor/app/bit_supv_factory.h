// Gives the supervisor the program's two containers by class name.
#pragma once

#include "app/framework.h"

class CBitSupvFactory : public TARQ::CSupvFactory {
 public:
  // A new container, owned by the caller; null when there is no memory.
  TARQ::CLibContainer* Create(const char* className) override;
};
