#include "AppRig.h"

#include <filesystem>

#include "document/ShowFile.h"
#include "platform/OfflineAudioSystem.h"
#include "support/AudioFixtures.h"
#include "support/QtTestApp.h"

namespace ostinel::test {
AppRig::AppRig() { relaunch(); }

void AppRig::relaunch() {
    app.reset();
    app = std::make_unique<OstinelApp>(loop, preferences, dialogs, std::make_unique<OfflineAudioSystem>(48000.0, 480),
                                       paths());
    app->terminate = [this, ends = app->terminate] {
        ++terminated;
        if (endsEventLoop) ends();
    };
}

AppRig::~AppRig() { app.reset(); }

std::string AppRig::writeShow(const std::string& name, int cues) {
    Show show;
    show.name = name;
    for (int i = 0; i < cues; ++i) {
        Track t;
        t.name = name + " cue " + std::to_string(i + 1);
        t.url = FileUrl::fromPath(writeTone(dir.file(name + std::to_string(i) + ".wav"), 2.0));
        t.duration = 2.0;
        show.tracks.push_back(t);
    }
    const std::string path = dir.file(name + ".ot");
    if (auto error = ShowFile::write(show, path, ShowFile::Flavour::pretty)) throw std::runtime_error(error->message);
    return path;
}

void AppRig::leaveRecoveryFile(const std::string& showPath) {
    std::filesystem::create_directories(std::filesystem::path(recoveryFile()).parent_path());
    std::filesystem::copy_file(showPath, recoveryFile(), std::filesystem::copy_options::overwrite_existing);
}

} // namespace ostinel::test
