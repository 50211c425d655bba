// Adding tracks from audio files.

#include "document/AppState.h"

#include <algorithm>

#include "document/RelinkMatcher.h"
#include "platform/AudioFile.h"
#include "platform/Dialogs.h"
#include "platform/FileNameText.h"

namespace ostinel {

void AppState::addTracks(const std::vector<FileUrl>& urls, std::optional<std::size_t> index) {
    // The running order is fixed in front of an audience.
    if (refusedInShowMode("add")) return;
    std::vector<Track> added;
    std::vector<std::string> failures;
    for (const FileUrl& url : urls) {
        auto file = AudioFile::open(url.path());
        const double length = file && (*file)->sampleRate() > 0.0 ? (*file)->duration() : 0.0;
        if (!(length > 0.0)) {
            failures.push_back(fileNameText(url.fileName()));
            continue;
        }
        Track track;
        // The url keeps the name's bytes; the cue's name is text.
        track.name = fileNameText(url.fileNameWithoutExtension());
        track.url = url;
        track.duration = length;
        track.endSeconds = length;
        added.push_back(std::move(track));
    }

    if (!added.empty()) {
        const Uuid first = added.front().id;
        Show s = show_;
        s.tracks.insert(std::min(index.value_or(s.tracks.size()), s.tracks.size()), added);
        setShow(std::move(s));
        if (!selectedTrackID_) setSelectedTrackID(first);
    }

    if (!failures.empty()) {
        std::string names;
        for (const auto& name : failures) names += (names.empty() ? "" : "\n") + name;
        dialogs_.alert({failures.size() == 1 ? "File not added" : "Files not added",
                        "Could not read audio from:\n" + names +
                            "\n\nThe file may be empty, corrupted, or in an unsupported format.",
                        {"OK"}});
    }
}

bool AppState::addTracksPanel() {
    if (refusedInShowMode("add")) return false;
    OpenPanelRequest request;
    request.message = "Choose audio files to add to the show";
    const auto& extensions = RelinkMatcher::audioExtensions();
    request.extensions.assign(extensions.begin(), extensions.end());
    request.allowsMultipleSelection = true;
    auto paths = dialogs_.openPanel(request);
    if (paths.empty()) return false;
    std::vector<FileUrl> urls;
    for (auto& path : paths) urls.push_back(FileUrl::fromPath(std::move(path)));
    const std::size_t before = show_.tracks.size();
    addTracks(urls);
    return show_.tracks.size() > before;
}

} // namespace ostinel
