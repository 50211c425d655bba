#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace ostinel::test {

// Counts the calls of a listener that any thread may call. It must outlive
// whatever calls the listener: a fixture holds it before that object.
class CallCounter {
public:
    std::function<void()> listener() {
        return [this] {
            std::lock_guard lock(mutex_);
            ++calls_;
            changed_.notify_all();
        };
    }
    int count() {
        std::lock_guard lock(mutex_);
        return calls_;
    }
    // True once there have been more than `seen` calls; false after 5 s.
    bool waitPast(int seen) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(5), [&] { return calls_ > seen; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int calls_ = 0;
};

} // namespace ostinel::test
