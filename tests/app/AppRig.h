#pragma once

#include <QApplication>

#include <memory>
#include <string>

#include "app/MainWindow.h"
#include "app/OstinelApp.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "support/ScopedEnv.h"
#include "support/ScriptedDialogs.h"
#include "support/TempDir.h"

namespace ostinel::test {

// The whole application on the offline device, in virtual time, with
// scripted dialogs and its files in a temporary folder.
class AppRig {
public:
    AppRig();
    ~AppRig();
    // A fresh application on the same preferences and folders, as on the
    // next launch.
    void relaunch();

    // A show of `cues` tone cues saved as dir/<name>.ot; returns its path.
    std::string writeShow(const std::string& name, int cues);
    std::string recoveryFile() const { return paths().recoveryFile; }
    // Leaves a recovery file behind as a crashed run would.
    void leaveRecoveryFile(const std::string& showPath);
    // Advances virtual time; the pacer renders the device as it goes.
    void run(double seconds) { loop.advance(seconds); }

    AppPaths paths() const { return AppPaths::under(dir.file("home")); }

    // MIDI in memory: a test never opens ports on the machine's sequencer.
    ScopedEnv midiBackend{"OSTINEL_MIDI_BACKEND", "loopback"};
    TempDir dir;
    ManualMainLoop loop;
    MemoryPreferences preferences;
    ScriptedDialogs dialogs;
    std::unique_ptr<OstinelApp> app;
    int terminated = 0;
    // Quitting also ends the running event loop, as in the real program.
    bool endsEventLoop = false;
};

} // namespace ostinel::test
