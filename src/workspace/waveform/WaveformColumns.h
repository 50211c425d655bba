#pragma once

#include <array>
#include <vector>

namespace ostinel::waveform {

// The loudest peak under each of `count` pixel columns of the view, the
// first of which starts at content x `scrollX`, for content `contentWidth`
// points wide. Only the visible columns are worked out, so the cost follows
// the view's width and not the file's length at deep zoom. Columns beyond
// the content get 0.
void visibleColumnPeaks(const std::vector<float>& peaks, double contentWidth, double scrollX, int count,
                        std::vector<float>& out);

// The mean colour under each column, on the same buckets as the peaks.
// Columns beyond the content get (0, 0, 0).
void visibleColumnBands(const std::vector<std::array<float, 3>>& bands, double contentWidth, double scrollX,
                        int count, std::vector<std::array<float, 3>>& out);

} // namespace ostinel::waveform
