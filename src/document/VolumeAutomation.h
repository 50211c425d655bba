#pragma once

#include <algorithm>
#include <iterator>

namespace ostinel::VolumeAutomation {

// The drawn curve's level in dB at time t, straight in dB between nodes and
// flat beyond the first and last. `points` is any list of AutomationPoint
// sorted by time (CowList or vector); an empty curve is the flat 0 dB line.
template <class Points>
double db(double t, const Points& points) {
    if (points.empty()) return 0.0;
    auto first = points.begin();
    auto last = std::prev(points.end());
    if (t <= first->timeSeconds) return first->db;
    if (!(t < last->timeSeconds)) return last->db;
    // Of equal times the leftmost decides, so a vertical step is taken there.
    auto b = std::partition_point(std::next(first), points.end(),
                                  [t](const auto& p) { return p.timeSeconds < t; });
    auto a = std::prev(b);
    double span = b->timeSeconds - a->timeSeconds;
    double f = span > 0.0 ? (t - a->timeSeconds) / span : 0.0;
    return a->db + f * (b->db - a->db);
}

} // namespace ostinel::VolumeAutomation
