#include "workspace/waveform/WaveformColumns.h"

#include <algorithm>
#include <cmath>

namespace ostinel::waveform {
namespace {

// Calls `use(column, first, last)` with the bucket range under each visible
// column of a list of `n` buckets.
template <typename Use>
void forEachColumn(std::ptrdiff_t n, double contentWidth, double scrollX, int count, Use use) {
    if (n == 0 || contentWidth <= 0.0) return;
    const double perPoint = static_cast<double>(n) / contentWidth;
    for (int i = 0; i < count; ++i) {
        double x0 = scrollX + i;
        if (x0 + 1.0 <= 0.0 || x0 >= contentWidth) continue;
        auto first = static_cast<std::ptrdiff_t>(std::floor(std::max(x0, 0.0) * perPoint));
        auto last = static_cast<std::ptrdiff_t>(std::ceil(std::min(x0 + 1.0, contentWidth) * perPoint));
        first = std::clamp<std::ptrdiff_t>(first, 0, n - 1);
        last = std::clamp<std::ptrdiff_t>(last, first + 1, n);
        use(static_cast<std::size_t>(i), first, last);
    }
}

} // namespace

void visibleColumnPeaks(const std::vector<float>& peaks, double contentWidth, double scrollX, int count,
                        std::vector<float>& out) {
    out.assign(static_cast<std::size_t>(std::max(count, 0)), 0.0f);
    forEachColumn(static_cast<std::ptrdiff_t>(peaks.size()), contentWidth, scrollX, count,
                  [&](std::size_t i, std::ptrdiff_t first, std::ptrdiff_t last) {
                      out[i] = *std::max_element(peaks.begin() + first, peaks.begin() + last);
                  });
}

void visibleColumnBands(const std::vector<std::array<float, 3>>& bands, double contentWidth, double scrollX,
                        int count, std::vector<std::array<float, 3>>& out) {
    out.assign(static_cast<std::size_t>(std::max(count, 0)), {0.0f, 0.0f, 0.0f});
    forEachColumn(static_cast<std::ptrdiff_t>(bands.size()), contentWidth, scrollX, count,
                  [&](std::size_t i, std::ptrdiff_t first, std::ptrdiff_t last) {
                      std::array<float, 3> sum{};
                      for (auto b = first; b < last; ++b)
                          for (std::size_t c = 0; c < 3; ++c) sum[c] += bands[std::size_t(b)][c];
                      for (std::size_t c = 0; c < 3; ++c) out[i][c] = sum[c] / float(last - first);
                  });
}

} // namespace ostinel::waveform
