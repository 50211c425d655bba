#include <gtest/gtest.h>

#include <QCoreApplication>

#include <chrono>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "control/OSCController.h"
#include "control/OSCDiagnostics.h"
#include "control/OSCMessage.h"
#include "document/AppState.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "platform/OfflineAudioSystem.h"
#include "platform/UdpSocket.h"
#include "playback/PlaybackEngine.h"
#include "NetworkRig.h"
#include "support/QtTestApp.h"
#include "support/ScriptedDialogs.h"
#include "support/TempDir.h"

using namespace ostinel;

namespace {

// A control surface or a piece of show gear: whatever arrives, decoded.
struct Receiver {
    std::vector<OSCMessage> messages;
    std::unique_ptr<UdpSocket> socket;
    explicit Receiver(int port = 0) {
        socket = UdpSocket::listen(port, [this](std::span<const std::uint8_t> d) {
            if (auto m = OSCMessage::decode(d)) messages.push_back(*m);
        }, {});
    }
    int port() const { return socket->localPort(); }
    std::vector<std::string> addresses() const {
        std::vector<std::string> out;
        for (auto& m : messages) out.push_back(m.address);
        return out;
    }
};

// A port nobody listens on, for now.
int unusedPort() { return Receiver().port(); }

class OSCControllerTest : public ::testing::Test, protected test::NetworkRig {
protected:
    std::unique_ptr<OSCController> osc;
    std::vector<std::string> fired;

    void make() {
        osc = std::make_unique<OSCController>(loop, preferences, dir.file("osc.log"));
        osc->actionHandler = [this](MidiAction a) { fired.push_back(std::string(midiActionName(a))); };
        osc->selectIndexHandler = [this](std::int64_t i) { fired.push_back("select " + std::to_string(i)); };
        osc->goIndexHandler = [this](std::int64_t i) { fired.push_back("go " + std::to_string(i)); };
        osc->modeHandler = [this](const std::string& m) { fired.push_back("mode " + m); };
    }
    bool pump(const std::function<bool()>& done, double seconds = 10.0) { return test::pump(loop, done, seconds); }
    void settle() { pump([] { return false; }, 0.2); }
    std::string log() {
        osc->diagnostics().flush();
        std::ifstream in(dir.file("osc.log"));
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    void addTracks(int n) {
        Show show = state.show();
        for (int i = 0; i < n; ++i) {
            Track t;
            t.name = "Cue " + std::to_string(i + 1);
            show.tracks.push_back(t);
        }
        state.setShow(show);
    }
    void sendTo(int port, const OSCMessage& message) {
        auto out = UdpSocket::connect("127.0.0.1", port, {});
        out->send(message.encoded());
    }
};

TEST_F(OSCControllerTest, CommandsArriveOverUdpAndEachFires) {
    preferences.setValue("oscEnabled", true);
    preferences.setValue("oscPort", std::int64_t(unusedPort()));
    make();
    osc->start(engine, state);
    ASSERT_TRUE(pump([&] { return osc->listenerState() == SocketState::ready; }));
    const int port = osc->boundPort();
    sendTo(port, {"/ostinel/go", {}});
    sendTo(port, {"/ostinel/go", {std::int64_t(1)}});
    sendTo(port, {"/ostinel/track/go", {1.0}});
    sendTo(port, {"/ostinel/track/go", {std::int64_t(2)}});
    sendTo(port, {"/ostinel/track/select", {std::int64_t(3)}});
    sendTo(port, {"/ostinel/mode", {std::string("show")}});
    sendTo(port, {"/other", {}});
    ASSERT_TRUE(pump([&] { return fired.size() >= 5; }));
    settle();
    EXPECT_EQ(fired, (std::vector<std::string>{"go", "go", "go 2", "select 3", "mode show"}))
        << "no debounce; a float index is ignored";
    EXPECT_EQ(osc->feedbackState(), std::nullopt);
    EXPECT_NE(log().find("listener ready on port " + std::to_string(port)), std::string::npos);
}

TEST_F(OSCControllerTest, FeedbackSendsEachStatusInOrderThenOnlyChanges) {
    addTracks(3);
    Receiver surface;
    preferences.setValue("oscFeedbackEnabled", true);
    preferences.setValue("oscFeedbackHost", std::string("127.0.0.1"));
    preferences.setValue("oscFeedbackPort", std::int64_t(surface.port()));
    make();
    osc->start(engine, state);
    EXPECT_EQ(osc->listenerState(), std::nullopt) << "feedback needs no listener";
    ASSERT_TRUE(pump([&] { return surface.messages.size() >= 4; }));
    EXPECT_EQ(surface.addresses(), (std::vector<std::string>{"/ostinel/status/playing", "/ostinel/status/track",
                                                             "/ostinel/status/mode", "/ostinel/status/trackCount"}));
    EXPECT_EQ(surface.messages[1].args, (std::vector<OSCMessage::Arg>{std::int64_t(0), std::string()}));
    EXPECT_EQ(surface.messages[3].args, std::vector<OSCMessage::Arg>{std::int64_t(3)});

    state.setSelectedTrackID(state.show().tracks[1].id);
    state.setMode(AppMode::show);
    ASSERT_TRUE(pump([&] { return surface.messages.size() >= 6; }));
    settle();
    ASSERT_EQ(surface.messages.size(), 6u) << "unchanged statuses are not sent again";
    EXPECT_EQ(surface.messages[4], (OSCMessage{"/ostinel/status/track", {std::int64_t(2), std::string("Cue 2")}}));
    EXPECT_EQ(surface.messages[5], (OSCMessage{"/ostinel/status/mode", {std::string("show")}}));

    osc->restart();
    ASSERT_TRUE(pump([&] { return surface.messages.size() >= 10; })) << "a new connection re-sends all four";
}

TEST_F(OSCControllerTest, SurfaceThatStartsLateGetsEveryStatusOnceTheHealthCheckRebuilds) {
    const int port = unusedPort();
    preferences.setValue("oscFeedbackEnabled", true);
    preferences.setValue("oscFeedbackHost", std::string("127.0.0.1"));
    preferences.setValue("oscFeedbackPort", std::int64_t(port));
    make();
    osc->start(engine, state);
    ASSERT_TRUE(pump([&] { return osc->feedbackState() == std::nullopt; }))
        << "the refusal of a closed port fails the connection";
    EXPECT_NE(log().find("feedback FAILED: Connection refused"), std::string::npos) << log();

    Receiver surface(port);
    loop.advance(OSCController::healthCheckSeconds);
    ASSERT_TRUE(pump([&] { return surface.messages.size() >= 4; }));
    EXPECT_EQ(surface.messages.front().address, "/ostinel/status/playing");
    EXPECT_NE(log().find("health: feedback connection down — rebuilding"), std::string::npos);
}

TEST_F(OSCControllerTest, PortInUseIsReportedAndRetriedWhileTheRestGoesOn) {
    Receiver squatter;
    Receiver gear;
    preferences.setValue("oscEnabled", true);
    preferences.setValue("oscPort", std::int64_t(squatter.port()));
    preferences.setValue("oscTriggerOutputEnabled", true);
    preferences.setValue("oscTriggerHost", std::string("localhost"));
    preferences.setValue("oscTriggerPort", std::int64_t(gear.port()));
    make();
    osc->start(engine, state);
    ASSERT_TRUE(pump([&] { return osc->listenerState() == std::nullopt && osc->triggerOutputState() == SocketState::ready; }));
    EXPECT_NE(osc->listenerStatus().find("is in use by another program"), std::string::npos) << osc->listenerStatus();

    OSCTrigger trigger;
    trigger.address = "cue/7/go";
    osc->send(trigger);
    ASSERT_TRUE(pump([&] { return !gear.messages.empty(); }));
    EXPECT_EQ(gear.messages.front().address, "/cue/7/go");

    squatter.socket.reset();
    loop.advance(OSCController::healthCheckSeconds);
    ASSERT_TRUE(pump([&] { return osc->listenerState() == SocketState::ready; }));
    EXPECT_NE(log().find("health: listener down — rebuilding"), std::string::npos);
}

TEST_F(OSCControllerTest, HostThatDoesNotResolveIsRebuiltAfterTwoStalledChecks) {
    preferences.setValue("oscFeedbackEnabled", true);
    preferences.setValue("oscFeedbackHost", std::string("no-such-host.invalid"));
    make();
    osc->start(engine, state);
    ASSERT_TRUE(pump([&] { return osc->feedbackState() == SocketState::waiting; }, 30.0));
    loop.advance(OSCController::healthCheckSeconds);
    EXPECT_NE(log().find("health: feedback state waiting (1×)"), std::string::npos) << log();
    loop.advance(OSCController::healthCheckSeconds);
    EXPECT_NE(log().find("health: feedback stuck in waiting — rebuilding"), std::string::npos) << log();
    EXPECT_EQ(osc->feedbackState(), SocketState::opening);
    EXPECT_TRUE(pump([&] { return osc->feedbackState() == SocketState::waiting; }, 30.0));
}

TEST_F(OSCControllerTest, TriggerRouteFromTheShowIsTakenUpWithoutBouncingBack) {
    make();
    osc->start(engine, state);
    std::vector<std::string> reported;
    osc->onTriggerRouteChanged = [&](const std::string& host, std::int64_t port) {
        reported.push_back(host + ":" + std::to_string(port));
    };
    osc->setTriggerHost("10.0.0.5");
    EXPECT_EQ(reported, std::vector<std::string>{"10.0.0.5:53000"});
    const auto restarts = [&] {
        const std::string text = log();
        std::size_t n = 0;
        for (auto at = text.find("restart: enabled"); at != std::string::npos; at = text.find("restart: enabled", at + 1)) ++n;
        return n;
    };
    const auto before = restarts();
    osc->applyTriggerRoute("10.0.0.5", 53000);
    EXPECT_EQ(restarts(), before) << "the same route restarts nothing";
    osc->applyTriggerRoute("10.0.0.6", 9000);
    EXPECT_EQ(restarts(), before + 1);
    EXPECT_EQ(reported.size(), 1u) << "a show's route is not an edit";
    EXPECT_EQ(osc->triggerHost(), "10.0.0.6");
    EXPECT_EQ(preferences.stringValue("oscTriggerHost"), "10.0.0.5") << "nor written over the machine's";
}

} // namespace
