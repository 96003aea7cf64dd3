// The camera's task framework, as its tasks include it.
// Calls return a 32-bit status, 0 for success. No call throws.
#pragma once

#include "tarq_helpers.h"
#include "tarq_resource.h"
#include "tarq_services.h"
#include "tarq_task.h"
#include "tarq_value.h"
