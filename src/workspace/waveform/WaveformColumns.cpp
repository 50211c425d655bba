#include "workspace/waveform/WaveformColumns.h"

#include <algorithm>
#include <cmath>

namespace ostinel::waveform {

void visibleColumnPeaks(const std::vector<float>& peaks, double contentWidth, double scrollX, int count,
                        std::vector<float>& out) {
    out.assign(static_cast<std::size_t>(std::max(count, 0)), 0.0f);
    const auto n = static_cast<std::ptrdiff_t>(peaks.size());
    if (n == 0 || contentWidth <= 0.0) return;
    const double perPoint = static_cast<double>(n) / contentWidth;
    for (int i = 0; i < count; ++i) {
        double x0 = scrollX + i;
        if (x0 + 1.0 <= 0.0 || x0 >= contentWidth) continue;
        auto first = static_cast<std::ptrdiff_t>(std::floor(std::max(x0, 0.0) * perPoint));
        auto last = static_cast<std::ptrdiff_t>(std::ceil(std::min(x0 + 1.0, contentWidth) * perPoint));
        first = std::clamp<std::ptrdiff_t>(first, 0, n - 1);
        last = std::clamp<std::ptrdiff_t>(last, first + 1, n);
        out[static_cast<std::size_t>(i)] = *std::max_element(peaks.begin() + first, peaks.begin() + last);
    }
}

} // namespace ostinel::waveform
