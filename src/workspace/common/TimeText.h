#pragma once

#include <string>

namespace ostinel {

// "m:ss" with `decimals` places of the second (0 to 3); hours become minutes
// past 59 ("75:02"), which is how a running order reads. Negative and
// non-finite values read as zero.
std::string formatClock(double seconds, int decimals = 0);

} // namespace ostinel
