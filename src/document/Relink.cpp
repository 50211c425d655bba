#include "document/Relink.h"

#include <cmath>

#include "document/ProjectMedia.h"

namespace ostinel::Relink {

void retarget(Track& track, const FileUrl& url, std::optional<double> length,
              const std::optional<FileUrl>& projectFolder) {
    track.url = url;
    if (length) {
        // An out-point at the old length means "to the end", whatever the end now is.
        const bool playedToEnd = std::abs(track.endSeconds - track.duration) < 1e-6;
        if (track.endSeconds > *length || track.endSeconds <= 0.0 || playedToEnd) track.endSeconds = *length;
        track.duration = *length;
    }
    if (projectFolder)
        if (auto relative = ProjectMedia::relativePath(projectFolder->path(), url.path())) track.relativePath = relative;
}

namespace {
std::string lines(const std::vector<std::string>& items) {
    std::string text;
    for (const auto& item : items) text += (text.empty() ? "" : "\n") + item;
    return text;
}
} // namespace

Report report(const Outcome& outcome, const std::string& folderName) {
    const std::string files = std::to_string(outcome.missing) + " missing file" + (outcome.missing == 1 ? "" : "s");
    if (outcome.relinked == 0)
        return {"No matching audio files found",
                "None of the " + files + " could be found in \"" + folderName + "\" or its subfolders."};

    std::string text;
    if (!outcome.renamed.empty()) text += "Matched by a different name or format:\n" + lines(outcome.renamed) + "\n\n";
    if (!outcome.stillMissing.empty()) text += "Still missing:\n" + lines(outcome.stillMissing) + "\n\n";
    text += "Undo (Ctrl+Z) reverts the whole batch.";
    return {"Relinked " + std::to_string(outcome.relinked) + " of " + files, text};
}

} // namespace ostinel::Relink
