// The task framework: the one place that includes it.
#pragma once

#include <common_dll.h>
