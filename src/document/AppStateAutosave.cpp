// Autosave for crash recovery, and the notices of the document.

#include "document/AppState.h"

#include "document/DocumentLog.h"
#include "platform/Preferences.h"

Q_LOGGING_CATEGORY(documentLog, "com.ostinel.document")

namespace ostinel {

void AppState::setAutosaveExecutor(AutosaveWriter::Executor executor) {
    autosaveWriter_ = std::make_unique<AutosaveWriter>(
        mainLoop_, paths_.recoveryFile,
        [this](const std::optional<Error>& error) { autosaveFinished(error); }, std::move(executor));
}

void AppState::autosave() {
    if (!isDirty_ || show_.tracks.empty()) return;
    // Before the write, so a crash never leaves a recovery file without it.
    if (currentFileURL_)
        preferences_.setValue("autosaveOriginalPath", currentFileURL_->path());
    else
        preferences_.remove("autosaveOriginalPath");
    // A snapshot shares the show's lists: the main thread's share is this copy.
    autosaveWriter_->write(showForDisk());
}

void AppState::autosaveFinished(const std::optional<Error>& error) {
    if (!error) {
        autosaveFailureTold_ = false;
        return;
    }
    // Every tick would fail the same way: once is enough until it works again.
    if (std::exchange(autosaveFailureTold_, true)) return;
    qCCritical(documentLog, "Autosave failed: %s", error->message.c_str());
    notice("Autosave failed \u2014 unsaved changes are not protected: " + error->message);
}

void AppState::deleteAutosave() { autosaveWriter_->remove(); }

void AppState::waitForAutosave() { autosaveWriter_->wait(); }

void AppState::notice(const std::string& text) const {
    if (noticeHook) noticeHook(text);
}

bool AppState::refusedInShowMode(const char* verb) const {
    if (mode_ != AppMode::show) return false;
    notice(std::string("Can't ") + verb + " cues in Show mode \u2014 switch to Edit mode first.");
    return true;
}

} // namespace ostinel
