// ostinel-cli relink FILE.ot FOLDER --out NEW.ot: repairs a show whose audio
// has moved, as Relink All in the application would, and saves the result
// under a new name so the original stays as it was.

#include <QTemporaryDir>

#include <filesystem>
#include <iostream>

#include "Command.h"
#include "ReadOnlyPreferences.h"
#include "document/AppState.h"
#include "platform/Dialogs.h"
#include "platform/ManualMainLoop.h"

namespace ostinel::cli {

namespace {

// Keeps every alert for printing; the first button answers, panels cancel.
class RecordingDialogs final : public Dialogs {
public:
    std::vector<AlertRequest> alerts;
    int alert(const AlertRequest& request) override {
        alerts.push_back(request);
        return 0;
    }
    std::vector<std::string> openPanel(const OpenPanelRequest&) override { return {}; }
    std::optional<std::string> savePanel(const SavePanelRequest&) override { return std::nullopt; }

    std::string last() const {
        return alerts.empty() ? "" : alerts.back().message + "\n" + alerts.back().informativeText;
    }
};

int relink(const Args& args) {
    namespace fs = std::filesystem;
    std::vector<std::string> positional;
    std::string out;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--out" && i + 1 < args.size())
            out = args[++i];
        else
            positional.push_back(args[i]);
    }
    if (positional.size() != 2 || out.empty()) return fail("usage: ostinel-cli relink FILE.ot FOLDER --out NEW.ot");
    const std::string& folder = positional[1];
    std::error_code error;
    if (!fs::is_directory(folder, error)) return fail("No such folder: " + folder);

    // The recovery file lives in a folder of its own, so the user's is never touched.
    QTemporaryDir scratch;
    if (!scratch.isValid()) return fail("Could not create a temporary folder.");
    ManualMainLoop loop;
    ReadOnlyPreferences preferences;
    RecordingDialogs dialogs;
    AppState state(loop, preferences, dialogs, AppPaths::under(scratch.path().toStdString()));

    auto absolute = [](const std::string& path) { return FileUrl::fromPath(fs::absolute(path).lexically_normal().string()); };
    if (!state.loadShow(absolute(positional[0]))) return fail(dialogs.last());
    state.relinkAll(absolute(folder));
    std::cout << dialogs.last() << "\n" << std::flush;
    if (!state.write(absolute(out))) return fail(dialogs.last());
    return 0;
}

const Command command("relink", "relink FILE.ot FOLDER --out NEW.ot", relink);

} // namespace

} // namespace ostinel::cli
