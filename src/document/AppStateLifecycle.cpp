// New, open, save, project folders, the recent list, autosave and recovery.

#include "document/AppState.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>

#include "document/ProjectMedia.h"
#include "document/ShowFile.h"
#include "platform/Dialogs.h"
#include "platform/FileNameText.h"
#include "platform/Preferences.h"

namespace ostinel {

namespace fs = std::filesystem;

namespace {
constexpr std::size_t maxRecentShows = 10;

bool fileExists(const std::string& path) { return FileUrl::fromPath(path).exists(); }

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) text += (text.empty() ? "" : "\n") + line;
    return text;
}

std::string suggestedName(const Show& show) { return show.name.empty() ? "Untitled Show" : show.name; }
} // namespace

void AppState::startLifecycle() {
    setAutosaveExecutor({});
    if (auto interval = preferences_.doubleValue("autosaveInterval")) autosaveInterval_ = *interval;
    // Shows deleted or moved since the last run leave the list quietly.
    for (const auto& stored : preferences_.stringListValue("recentShowURLs").value_or(std::vector<std::string>{})) {
        FileUrl url = FileUrl::fromString(stored);
        if (fileExists(url.path())) recentShowURLs_.push_back(std::move(url));
    }
    scheduleAutosaveTimer();
}

void AppState::cancelAutosaveTimer() {
    if (autosaveTimer_) mainLoop_.cancel(*autosaveTimer_);
    autosaveTimer_.reset();
}

void AppState::setAutosaveInterval(double seconds) {
    preferences_.setValue("autosaveInterval", seconds);
    if (assign(autosaveInterval_, seconds, &AppState::autosaveIntervalChanged)) scheduleAutosaveTimer();
}

void AppState::scheduleAutosaveTimer() {
    cancelAutosaveTimer();
    // A zero or broken interval from the preferences would spin the loop.
    if (!(std::isfinite(autosaveInterval_) && autosaveInterval_ > 0.0)) return;
    autosaveTimer_ = mainLoop_.every(autosaveInterval_, [this] { autosave(); });
}

// --- Replacing the show ------------------------------------------------------------

bool AppState::confirmDiscardingChanges(const std::string& text) {
    if (!isDirty_) return true;
    switch (dialogs_.alert({"Save Show?", text, {"Save", "Don't Save", "Cancel"}})) {
    case 0: return saveShow(); // a failed or cancelled save keeps the show
    case 1: return true;
    default: return false; // Cancel, or closed without an answer
    }
}

void AppState::installShow(Show show) {
    setShow(std::move(show));
    if (onShowReplaced) onShowReplaced(show_);
    setSelectedTrackID(show_.tracks.empty() ? std::nullopt : std::optional<Uuid>(show_.tracks.front().id));
    setMode(show_.lastMode);
}

bool AppState::newShow() {
    if (!confirmDiscardingChanges("Do you want to save the current show before starting a new one?")) return false;
    Show show;
    migrateLegacyMappings(show, preferences_);
    installShow(std::move(show)); // no tracks, Edit mode
    setCurrentFileURL(std::nullopt);
    setProjectFolderURL(std::nullopt);
    resetHistory();
    setDirty(false);
    deleteAutosave();
    return true;
}

void AppState::openShow() {
    OpenPanelRequest request;
    request.extensions = {"ot", "json"};
    auto paths = dialogs_.openPanel(request);
    if (!paths.empty()) loadShow(FileUrl::fromPath(paths.front()));
}

bool AppState::loadShow(const FileUrl& url) {
    if (!confirmDiscardingChanges("Do you want to save the current show before opening another one?")) return false;
    auto show = ShowFile::read(url.path());
    if (!show) {
        dialogs_.alert({"Could not open the show.", show.error().message, {"OK"}});
        return false;
    }
    migrateLegacyMappings(*show, preferences_);
    installShow(std::move(*show));
    setCurrentFileURL(url);
    setProjectFolderURL(std::nullopt);
    resolveProjectPaths(url);
    resetHistory();
    setDirty(false);
    deleteAutosave();
    prerenderShow();
    addRecent(url);
    return true;
}

void AppState::resolveProjectPaths(const FileUrl& showFileURL) {
    auto hasRelativePath = [](const Track& t) { return t.relativePath.has_value(); };
    if (std::none_of(show_.tracks.begin(), show_.tracks.end(), hasRelativePath)) return;
    const fs::path folder = fs::path(showFileURL.path()).parent_path();
    setProjectFolderURL(FileUrl::fromPath(folder.string()));
    setFolderIcon(*projectFolderURL_);

    Show s = show_;
    for (std::size_t i = 0; i < s.tracks.size(); ++i) {
        const Track& t = s.tracks[i];
        if (!t.relativePath) continue;
        const std::string local = (folder / *t.relativePath).lexically_normal().string();
        // A file that isn't there keeps its stored url, for relinking.
        if (local != t.url.path() && fileExists(local)) s.tracks.edit(i).url = FileUrl::fromPath(local);
    }
    if (s == show_) return;
    setShow(std::move(s));
    // The engine may already hold the old location of the first track.
    if (onShowReplaced) onShowReplaced(show_);
}

// --- Saving ---------------------------------------------------------------------------

Show AppState::showForDisk() const {
    // A copy, so saving never creates an undo step.
    Show s = show_;
    s.lastMode = mode_;
    return s;
}

bool AppState::saveShow() {
    // Files added since the last save are copied in first.
    if (projectFolderURL_) consolidateMedia(*projectFolderURL_);
    if (currentFileURL_) return write(*currentFileURL_);
    return saveShowAs();
}

bool AppState::saveShowAs() {
    SavePanelRequest request;
    request.suggestedName = suggestedName(show_);
    request.extensions = {"ot"};
    auto path = dialogs_.savePanel(request);
    if (!path) return false;
    const FileUrl url = FileUrl::fromPath(*path);
    if (!write(url)) return false;
    setCurrentFileURL(url);
    return true;
}

bool AppState::saveShowAsProject() {
    SavePanelRequest request;
    request.message = "Choose a location for the project folder. A folder with this name will be created.";
    request.nameFieldLabel = "Project name:";
    request.suggestedName = suggestedName(show_);
    auto path = dialogs_.savePanel(request);
    if (!path) return false;
    const fs::path folder = fs::path(*path).lexically_normal();
    std::error_code error;
    fs::create_directories(folder / ProjectMedia::folderName, error);
    if (error) {
        dialogs_.alert({"Could not create the project folder.", error.message(), {"OK"}});
        return false;
    }
    setProjectFolderURL(FileUrl::fromPath(folder.string()));
    consolidateMedia(*projectFolderURL_);
    setFolderIcon(*projectFolderURL_);
    const FileUrl file = FileUrl::fromPath((folder / (folder.filename().string() + ".ot")).string());
    if (!write(file)) return false;
    setCurrentFileURL(file);
    return true;
}

bool AppState::write(const FileUrl& url) {
    if (auto error = ShowFile::write(showForDisk(), url.path(), ShowFile::Flavour::pretty)) {
        dialogs_.alert({"Could not save the show.", error->message, {"OK"}});
        return false;
    }
    addRecent(url);
    setDirty(false);
    deleteAutosave();
    return true;
}

void AppState::consolidateMedia(const FileUrl& folder) {
    const fs::path media = fs::path(folder.path()) / ProjectMedia::folderName;
    std::error_code ignored;
    fs::create_directories(media, ignored);
    std::set<std::string> taken;
    for (fs::directory_iterator it(media, ignored), end; !ignored && it != end; it.increment(ignored))
        taken.insert(it->path().filename().string());

    Show s = show_;
    std::map<std::string, FileUrl> copies; // source path to its copy: one copy per file
    std::vector<std::string> failures;
    for (std::size_t i = 0; i < s.tracks.size(); ++i) {
        const Track& t = s.tracks[i];
        if (auto inside = ProjectMedia::relativePath(folder.path(), t.url.path())) {
            if (!t.relativePath) s.tracks.edit(i).relativePath = inside;
            continue;
        }
        if (!fileExists(t.url.path())) {
            failures.push_back(t.displayName());
            continue;
        }
        auto copied = copies.find(t.url.path());
        if (copied == copies.end()) {
            // The copy is named in text, so its relative path can be saved as it is.
            const std::string name = ProjectMedia::availableName(fileNameText(t.url.fileName()), taken);
            const FileUrl target = FileUrl::fromPath((media / name).string());
            std::error_code error;
            if (!fs::copy_file(t.url.path(), target.path(), error)) {
                failures.push_back(t.displayName());
                continue;
            }
            taken.insert(name);
            copied = copies.emplace(t.url.path(), target).first;
        }
        Track& edited = s.tracks.edit(i);
        edited.url = copied->second;
        edited.relativePath = ProjectMedia::relativePath(folder.path(), edited.url.path());
    }
    setShow(std::move(s));

    if (!failures.empty())
        dialogs_.alert({"Some files could not be copied",
                        "The following tracks were not copied into the project Media folder (file missing or "
                        "unreadable):\n\n" +
                            joined(failures),
                        {"OK"}});
}

void AppState::setFolderIcon(const FileUrl& folder) const {
    // Best effort, for file managers that read a .directory entry. The icon
    // travels with the folder; the entry is rewritten on each open, so a
    // moved project points at its own copy again.
    const QString dir = QString::fromStdString(folder.path());
    const QString icon = dir + "/.ostinel-project.svg";
    if (!QFile::exists(icon) && QFile::copy(":/ostinel-project.svg", icon))
        QFile::setPermissions(icon, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    const QByteArray entry = "[Desktop Entry]\nIcon=" + icon.toUtf8() + "\n";
    QFile file(dir + "/.directory");
    if (file.open(QIODevice::ReadOnly) && file.readAll() == entry) return;
    file.close();
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) file.write(entry);
}

// --- Recent shows, autosave, recovery ---------------------------------------------------

void AppState::addRecent(const FileUrl& url) {
    std::vector<FileUrl> recent = recentShowURLs_;
    std::erase(recent, url);
    recent.insert(recent.begin(), url);
    if (recent.size() > maxRecentShows) recent.resize(maxRecentShows);
    std::vector<std::string> paths;
    for (const auto& u : recent) paths.push_back(u.path());
    preferences_.setValue("recentShowURLs", paths);
    setRecentShowURLs(std::move(recent));
}

void AppState::offerRecoveryIfAvailable() {
    // Clean saves, opens, new shows and normal quits delete the file: if it is
    // there, the last run ended with unsaved changes.
    if (!fileExists(paths_.recoveryFile)) return;
    const int answer = dialogs_.alert(
        {"Restore Unsaved Show?",
         "Ostinel closed unexpectedly with unsaved changes. Do you want to restore the recovered show?",
         {"Restore", "Discard"}});
    // Only Discard lets the file go: an alert closed without an answer keeps
    // it for the next launch.
    if (answer == 1) deleteAutosave();
    if (answer != 0) return;
    auto show = ShowFile::read(paths_.recoveryFile);
    if (!show) {
        dialogs_.alert({"Could not restore the recovered show.", show.error().message, {"OK"}});
        deleteAutosave();
        return;
    }
    installShow(std::move(*show));
    setProjectFolderURL(std::nullopt);
    auto original = preferences_.stringValue("autosaveOriginalPath");
    if (original && fileExists(*original)) {
        setCurrentFileURL(FileUrl::fromPath(*original));
        resolveProjectPaths(*currentFileURL_);
    } else {
        setCurrentFileURL(std::nullopt); // a later save asks for a name
    }
    resetHistory();
    // Not on disk at that path; the recovery file stays until a clean save.
    setDirty(true);
    prerenderShow();
}

void AppState::openLastShowIfRequested() {
    // A restored show or a file handed in at launch wins.
    if (!openLastShowOnLaunch_ || isDirty_ || currentFileURL_ || !show_.tracks.empty()) return;
    if (recentShowURLs_.empty() || !fileExists(recentShowURLs_.front().path())) return;
    loadShow(recentShowURLs_.front());
}

void AppState::prerenderShow() {
    if (!prerenderHook) return;
    std::vector<FileUrl> urls;
    for (const Track& t : show_.tracks) urls.push_back(t.url);
    prerenderHook(urls);
}

} // namespace ostinel
