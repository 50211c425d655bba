#pragma once

#include <chrono>
#include <functional>
#include <thread>

#include "platform/ManualMainLoop.h"

namespace ostinel::test {

// Real time passes on a real server: true once `done` holds, false after
// the timeout.
inline bool eventually(const std::function<bool()>& done, double timeoutSeconds = 5.0) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// The main loop in real time, as the application runs it: true once `done`
// holds, false after `seconds`.
inline bool runUntil(ManualMainLoop& loop, const std::function<bool()>& done, double seconds) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    auto last = start;
    while (!done()) {
        if (Clock::now() - start > std::chrono::duration<double>(seconds)) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        const auto now = Clock::now();
        loop.advance(std::chrono::duration<double>(now - last).count());
        last = now;
    }
    return true;
}

} // namespace ostinel::test
