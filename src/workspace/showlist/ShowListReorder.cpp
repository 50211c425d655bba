#include "workspace/showlist/ShowListReorder.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace ostinel {

bool moveTracks(CowList<Track>& tracks, const std::set<Uuid>& moving, std::size_t gap) {
    gap = std::min(gap, tracks.size());
    std::vector<Track> moved;
    std::vector<std::size_t> at;
    for (std::size_t i = 0; i < tracks.size(); ++i)
        if (moving.count(tracks[i].id)) {
            moved.push_back(tracks[i]);
            at.push_back(i);
        }
    if (moved.empty()) return false;
    const auto movedAbove = std::size_t(std::count_if(at.begin(), at.end(), [&](std::size_t i) { return i < gap; }));
    const std::size_t target = gap - movedAbove;
    // Already a block standing at the gap: nothing to do.
    if (at.back() - at.front() + 1 == at.size() && at.front() == target) return false;
    // Erase and insert rather than rebuild, so the untouched tracks stay
    // shared with the undo history.
    for (auto i = at.rbegin(); i != at.rend(); ++i) tracks.erase(*i);
    tracks.insert(target, moved);
    return true;
}

std::size_t gapAt(double y, double rowHeight, std::size_t count) {
    if (rowHeight <= 0.0 || y <= 0.0) return 0;
    const auto gap = std::size_t(std::lround(y / rowHeight));
    return std::min(gap, count);
}

} // namespace ostinel
