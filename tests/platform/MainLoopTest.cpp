#include <gtest/gtest.h>

#include <QCoreApplication>

#include <string>
#include <vector>

#include "platform/ManualMainLoop.h"
#include "platform/QtMainLoop.h"
#include "support/QtTestApp.h"

using namespace ostinel;

TEST(ManualMainLoop, FiresTimersInDeadlineOrderAtTheirOwnTimeEvenWhenMadeOrCancelledWhileFiring) {
    ManualMainLoop loop(100.0);
    std::vector<std::string> log;
    loop.after(0.5, [&] { log.push_back("b@" + std::to_string(loop.now())); });
    loop.after(0.2, [&] { log.push_back("a@" + std::to_string(loop.now())); });
    auto repeating = loop.every(0.3, [&] { log.push_back("r@" + std::to_string(loop.now())); });
    loop.advance(0.4);
    EXPECT_EQ(log, (std::vector<std::string>{"a@100.200000", "r@100.300000"}));
    EXPECT_DOUBLE_EQ(loop.now(), 100.4);
    loop.advance(0.3);
    EXPECT_EQ(log.back(), "r@100.600000");
    EXPECT_EQ(log[2], "b@100.500000");
    loop.cancel(repeating);
    loop.advance(10);
    EXPECT_EQ(log.size(), 4u);
    EXPECT_EQ(loop.pendingTimers(), 0u);

    // Timers made or cancelled while firing behave.
    int fired = 0;
    MainLoop::TimerId second = 0;
    loop.after(1.0, [&] {
        ++fired;
        loop.cancel(second);
        loop.after(0.5, [&] { fired += 10; }); // lands inside the same advance
    });
    second = loop.after(1.2, [&] { fired += 100; });
    loop.post([&] { fired += 1000; });
    loop.advance(2.0);
    EXPECT_EQ(fired, 1011);
}

TEST(QtMainLoop, RunsTimersAndPostedWorkOnTheEventLoop) {
    QCoreApplication& app = *QCoreApplication::instance(); // the program's own, from QtTestApp
    QtMainLoop loop;
    std::vector<int> order;
    loop.post([&] { order.push_back(1); });
    auto cancelled = loop.after(0.01, [&] { order.push_back(99); });
    loop.cancel(cancelled);
    int ticks = 0;
    MainLoop::TimerId every = 0;
    every = loop.every(0.005, [&] {
        if (++ticks == 3) loop.cancel(every);
    });
    double start = loop.now();
    loop.after(0.05, [&] {
        order.push_back(2);
        app.quit();
    });
    app.exec();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_EQ(ticks, 3);
    EXPECT_GE(loop.now() - start, 0.045);
}
