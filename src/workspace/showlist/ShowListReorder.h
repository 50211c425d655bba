#pragma once

#include <cstddef>
#include <set>

#include "base/CowList.h"
#include "base/Uuid.h"
#include "document/Track.h"

namespace ostinel {

// Moves the tracks named by `moving` to the gap before row `gap` (0 to the
// count), keeping their order among themselves. False when nothing moves.
bool moveTracks(CowList<Track>& tracks, const std::set<Uuid>& moving, std::size_t gap);

// The gap nearest to y in a list of rows `rowHeight` tall, from 0 to count.
std::size_t gapAt(double y, double rowHeight, std::size_t count);

} // namespace ostinel
