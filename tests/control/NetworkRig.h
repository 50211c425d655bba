#pragma once

#include <QCoreApplication>

#include <chrono>
#include <functional>

#include "document/AppState.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "platform/OfflineAudioSystem.h"
#include "playback/PlaybackEngine.h"
#include "support/QtTestApp.h"
#include "support/ScriptedDialogs.h"
#include "support/TempDir.h"

namespace ostinel::test {

// Sockets and posted work in real time, the main loop's timers in virtual
// time: true once `done` holds, false after `seconds`.
inline bool pump(ManualMainLoop& loop, const std::function<bool()>& done, double seconds = 10.0) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (;;) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        loop.runPosted();
        if (done()) return true;
        if (std::chrono::steady_clock::now() > deadline) return false;
    }
}

// What a network front is started on: the engine and the state, with no
// audio server and virtual time.
struct NetworkRig {
    TempDir dir;
    ManualMainLoop loop;
    MemoryPreferences preferences;
    ScriptedDialogs dialogs;
    OfflineAudioSystem audio{48000.0, 480};
    PlaybackEngine engine{loop, preferences, audio};
    AppState state{loop, preferences, dialogs, AppPaths::under(dir.file("app"))};
};

} // namespace ostinel::test
