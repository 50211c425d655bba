#include "workspace/common/TimeText.h"

#include <cmath>
#include <cstdio>

namespace ostinel {

std::string formatClock(double seconds, int decimals) {
    if (!std::isfinite(seconds) || seconds < 0.0) seconds = 0.0;
    if (decimals < 0) decimals = 0;
    if (decimals > 3) decimals = 3;
    const long long scale = decimals == 0 ? 1 : decimals == 1 ? 10 : decimals == 2 ? 100 : 1000;
    // Truncate, so that a clock never shows a second that hasn't passed.
    const long long ticks = static_cast<long long>(std::floor(seconds * double(scale) + 1e-9));
    const long long whole = ticks / scale;
    char text[48];
    if (decimals == 0)
        std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%lld:%02lld.%0*lld", whole / 60, whole % 60, decimals, ticks % scale);
    return text;
}

} // namespace ostinel
