// A resource's value as the trace shows it.
#pragma once

#include "common_dll.h"
#include "trace/observation.h"

namespace desk {

inline TraceValue ToTraceValue(const TARQ::CResourceValue& value) {
  switch (value.Type()) {
    case TARQ::ValueType::Bool:
      return value.GetBool();
    case TARQ::ValueType::Int:
      return static_cast<std::int64_t>(value.GetInt());
    case TARQ::ValueType::Double:
      return value.GetDouble();
    default:
      return std::string(value.GetAscii().AsChar());
  }
}

}  // namespace desk
