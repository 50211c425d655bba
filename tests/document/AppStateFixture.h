#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "document/AppState.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "support/AudioFixtures.h"
#include "support/ScriptedDialogs.h"
#include "support/TempDir.h"

namespace ostinel::test {

// An AppState on virtual time, in-memory preferences and scripted dialogs,
// with a folder for shows and audio and the store and engine hooks recorded.
struct AppStateFixture : ::testing::Test {
    static constexpr const char* recoveryName = "Ostinel/Recovery/autosave.ot";
    ManualMainLoop loop;
    MemoryPreferences preferences;
    ScriptedDialogs dialogs;
    TempDir appFolder; // the recovery file lands here
    TempDir dir;
    AppState state{loop, preferences, dialogs, AppPaths::under(appFolder.path().string())};
    std::vector<std::vector<FileUrl>> prerendered;
    std::vector<std::set<Uuid>> reloaded;
    std::vector<std::string> notices;

    AppStateFixture() {
        state.prerenderHook = [this](const std::vector<FileUrl>& urls) { prerendered.push_back(urls); };
        state.relinkedHook = [this](const std::set<Uuid>& ids) { reloaded.push_back(ids); };
        state.noticeHook = [this](const std::string& text) { notices.push_back(text); };
        // Autosaves written at once, so virtual time alone decides when.
        state.setAutosaveExecutor([](const std::function<void()>& task) { task(); });
    }

    // An untrimmed 60-second track, as an edit.
    Uuid addTrack(const std::string& name, const FileUrl& url) {
        Show s = state.show();
        s.tracks.push_back(Track{.name = name, .url = url, .duration = 60, .endSeconds = 60});
        state.setShow(std::move(s));
        return state.show().tracks.back().id;
    }
    // A show of such tracks as if freshly opened: clean, no history.
    std::vector<Uuid> openShow(const std::vector<FileUrl>& urls) {
        state.setShow(Show{});
        std::vector<Uuid> ids;
        for (const auto& url : urls) ids.push_back(addTrack(url.fileNameWithoutExtension(), url));
        state.resetHistory();
        state.setDirty(false);
        return ids;
    }
    std::vector<Uuid> openShow(std::initializer_list<std::string> names) {
        std::vector<FileUrl> urls;
        for (const auto& name : names) urls.push_back(FileUrl::fromPath("/media/" + name + ".wav"));
        return openShow(urls);
    }

    // Lets the undo burst end.
    void pause() { loop.advance(AppState::coalesceSeconds + 0.1); }
    void rename(const std::string& name) {
        Show s = state.show();
        s.name = name;
        state.setShow(std::move(s));
    }

    bool saveAs(const std::string& relative) {
        dialogs.saveAnswers.push_back(dir.file(relative));
        return state.saveShowAs();
    }
    std::string recovery() const { return appFolder.file(recoveryName); }
    FileUrl file(const std::string& relative) const { return FileUrl::fromPath(dir.file(relative)); }
    // A short mono tone, folders made on the way.
    FileUrl tone(const std::string& relative, double seconds = 0.1) const {
        std::filesystem::create_directories(std::filesystem::path(dir.file(relative)).parent_path());
        return FileUrl::fromPath(writeTone(dir.file(relative), seconds, 8000, 1));
    }
    const AlertRequest& lastAlert() const { return dialogs.alerts.back(); }
};

} // namespace ostinel::test
