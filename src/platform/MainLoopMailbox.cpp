#include "platform/MainLoopMailbox.h"

namespace ostinel {

std::shared_ptr<MainLoopMailbox> MainLoopMailbox::open(MainLoop& loop) {
    return std::make_shared<MainLoopMailbox>(loop);
}

void MainLoopMailbox::post(std::function<void()> fn) {
    const std::lock_guard lock(mutex_);
    if (!loop_) return;
    loop_->post([self = weak_from_this(), fn = std::move(fn)] {
        if (const auto box = self.lock(); box && box->isOpen()) fn();
    });
}

void MainLoopMailbox::close() {
    const std::lock_guard lock(mutex_);
    loop_ = nullptr;
}

bool MainLoopMailbox::isOpen() {
    const std::lock_guard lock(mutex_);
    return loop_ != nullptr;
}

} // namespace ostinel
