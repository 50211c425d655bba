#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

#include <functional>

namespace ostinel::test {

// Acts on the next modal dialog from inside its own event loop, the way an
// operator would: call it before the code that opens the dialog and blocks.
// Waits for the dialog on a condition with a generous deadline.
inline void onNextModal(std::function<void(QWidget*)> act, int deadlineMs = 30000) {
    auto* timer = new QTimer;
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    QObject::connect(timer, &QTimer::timeout, [timer, clock, act = std::move(act), deadlineMs] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal && !clock->hasExpired(deadlineMs)) return;
        timer->stop();
        timer->deleteLater();
        if (modal) act(modal);
        else ADD_FAILURE() << "no modal dialog appeared";
    });
    timer->start(10);
}

} // namespace ostinel::test
