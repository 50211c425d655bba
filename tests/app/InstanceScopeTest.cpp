#include <gtest/gtest.h>

#include <QString>

#include <filesystem>
#include <string>

#include "app/SingleInstance.h"
#include "support/QtTestApp.h"
#include "support/ScopedEnv.h"
#include "support/TempDir.h"

namespace ostinel::test {
namespace {

namespace fs = std::filesystem;

// Where a launch looks for the running instance, from its own environment.
struct Launch {
    std::string runtime, session, display, home;
    QString server() const {
        ScopedEnv a("XDG_RUNTIME_DIR", runtime), b("XDG_SESSION_ID", session), c("WAYLAND_DISPLAY", ""),
            d("DISPLAY", display), e("HOME", home);
        return SingleInstance::serverName();
    }
};

class InstanceScope : public ::testing::Test {
protected:
    TempDir dir;
    // Never the temporary folder of a real user's instance.
    ScopedEnv tmp{"TMPDIR", dir.path().string()};
};

TEST_F(InstanceScope, OnlyALaunchInTheSameSessionReachesTheRunningOne) {
    fs::create_directories(dir.file("run"));
    fs::permissions(dir.file("run"), fs::perms::owner_all);
    const Launch running{dir.file("run"), "4", ":1", dir.file("home")};
    InstanceServer server([](const QStringList&) {});
    const QString name = running.server();
    ASSERT_TRUE(server.listen(name));
    EXPECT_TRUE(name.startsWith(QString::fromStdString(dir.file("run/"))));

    Launch other = running;
    other.session = "5";
    EXPECT_FALSE(SingleInstance::handOver(other.server(), {}, 200)) << "another login session";
    other = running;
    other.display = ":2";
    EXPECT_FALSE(SingleInstance::handOver(other.server(), {}, 200)) << "another display";
    other = running;
    other.home = dir.file("other-home");
    EXPECT_FALSE(SingleInstance::handOver(other.server(), {}, 200)) << "another home";
    EXPECT_TRUE(SingleInstance::handOver(Launch(running).server(), {}, 2000)) << "the same session";
}

TEST_F(InstanceScope, WithoutARuntimeFolderAPrivateOneOfOurOwn) {
    const std::string fallback = dir.file("ostinel-runtime-" + std::to_string(::getuid()));
    fs::create_directories(fallback);
    fs::permissions(fallback, fs::perms::owner_all | fs::perms::group_all | fs::perms::others_read);
    const Launch launch{"", "4", ":1", dir.file("home")};

    const QString name = launch.server();
    EXPECT_TRUE(name.startsWith(QString::fromStdString(fallback + "/")));
    EXPECT_EQ(fs::status(fallback).permissions() & fs::perms::all, fs::perms::owner_all);
    InstanceServer server([](const QStringList&) {});
    ASSERT_TRUE(server.listen(name));
    EXPECT_TRUE(SingleInstance::handOver(launch.server(), {}, 2000));
}

} // namespace
} // namespace ostinel::test
