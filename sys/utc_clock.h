#pragma once

#include <string>

namespace utc_clock {

// The current time as "2026-11-25T10:00:00.000Z", for records and log copies that tools
// on other machines read.
std::string NowText();

}  // namespace utc_clock
