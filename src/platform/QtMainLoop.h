#pragma once

#include <QObject>

#include <map>

#include "platform/MainLoop.h"

class QTimer;

namespace ostinel {

// The application's main loop: Qt's event loop, with CLOCK_MONOTONIC seconds.
class QtMainLoop final : public QObject, public MainLoop {
    Q_OBJECT
public:
    explicit QtMainLoop(QObject* parent = nullptr) : QObject(parent) {}
    ~QtMainLoop() override;

    double now() const override;
    TimerId after(double seconds, std::function<void()> fn) override;
    TimerId every(double seconds, std::function<void()> fn) override;
    void cancel(TimerId id) override;
    void post(std::function<void()> fn) override;

private:
    TimerId start(double seconds, bool repeat, std::function<void()> fn);
    TimerId nextId_ = 1;
    std::map<TimerId, QTimer*> timers_;
};

} // namespace ostinel
