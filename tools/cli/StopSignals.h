#pragma once

#include <functional>
#include <memory>

class QSocketNotifier;

namespace ostinel::cli {

// SIGINT and SIGTERM as events of the main loop rather than as interrupts,
// so that a stop can fade out and end cleanly. Blocked for the whole
// process while this lives.
class StopSignals {
public:
    explicit StopSignals(std::function<void(int signal)> onSignal);
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

private:
    int fd_ = -1;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::function<void(int)> onSignal_;
};

} // namespace ostinel::cli
