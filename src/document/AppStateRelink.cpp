// Pointing tracks at audio files that have moved.

#include "document/AppState.h"

#include <filesystem>

#include "document/Relink.h"
#include "document/RelinkMatcher.h"
#include "platform/AudioFile.h"
#include "platform/Dialogs.h"

namespace ostinel {

namespace {
// Enough for any show's media folder, short of walking a whole disk.
constexpr std::size_t maxCandidates = 20000;
} // namespace

void AppState::applyRelink(Track& track, const FileUrl& url) const {
    std::optional<double> length;
    if (auto file = AudioFile::open(url.path())) length = (*file)->duration();
    Relink::retarget(track, url, length, projectFolderURL_);
}

void AppState::relinkTrack(const Uuid& trackID) {
    const Track* track = show_.track(trackID);
    if (!track) return;
    OpenPanelRequest request;
    request.message = "Locate the audio file for \"" + track->displayName() +
                      "\" — or choose a folder to relink all missing files at once";
    const auto& extensions = RelinkMatcher::audioExtensions();
    request.extensions.assign(extensions.begin(), extensions.end());
    request.canChooseDirectories = true;
    auto chosen = dialogs_.openPanel(request);
    if (chosen.empty()) return;

    const FileUrl url = FileUrl::fromPath(chosen.front());
    if (std::filesystem::is_directory(url.path())) {
        relinkAll(url);
        return;
    }
    const std::string oldName = track->url.fileName();
    if (url.fileName() != oldName) {
        const int answer = dialogs_.alert({"Different file selected",
                                           "The selected file \"" + url.fileName() +
                                               "\" has a different name than the missing file \"" + oldName +
                                               "\". Use it anyway?",
                                           {"Use Anyway", "Cancel"}});
        if (answer != 0) return;
    }
    editTrack(trackID, [&](Track& t) { applyRelink(t, url); });
    reloadRelinked({url}, {trackID});
}

void AppState::relinkAll(const FileUrl& folder) {
    std::vector<std::size_t> missing;
    std::vector<FileUrl> missingURLs;
    for (std::size_t i = 0; i < show_.tracks.size(); ++i) {
        if (show_.tracks[i].url.exists()) continue;
        missing.push_back(i);
        missingURLs.push_back(show_.tracks[i].url);
    }
    if (missing.empty()) {
        dialogs_.alert({"Nothing to relink", "Every cue in this show points at a file that exists.", {"OK"}});
        return;
    }

    const auto matches = RelinkMatcher::match(missingURLs, RelinkMatcher::audioFiles(folder.path(), maxCandidates));
    Show s = show_;
    Relink::Outcome outcome;
    outcome.missing = missing.size();
    std::vector<FileUrl> relinkedURLs;
    std::set<Uuid> relinkedIDs;
    for (std::size_t i : missing) {
        const FileUrl old = s.tracks[i].url;
        auto found = matches.find(old);
        if (found == matches.end()) {
            outcome.stillMissing.push_back(old.fileName());
            continue;
        }
        const auto& [url, kind] = found->second;
        applyRelink(s.tracks.edit(i), url);
        if (kind != RelinkMatcher::MatchKind::exact) outcome.renamed.push_back(old.fileName() + " → " + url.fileName());
        ++outcome.relinked;
        relinkedURLs.push_back(url);
        relinkedIDs.insert(s.tracks[i].id);
    }
    // One assignment: the whole batch is one undo step.
    setShow(std::move(s));
    if (!relinkedIDs.empty()) reloadRelinked(relinkedURLs, relinkedIDs);

    const auto report = Relink::report(outcome, folder.fileName());
    dialogs_.alert({report.title, report.text, {"OK"}});
}

void AppState::reloadRelinked(const std::vector<FileUrl>& urls, const std::set<Uuid>& relinkedIDs) {
    if (prerenderHook) prerenderHook(urls);
    if (relinkedHook) relinkedHook(relinkedIDs);
}

} // namespace ostinel
