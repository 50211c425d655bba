// The headless server driven over real UDP by liblo's own tools: oscsend
// sends, oscdump listens as a control surface and as show gear would.

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "document/ShowFile.h"
#include "support/AudioFixtures.h"
#include "support/CliRun.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

using test::ChildProcess;

// A UDP port free a moment ago.
int freePort() {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

class ServeOsc : public ::testing::Test {
protected:
    test::TempDir dir;
    std::string cli = std::getenv("OSTINEL_CLI") ? std::getenv("OSTINEL_CLI") : "";
    std::map<std::string, std::string> env{{"HOME", dir.file("home")},
                                           {"XDG_CONFIG_HOME", dir.file("home/.config")},
                                           {"XDG_DATA_HOME", dir.file("home/.local/share")},
                                           {"XDG_CACHE_HOME", dir.file("home/.cache")},
                                           {"XDG_RUNTIME_DIR", dir.file("run")},
                                           {"TMPDIR", dir.file("tmp")},
                                           {"OSTINEL_AUDIO_BACKEND", "offline"},
                                           {"OSTINEL_MIDI_BACKEND", "loopback"}};
    std::string show;

    void SetUp() override {
        ASSERT_FALSE(cli.empty()) << "OSTINEL_CLI names the built ostinel-cli";
        for (const char* folder : {"home", "run", "tmp"}) std::filesystem::create_directories(dir.file(folder));
        std::filesystem::permissions(dir.file("run"), std::filesystem::perms::owner_all);
        // Three cues; the second loops a second with a trigger in the middle.
        Show s;
        s.name = "Rack";
        for (int i = 0; i < 3; ++i) {
            Track t;
            t.name = "Cue " + std::to_string(i + 1);
            t.url = FileUrl::fromPath(test::writeTone(dir.file("cue" + std::to_string(i) + ".wav"), 6.0));
            t.duration = 6.0;
            s.tracks.push_back(t);
        }
        Track& looped = s.tracks.edit(1);
        Loop loop;
        loop.startSeconds = 0.5;
        loop.endSeconds = 1.5;
        loop.fadeInSeconds = loop.fadeOutSeconds = 0.0;
        looped.loops.push_back(loop);
        OSCTrigger trigger;
        trigger.address = "cue/loop/pass";
        trigger.timeSeconds = 1.0;
        looped.oscTriggers.push_back(trigger);
        show = dir.file("Rack.ot");
        ASSERT_FALSE(ShowFile::write(s, show, ShowFile::Flavour::pretty).has_value());
    }
    std::unique_ptr<ChildProcess> dump(int port) {
        auto p = std::make_unique<ChildProcess>("oscdump", std::vector<std::string>{"-L", std::to_string(port)});
        return p;
    }
    std::unique_ptr<ChildProcess> serve(const std::vector<std::string>& options) {
        std::vector<std::string> args{"serve", show};
        args.insert(args.end(), options.begin(), options.end());
        return std::make_unique<ChildProcess>(cli, args, env);
    }
    static void send(int port, const std::string& address, const std::vector<std::string>& args = {}) {
        std::string command = "oscsend 127.0.0.1 " + std::to_string(port) + " " + address;
        for (const auto& a : args) command += " " + test::shellQuoted(a);
        ASSERT_EQ(test::runShell(command).status, 0) << command;
    }
    // oscdump's line without its time tag.
    static bool is(const std::string& line, const std::string& message) {
        return line.size() > message.size() && line.ends_with(message) && line[line.size() - message.size() - 1] == ' ';
    }
};

TEST_F(ServeOsc, CommandsDriveTheShowAndTheSurfaceSeesEachStatus) {
    const int port = freePort(), surfacePort = freePort(), gearPort = freePort();
    auto surface = dump(surfacePort);
    auto gear = dump(gearPort);
    auto server = serve({"--osc-port", std::to_string(port), "--feedback", "127.0.0.1:" + std::to_string(surfacePort),
                         "--osc-trigger", "127.0.0.1:" + std::to_string(gearPort)});
    ASSERT_TRUE(server->waitForLineContaining("\"event\":\"ready\"")) << server->errorOutput();
    EXPECT_TRUE(server->waitForLineContaining(R"("cue":1,"name":"Cue 1","playing":false,"mode":"show")"));

    // The four statuses, in their order.
    for (const char* status : {"/ostinel/status/playing i 0", "/ostinel/status/track is 1 \"Cue 1\"",
                               "/ostinel/status/mode s \"show\"", "/ostinel/status/trackCount i 3"})
        ASSERT_TRUE(surface->waitForLine([&](const std::string& l) { return is(l, status); }, 10.0)) << status;

    send(port, "/ostinel/go");
    EXPECT_TRUE(surface->waitForLine([](auto& l) { return is(l, "/ostinel/status/playing i 1"); }));
    EXPECT_TRUE(server->waitForLineContaining(R"("cue":1,"name":"Cue 1","playing":true)"));
    send(port, "/ostinel/stop");
    EXPECT_TRUE(surface->waitForLine([](auto& l) { return is(l, "/ostinel/status/playing i 0"); }))
        << "after the stop fade";
    send(port, "/ostinel/track/select", {"i", "3"});
    EXPECT_TRUE(surface->waitForLine([](auto& l) { return is(l, "/ostinel/status/track is 3 \"Cue 3\""); }));
    send(port, "/ostinel/mode", {"s", "edit"});
    EXPECT_TRUE(surface->waitForLine([](auto& l) { return is(l, "/ostinel/status/mode s \"edit\""); }));

    // Into the looping cue: its trigger reaches the gear once per pass.
    send(port, "/ostinel/track/go", {"i", "2"});
    EXPECT_TRUE(server->waitForLineContaining(R"("cue":2,"name":"Cue 2","playing":true,"mode":"edit")"));
    for (int pass = 0; pass < 3; ++pass)
        ASSERT_TRUE(gear->waitForLine([](auto& l) { return is(l, "/cue/loop/pass "); }, 10.0)) << "pass " << pass;
    EXPECT_FALSE(gear->waitForLine([](auto& l) { return is(l, "/cue/loop/pass "); }, 0.6))
        << "no second message within the pass";

    server->signal(SIGTERM);
    EXPECT_TRUE(server->waitForLineContaining("\"event\":\"stopping\""));
    EXPECT_EQ(server->waitForExit(), 0);
    EXPECT_TRUE(server->lines().back().find("\"event\":\"stopped\"") != std::string::npos);
    EXPECT_TRUE(surface->waitForLine([](auto& l) { return is(l, "/ostinel/status/playing i 0"); }))
        << "the stop fade ran before the end";
}

TEST_F(ServeOsc, LateSurfaceGetsEveryStatusOnceTheConnectionIsRebuilt) {
    const int surfacePort = freePort();
    auto server = serve({"--feedback", "localhost:" + std::to_string(surfacePort)});
    ASSERT_TRUE(server->waitForLineContaining("\"event\":\"ready\"")) << server->errorOutput();
    EXPECT_TRUE(server->waitForLineContaining("Connection refused", 10.0)) << "the refusal is told";
    auto surface = dump(surfacePort);
    for (const char* status : {"/ostinel/status/playing i 0", "/ostinel/status/track is 1 \"Cue 1\"",
                               "/ostinel/status/mode s \"show\"", "/ostinel/status/trackCount i 3"})
        ASSERT_TRUE(surface->waitForLine([&](const std::string& l) { return is(l, status); }, 30.0)) << status;
}

TEST_F(ServeOsc, BadInputAndABusyPortLeaveTheShowRunning) {
    const int busy = freePort();
    auto squatter = dump(busy);
    ASSERT_TRUE(test::runShell("oscsend 127.0.0.1 " + std::to_string(busy) + " /probe").status == 0);
    ASSERT_TRUE(squatter->waitForLineContaining("/probe"));
    auto blocked = serve({"--osc-port", std::to_string(busy), "--feedback", "no-such-host.invalid:9"});
    ASSERT_TRUE(blocked->waitForLineContaining("is in use by another program")) << blocked->errorOutput();
    EXPECT_TRUE(blocked->waitForLineContaining("\"event\":\"ready\"", 30.0));
    blocked->signal(SIGINT);
    EXPECT_EQ(blocked->waitForExit(), 0);

    const int port = freePort();
    auto server = serve({"--osc-port", std::to_string(port)});
    ASSERT_TRUE(server->waitForLineContaining("\"event\":\"ready\""));
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(std::uint16_t(port));
    const std::vector<std::string> garbage{std::string("\0\0\0\0", 4), "/ostinel/go", std::string(9000, '/'),
                                           std::string("/ostinel/track/go\0\0\0,f\0\0\x3f\x80\0\0", 28)};
    for (const auto& g : garbage) sendto(fd, g.data(), g.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
    std::vector<char> huge(65000, 'x');
    sendto(fd, huge.data(), huge.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
    close(fd);
    send(port, "/ostinel/track/go", {"i", "3"});
    EXPECT_TRUE(server->waitForLineContaining(R"("cue":3,"name":"Cue 3","playing":true)"))
        << "the unterminated address, the float index and the rest were dropped";
    for (const auto& line : server->lines()) EXPECT_EQ(line.find(R"("cue":2)"), std::string::npos) << line;
}

} // namespace
} // namespace ostinel
