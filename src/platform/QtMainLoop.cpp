#include "platform/QtMainLoop.h"

#include <QMetaObject>
#include <QTimer>

#include <cmath>
#include <ctime>

namespace ostinel {

QtMainLoop::~QtMainLoop() {
    for (auto& [id, timer] : timers_) delete timer;
}

double QtMainLoop::now() const {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

MainLoop::TimerId QtMainLoop::start(double seconds, bool repeat, std::function<void()> fn) {
    TimerId id = nextId_++;
    auto* timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    timer->setSingleShot(!repeat);
    timer->setInterval(std::max(0, int(std::lround(seconds * 1000.0))));
    connect(timer, &QTimer::timeout, this, [this, id, repeat, fn = std::move(fn)] {
        if (!repeat) {
            auto it = timers_.find(id);
            if (it != timers_.end()) {
                it->second->deleteLater();
                timers_.erase(it);
            }
        }
        fn();
    });
    timers_.emplace(id, timer);
    timer->start();
    return id;
}

MainLoop::TimerId QtMainLoop::after(double seconds, std::function<void()> fn) {
    return start(seconds, false, std::move(fn));
}

MainLoop::TimerId QtMainLoop::every(double seconds, std::function<void()> fn) {
    return start(seconds, true, std::move(fn));
}

void QtMainLoop::cancel(TimerId id) {
    auto it = timers_.find(id);
    if (it == timers_.end()) return;
    it->second->stop();
    it->second->deleteLater();
    timers_.erase(it);
}

void QtMainLoop::post(std::function<void()> fn) {
    QMetaObject::invokeMethod(this, std::move(fn), Qt::QueuedConnection);
}

} // namespace ostinel
