#pragma once

#include <filesystem>

#include "AppStateFixture.h"
#include "support/AudioFixtures.h"

namespace ostinel::test {

// An AppState with real files: a folder for shows and audio, the recovery
// file under appFolder, and the store and engine hooks recorded.
struct LifecycleFixture : AppStateFixture {
    static constexpr const char* recoveryName = "Ostinel/Recovery/autosave.ot";
    TempDir dir;
    std::vector<std::vector<FileUrl>> prerendered;
    std::vector<std::set<Uuid>> reloaded;

    LifecycleFixture() {
        state.prerenderHook = [this](const std::vector<FileUrl>& urls) { prerendered.push_back(urls); };
        state.relinkedHook = [this](const std::set<Uuid>& ids) { reloaded.push_back(ids); };
    }
    std::string recovery() const { return appFolder.file(recoveryName); }
    FileUrl file(const std::string& relative) const { return FileUrl::fromPath(dir.file(relative)); }
    // A short mono tone, folders made on the way.
    FileUrl tone(const std::string& relative, double seconds = 0.1) const {
        std::filesystem::create_directories(std::filesystem::path(dir.file(relative)).parent_path());
        return FileUrl::fromPath(writeTone(dir.file(relative), seconds, 8000, 1));
    }
    Uuid addTrack(const std::string& name, const FileUrl& url) {
        Track t;
        t.name = name;
        t.url = url;
        t.duration = t.endSeconds = 60.0;
        Show s = state.show();
        s.tracks.push_back(t);
        state.setShow(std::move(s));
        return t.id;
    }
    const AlertRequest& lastAlert() const { return dialogs.alerts.back(); }
};

} // namespace ostinel::test
