#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "document/AppState.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "support/ScriptedDialogs.h"
#include "support/TempDir.h"

namespace ostinel::test {

// An AppState on virtual time, in-memory preferences and scripted dialogs.
struct AppStateFixture : ::testing::Test {
    ManualMainLoop loop;
    MemoryPreferences preferences;
    ScriptedDialogs dialogs;
    // The recovery file lands here when a test runs past the autosave interval.
    TempDir appFolder;
    AppState state{loop, preferences, dialogs, AppPaths::under(appFolder.path().string())};

    // Installs a show of named 60-second tracks as if freshly opened: clean, no history.
    std::vector<Uuid> openShow(const std::vector<std::string>& names) {
        Show s;
        std::vector<Uuid> ids;
        for (const auto& name : names) {
            Track t;
            t.name = name;
            t.url = FileUrl::fromPath("/media/" + name + ".wav");
            t.duration = t.endSeconds = 60;
            ids.push_back(t.id);
            s.tracks.push_back(std::move(t));
        }
        state.setShow(std::move(s));
        state.resetHistory();
        state.setDirty(false);
        return ids;
    }

    // Lets the undo burst end.
    void pause() { loop.advance(AppState::coalesceSeconds + 0.1); }

    void rename(const std::string& name) {
        Show s = state.show();
        s.name = name;
        state.setShow(std::move(s));
    }
};

} // namespace ostinel::test
