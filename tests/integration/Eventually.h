#pragma once

#include <chrono>
#include <functional>
#include <thread>

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

} // namespace ostinel::test
