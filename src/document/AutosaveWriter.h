#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "base/Expected.h"
#include "document/Show.h"
#include "platform/MainLoop.h"

namespace ostinel {

// Writes the recovery file off the main thread. It is handed a snapshot of
// the show, whose lists are immutable and shared, so the main thread goes on
// editing while the copy is encoded; every reference to the snapshot is
// taken and dropped on the main thread, so an edit there never writes into
// storage the writer still reads. A removal wins over every write begun
// before it: no older snapshot can land after it.
class AutosaveWriter {
public:
    // Runs a task off the main thread. The default is a thread of the
    // writer's own; tests run the task when they choose. A task handed out
    // must have run before the writer goes.
    using Executor = std::function<void(std::function<void()> task)>;
    // On the main thread, for each write not overtaken by a removal: nothing
    // on success, the system's reason on failure.
    using Finished = std::function<void(const std::optional<Error>&)>;
    // Puts the text in a file of its own beside the recovery file, off the
    // main thread; the default makes it durable before the rename.
    using FileWriter = std::function<std::optional<Error>(const std::string& path, const std::string& text)>;

    AutosaveWriter(MainLoop& mainLoop, std::string path, Finished finished, Executor executor = {},
                   FileWriter writeFile = {});
    // Waits for the write in flight and the one queued, if any.
    ~AutosaveWriter();
    AutosaveWriter(const AutosaveWriter&) = delete;
    AutosaveWriter& operator=(const AutosaveWriter&) = delete;

    // Main thread. At most one write is in flight; a newer snapshot replaces
    // one still waiting for it.
    void write(Show snapshot);
    // Main thread. Deletes the file, ignoring errors, along with every write
    // begun or queued before.
    void remove();
    // Main thread, own thread only: returns once nothing is queued or in flight.
    void wait();

private:
    struct Job {
        std::shared_ptr<const Show> show;
        std::uint64_t generation = 0;
    };
    void drain();
    std::optional<Error> save(const Show& show, std::uint64_t generation);

    MainLoop& mainLoop_;
    const std::string path_;
    Finished finished_;
    Executor executor_;
    FileWriter writeFile_;
    std::thread thread_;
    // Posted outcomes find out through this whether the writer still exists.
    std::shared_ptr<int> alive_ = std::make_shared<int>();

    std::mutex mutex_; // guards what follows, and the rename into place
    std::optional<Job> pending_;
    bool busy_ = false;
    std::uint64_t generation_ = 0; // written on the main thread only
};

} // namespace ostinel
