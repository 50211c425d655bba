#include "workspace/showlist/MissingFiles.h"

#include <QCoreApplication>
#include <QEvent>

#include <filesystem>

namespace ostinel {

MissingFiles::MissingFiles(QObject* parent) : QObject(parent) { pool_.setMaxThreadCount(1); }

MissingFiles::~MissingFiles() {
    pool_.clear();
    pool_.waitForDone();
}

void MissingFiles::check(std::vector<std::string> paths) {
    if (paths == paths_) return;
    paths_ = std::move(paths);
    start();
}

void MissingFiles::recheck() { start(); }

void MissingFiles::start() {
    const auto generation = ++generation_;
    pool_.clear(); // a lookup still queued is stale now
    pool_.start([this, generation, paths = paths_] {
        std::set<std::string> missing;
        for (const auto& path : paths) {
            std::error_code error;
            if (!std::filesystem::exists(path, error)) missing.insert(path);
        }
        // Queued to this object: dropped if it is gone by then, and the
        // destructor waits for this job, so `this` is still alive here.
        QMetaObject::invokeMethod(
            this,
            [this, generation, missing = std::move(missing)]() mutable {
                if (generation != generation_ || missing == missing_) return;
                missing_ = std::move(missing);
                emit changed();
            },
            Qt::QueuedConnection);
    });
}

void MissingFiles::finishPending() {
    pool_.waitForDone();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

} // namespace ostinel
