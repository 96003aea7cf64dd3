// Texts as both databases keep them.
#pragma once

#include <string>
#include <string_view>

#include "station/store/types.h"

namespace station {

// U+FFFD in place of each NUL and of what is no UTF-8. One database would cut the text there or
// refuse it, the other would not: whoever needs the bytes keeps them as evidence.
std::string Settled(std::string_view text);

// "2026-11-25T17:04:13.123Z"; of the years 0000 to 9999.
std::string TimeText(Time time);
// Also with another offset, more or no digits of the second (what is below a millisecond is cut
// off), t and z. None: not a time.
std::optional<Time> TimeOf(std::string_view text);

}  // namespace station
