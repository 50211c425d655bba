#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/FileUrl.h"
#include "document/Track.h"

namespace ostinel::Relink {

// Points a track at a new file of the given length (nothing when it could
// not be read). A trimmed cue keeps its out-point unless the new file is
// shorter; an untrimmed one follows the new file. Inside a project's Media
// folder the relative path follows too. Loops and triggers stay as they are.
void retarget(Track& track, const FileUrl& url, std::optional<double> length,
              const std::optional<FileUrl>& projectFolder);

// What a search of a folder did to the show's missing files.
struct Outcome {
    std::size_t missing = 0;
    std::size_t relinked = 0;
    std::vector<std::string> renamed;      // "old → new" for matches that are not exact
    std::vector<std::string> stillMissing; // file names
};

struct Report {
    std::string title;
    std::string text;
};

Report report(const Outcome& outcome, const std::string& folderName);

} // namespace ostinel::Relink
