#include <gtest/gtest.h>

#include <QLoggingCategory>
#include <QString>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "platform/ServiceAdvertiser.h"
#include "support/ScopedEnv.h"
#include "support/TempDir.h"

using namespace ostinel;

namespace {

// Lines of the remote's category, from whichever thread logs them.
struct RemoteLog {
    static inline std::mutex mutex;
    static inline std::condition_variable changed;
    static inline std::vector<QString> lines;
    QtMessageHandler before;

    RemoteLog() : before(qInstallMessageHandler(&RemoteLog::take)) {}
    ~RemoteLog() {
        qInstallMessageHandler(before);
        lines.clear();
    }
    static void take(QtMsgType, const QMessageLogContext& context, const QString& text) {
        if (QLatin1String(context.category) != QLatin1String("com.ostinel.remote")) return;
        const std::lock_guard lock(mutex);
        lines.push_back(text);
        changed.notify_all();
    }
    std::vector<QString> waitForLine() {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, std::chrono::seconds(60), [] { return !lines.empty(); });
        return lines;
    }
    std::vector<QString> all() {
        const std::lock_guard lock(mutex);
        return lines;
    }
};

TEST(ServiceAdvertiserTest, WithoutADaemonNothingIsAnnouncedAndThatIsSaidOnce) {
    // A system bus that is not there, so no daemon is found on any machine.
    test::TempDir dir;
    test::ScopedEnv bus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + dir.file("no-bus"));
    RemoteLog log;
    {
        ServiceAdvertiser advertiser("_ostinel._tcp");
        advertiser.update({{"show", "ignored before a publish"}});
        advertiser.withdraw();
        advertiser.publish(8765, {{"proto", "1"}, {"app", "0.1.0"}, {"show", "Tour"}});
        const auto lines = log.waitForLine();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_TRUE(lines[0].contains("not announced")) << lines[0].toStdString();
        advertiser.update({{"proto", "1"}, {"app", "0.1.0"}, {"show", "Tour, second leg"}});
        advertiser.withdraw();
        advertiser.publish(8766, {{"proto", "1"}});
    }
    EXPECT_EQ(log.all().size(), 1u);
}

} // namespace
