#include "app/bit_supv_factory.h"

#include <cstring>
#include <new>

#include "app/lib_create_version.h"
#include "task/bit_task.h"

TARQ::CLibContainer* CBitSupvFactory::Create(const char* className) {
  if (strcmp(className, "CLibCreateVersion") == 0) return new (std::nothrow) CLibCreateVersion;
  if (strcmp(className, "CBitTask") == 0) return new (std::nothrow) CBitTask;
  return TARQ::CSupvFactory::Create(className);
}
