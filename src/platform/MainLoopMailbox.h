#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "platform/MainLoop.h"

namespace ostinel {

// Lets worker threads hand results to the main loop for as long as their
// owner lives. The owner holds the only strong reference and closes it from
// its destructor; workers keep a weak one, so they can skip work nobody
// wants, and whatever they post after the close, or is still queued, is
// dropped without touching the owner or the loop.
class MainLoopMailbox : public std::enable_shared_from_this<MainLoopMailbox> {
public:
    static std::shared_ptr<MainLoopMailbox> open(MainLoop& loop);

    // Any thread.
    void post(std::function<void()> fn);
    // Main thread.
    void close();

    explicit MainLoopMailbox(MainLoop& loop) : loop_(&loop) {}

private:
    bool isOpen();

    std::mutex mutex_;
    MainLoop* loop_;
};

} // namespace ostinel
