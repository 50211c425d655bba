#include <gtest/gtest.h>

#include <QLoggingCategory>
#include <QStandardPaths>
#include <QString>

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

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
        // On the system clock: ThreadSanitizer does not see the steady
        // clock's wait give the lock back, and would report a race.
        changed.wait_until(lock, std::chrono::system_clock::now() + std::chrono::seconds(60),
                           [] { return !lines.empty(); });
        return lines;
    }
    std::vector<QString> all() {
        const std::lock_guard lock(mutex);
        return lines;
    }
};

// The system bus the advertiser finds: none at all, or one of our own on
// which no Avahi daemon answers, as on a desktop without Avahi. Started
// with a plain fork: ThreadSanitizer loses track of the parent's locks
// across the vfork that QProcess uses.
struct ServiceAdvertiserTest : ::testing::TestWithParam<bool> {
    test::TempDir dir;
    std::string address = "unix:path=" + dir.file("bus");
    test::ScopedEnv bus{"DBUS_SYSTEM_BUS_ADDRESS", address};
    pid_t daemon = -1;

    void SetUp() override {
        if (!GetParam()) return;
        if (QStandardPaths::findExecutable("dbus-daemon").isEmpty()) GTEST_SKIP() << "no dbus-daemon";
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        const std::string listen = "--address=" + address,
                          report = "--print-address=" + std::to_string(ready[1]);
        daemon = fork();
        if (daemon == 0) {
            // Gone with us, even when a sanitizer stops the test halfway.
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", listen.c_str(), report.c_str(),
                   nullptr);
            _exit(127);
        }
        close(ready[1]);
        // It prints its address once it accepts connections.
        pollfd wait{ready[0], POLLIN, 0};
        const bool up = poll(&wait, 1, 60000) == 1 && (wait.revents & POLLIN);
        close(ready[0]);
        ASSERT_TRUE(up) << "dbus-daemon did not start";
    }
    void TearDown() override {
        if (daemon <= 0) return;
        kill(daemon, SIGTERM);
        waitpid(daemon, nullptr, 0);
    }
};

TEST_P(ServiceAdvertiserTest, WithoutADaemonNothingIsAnnouncedAndThatIsSaidOnce) {
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

INSTANTIATE_TEST_SUITE_P(Bus, ServiceAdvertiserTest, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "WithoutAvahi" : "Absent"; });

} // namespace
