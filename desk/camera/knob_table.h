// All knobs of the desk camera, by family: what docs/desk-camera.md is generated from.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "knobs/knob.h"

namespace desk {

struct KnobFamily {
  std::string title;
  std::string prefix;  // "<bus>" and the like stand for a part that differs
  std::span<const KnobRow> rows;
};

std::vector<KnobFamily> AllKnobs();

// The families as Markdown tables.
std::string KnobTableMarkdown();

}  // namespace desk
