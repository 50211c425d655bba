#include "StopSignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace ostinel::cli {

namespace {
sigset_t stopSet() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}
} // namespace

StopSignals::StopSignals(std::function<void(int)> onSignal) : onSignal_(std::move(onSignal)) {
    const sigset_t set = stopSet();
    // Every thread made from here on inherits the mask, so the signal can
    // only be taken from the descriptor.
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    fd_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd_ < 0) return;
    notifier_ = std::make_unique<QSocketNotifier>(fd_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] {
        signalfd_siginfo info{};
        while (read(fd_, &info, sizeof info) == ssize_t(sizeof info))
            if (onSignal_) onSignal_(int(info.ssi_signo));
    });
}

StopSignals::~StopSignals() {
    notifier_.reset();
    if (fd_ >= 0) close(fd_);
    const sigset_t set = stopSet();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

} // namespace ostinel::cli
