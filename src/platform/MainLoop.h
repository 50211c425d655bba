#pragma once

#include <cstdint>
#include <functional>

namespace ostinel {

// The one way time enters the main thread: the application runs it on Qt's
// event loop, tests on a manual loop that advances virtual time.
class MainLoop {
public:
    using TimerId = std::uint64_t;
    virtual ~MainLoop() = default;

    // Monotonic seconds.
    virtual double now() const = 0;
    virtual TimerId after(double seconds, std::function<void()> fn) = 0;
    virtual TimerId every(double seconds, std::function<void()> fn) = 0;
    // Unknown or already fired ids are ignored.
    virtual void cancel(TimerId id) = 0;
    // Runs fn on the main thread soon; safe to call from any thread.
    virtual void post(std::function<void()> fn) = 0;
};

} // namespace ostinel
