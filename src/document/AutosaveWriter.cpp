#include "document/AutosaveWriter.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "document/ShowFile.h"
#include "platform/DurableFile.h"

namespace ostinel {

namespace fs = std::filesystem;

AutosaveWriter::AutosaveWriter(MainLoop& mainLoop, std::string path, Finished finished, Executor executor,
                               FileWriter writeFile)
    : mainLoop_(mainLoop),
      path_(std::move(path)),
      finished_(std::move(finished)),
      executor_(std::move(executor)),
      writeFile_(writeFile ? std::move(writeFile) : FileWriter(DurableFile::writeSynced)) {}

AutosaveWriter::~AutosaveWriter() {
    // The newest snapshot still goes to disk: a removal, as on quit, has
    // already dropped what it must not write.
    wait();
}

void AutosaveWriter::write(Show snapshot) {
    std::optional<Job> replaced{Job{std::make_shared<const Show>(std::move(snapshot)), generation_}};
    bool start = false;
    {
        std::lock_guard lock(mutex_);
        std::swap(pending_, replaced);
        start = !std::exchange(busy_, true);
    }
    if (!start) return;
    auto task = [this] { drain(); };
    if (executor_) {
        executor_(task);
        return;
    }
    // The last run has left its loop; joining only waits for it to return.
    if (thread_.joinable()) thread_.join();
    thread_ = std::thread(task);
}

void AutosaveWriter::remove() {
    std::optional<Job> dropped;
    {
        std::lock_guard lock(mutex_);
        ++generation_;
        dropped = std::exchange(pending_, std::nullopt);
    }
    // After the new generation no write can rename into place, so this is final.
    std::error_code ignored;
    fs::remove(path_, ignored);
}

void AutosaveWriter::wait() {
    if (thread_.joinable()) thread_.join();
}

void AutosaveWriter::drain() {
    for (;;) {
        Job job;
        {
            std::lock_guard lock(mutex_);
            if (!pending_) {
                busy_ = false;
                return;
            }
            job = std::move(*pending_);
            pending_.reset();
        }
        auto error = save(*job.show, job.generation);
        // The snapshot goes back with the outcome, to be let go on the main thread.
        std::weak_ptr<int> alive = alive_;
        mainLoop_.post([this, alive, job = std::move(job), error = std::move(error)] {
            if (alive.expired() || job.generation != generation_) return;
            if (finished_) finished_(error);
        });
    }
}

std::optional<Error> AutosaveWriter::save(const Show& show, std::uint64_t generation) {
    auto text = ShowFile::encode(show, ShowFile::Flavour::compact);
    if (!text) return text.error();
    std::error_code error;
    fs::create_directories(fs::path(path_).parent_path(), error);
    if (error) return Error{error.message()};
    // Written beside it and renamed over it, so a crash mid-write leaves the
    // last whole recovery file.
    const std::string temporary = path_ + ".tmp";
    if (auto failed = writeFile_(temporary, *text)) {
        fs::remove(temporary, error);
        return failed;
    }
    std::lock_guard lock(mutex_);
    if (generation != generation_) {
        fs::remove(temporary, error);
        return std::nullopt;
    }
    if (std::rename(temporary.c_str(), path_.c_str()) != 0) {
        const int code = errno;
        fs::remove(temporary, error);
        return Error::ofSystem(code);
    }
    return std::nullopt;
}

} // namespace ostinel
