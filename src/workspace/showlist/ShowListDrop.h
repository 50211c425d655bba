#pragma once

#include <vector>

#include "base/FileUrl.h"

class QMimeData;

namespace ostinel {

// The local audio files among dropped URLs, in the order given; folders and
// files of other kinds are left out.
std::vector<FileUrl> droppedAudioFiles(const QMimeData& mime);

} // namespace ostinel
