#include "control/OSCDiagnostics.h"

#include <QDateTime>
#include <QLoggingCategory>

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace ostinel {

namespace {
Q_LOGGING_CATEGORY(oscLog, "com.ostinel.osc")
}

OSCDiagnostics::OSCDiagnostics(std::string path) : path_(std::move(path)) {
    if (!path_.empty()) writer_ = std::thread([this] { run(); });
}

OSCDiagnostics::~OSCDiagnostics() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (writer_.joinable()) writer_.join();
}

void OSCDiagnostics::record(const std::string& text) {
    qCInfo(oscLog, "%s", text.c_str());
    if (path_.empty()) return;
    const std::string stamp = QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toStdString();
    {
        std::lock_guard lock(mutex_);
        lines_.push_back(stamp + " " + text + "\n");
    }
    wake_.notify_one();
}

void OSCDiagnostics::flush() {
    std::unique_lock lock(mutex_);
    drained_.wait(lock, [this] { return (lines_.empty() && !writing_) || !writer_.joinable(); });
}

void OSCDiagnostics::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return stopping_ || !lines_.empty(); });
        if (lines_.empty()) break;
        std::string line = std::move(lines_.front());
        lines_.pop_front();
        writing_ = true;
        lock.unlock();
        append(line);
        lock.lock();
        writing_ = false;
        drained_.notify_all();
    }
    drained_.notify_all();
}

void OSCDiagnostics::append(const std::string& line) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path file(path_);
    fs::create_directories(file.parent_path(), error);
    if (fs::file_size(file, error) > std::uintmax_t(rollBytes) && !error) {
        fs::path old = file;
        old += ".1";
        fs::remove(old, error);
        fs::rename(file, old, error);
    }
    if (std::FILE* out = std::fopen(path_.c_str(), "a")) {
        std::fwrite(line.data(), 1, line.size(), out);
        std::fclose(out);
    }
}

} // namespace ostinel
