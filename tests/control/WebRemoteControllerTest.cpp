#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "NetworkRig.h"
#include "control/WebRemoteController.h"
#include "control/WebSocketCodec.h"
#include "document/AppState.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "platform/OfflineAudioSystem.h"
#include "playback/PlaybackEngine.h"
#include "support/QtTestApp.h"
#include "support/ScriptedDialogs.h"
#include "support/TempDir.h"

using namespace ostinel;
namespace ws = ostinel::WebSocketCodec;

namespace {

using Json = nlohmann::json;

int freeTcpPort() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

using test::pump;

// A browser's side of the conversation, written from the protocol.
class Client {
public:
    Client(ManualMainLoop& loop, int port) : loop_(loop) { socket_.connectToHost("127.0.0.1", quint16(port)); }
    bool upgrade(const std::string& origin = "") {
        std::string head = "GET /ws HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(socket_.peerPort()) +
                           "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
        if (!origin.empty()) head += "Origin: " + origin + "\r\n";
        return raw(head + "\r\n") && pump(loop_, [&] { return response().find("\r\n\r\n") != std::string::npos; }) &&
               response().starts_with("HTTP/1.1 101");
    }
    bool raw(const std::string& bytes) {
        if (!pump(loop_, [&] { return socket_.state() == QAbstractSocket::ConnectedState; })) return false;
        socket_.write(bytes.data(), qint64(bytes.size()));
        return socket_.flush() || true;
    }
    void send(const Json& message) {
        const std::string text = message.dump();
        auto frame = ws::encodeFrame(ws::Opcode::text, text);
        frame[1] |= 0x80; // masked, with a key of zeros
        frame.insert(frame.begin() + std::ptrdiff_t(frame.size() - text.size()), 4, 0);
        raw(std::string(frame.begin(), frame.end()));
    }
    // The next message of type `t`, or null after the deadline.
    Json next(const std::string& t, double seconds = 10.0) {
        Json found;
        pump(loop_, [&] {
            read();
            while (!messages_.empty()) {
                Json m = messages_.front();
                messages_.erase(messages_.begin());
                if (m.value("t", "") == t) {
                    found = m;
                    return true;
                }
            }
            return false;
        }, seconds);
        return found;
    }
    std::vector<std::string> types() {
        std::vector<std::string> out;
        for (auto& m : messages_) out.push_back(m.value("t", ""));
        return out;
    }
    const std::string& response() {
        read();
        return response_;
    }
    bool closed() {
        read();
        return socket_.state() == QAbstractSocket::UnconnectedState;
    }

private:
    void read() {
        const QByteArray bytes = socket_.readAll();
        if (response_.find("\r\n\r\n") == std::string::npos) {
            response_ += bytes.toStdString();
            const auto end = response_.find("\r\n\r\n");
            if (end == std::string::npos || !response_.starts_with("HTTP/1.1 101")) return;
            buffer_.assign(response_.begin() + std::ptrdiff_t(end + 4), response_.end());
            response_.resize(end + 4);
        } else {
            buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
        }
        while (auto frame = ws::parseFrame(buffer_)) {
            buffer_.erase(buffer_.begin(), buffer_.begin() + std::ptrdiff_t(frame->consumed));
            if (frame->value.opcode == 1)
                messages_.push_back(Json::parse(frame->value.payload.begin(), frame->value.payload.end()));
        }
    }
    friend class WebRemoteTest;
    ManualMainLoop& loop_;
    QTcpSocket socket_;
    std::string response_;
    std::vector<std::uint8_t> buffer_;
    std::vector<Json> messages_;

public:
    bool hasMessages() {
        read();
        return !messages_.empty();
    }
};

class WebRemoteTest : public ::testing::Test, protected test::NetworkRig {
protected:
    std::unique_ptr<WebRemoteController> remote;
    std::vector<std::string> fired;
    int port = freeTcpPort();

    void SetUp() override {
        preferences.setValue("remoteEnabled", true);
        preferences.setValue("remotePort", std::int64_t(port));
        preferences.setValue("remotePIN", std::string("4711"));
        Show show = state.show();
        show.name = "Gala";
        for (const char* name : {"Intro", "Song"}) {
            Track t;
            t.name = name;
            show.tracks.push_back(t);
        }
        state.setShow(show);
        remote = std::make_unique<WebRemoteController>(loop, preferences, "<html>page</html>", "1.0");
        remote->actionHandler = [this](MidiAction a) { fired.push_back(std::string(midiActionName(a))); };
        remote->panicHandler = [this] { fired.push_back("panic"); };
        remote->goIndexHandler = [this](std::int64_t i) { fired.push_back("cue " + std::to_string(i)); };
        remote->start(engine, state);
        ASSERT_TRUE(remote->isListening()) << remote->problem().value_or("");
    }
    std::unique_ptr<Client> signedIn() {
        auto client = std::make_unique<Client>(loop, port);
        EXPECT_TRUE(client->upgrade());
        client->send({{"t", "auth"}, {"pin", "4711"}});
        EXPECT_EQ(client->next("auth").value("ok", false), true);
        EXPECT_FALSE(client->next("state").is_null()) << "the state as it stands follows the sign-in";
        return client;
    }
};

TEST_F(WebRemoteTest, SignInGetsReplyStateAndPositionInOrderThenCommandsWork) {
    Client client(loop, port);
    ASSERT_TRUE(client.upgrade());
    EXPECT_NE(client.response().find("Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo="), std::string::npos);
    client.send({{"t", "go"}});
    client.send({{"t", "auth"}, {"pin", "4711"}});
    ASSERT_TRUE(pump(loop, [&] { client.hasMessages(); return client.types().size() >= 3; }));
    EXPECT_EQ(client.types(), (std::vector<std::string>{"auth", "state", "pos"}));
    EXPECT_TRUE(fired.empty()) << "go before auth does nothing";
    const Json auth = client.next("auth");
    EXPECT_EQ(auth["proto"], 1);
    const Json state0 = client.next("state");
    EXPECT_EQ(state0["show"], "Gala");
    EXPECT_EQ(state0["cues"].size(), 2u);
    EXPECT_EQ(state0["cues"][1]["name"], "Song");
    EXPECT_EQ(remote->clientCount(), 1);

    client.send({{"t", "go"}});
    client.send({{"t", "cue"}, {"i", 2}});
    client.send({{"t", "cue"}, {"i", "2"}});
    client.send({{"t", "panic"}});
    client.send(Json::parse(R"({"t":"launch"})"));
    ASSERT_TRUE(pump(loop, [&] { return fired.size() >= 3; }));
    EXPECT_EQ(fired, (std::vector<std::string>{"go", "cue 2", "panic"}));

    state.setSelectedTrackID(state.show().tracks[1].id);
    EXPECT_EQ(client.next("state")["current"], 2);
    state.setShow(state.show()); // published again, nothing visible changed
    state.setMode(AppMode::edit);
    EXPECT_TRUE(client.next("state", 0.5).is_null()) << "an unchanged state is not sent again";
}

TEST_F(WebRemoteTest, RenamingTheShowRepublishesWithoutDroppingAnyone) {
    std::vector<std::string> announced;
    remote->onShowNameChanged = [&](const std::string& name) { announced.push_back(name); };
    auto client = signedIn();
    Show show = state.show();
    show.name = "Gala, second night";
    state.setShow(show);
    EXPECT_EQ(client->next("state")["show"], "Gala, second night");
    EXPECT_EQ(announced.back(), "Gala, second night");
    EXPECT_FALSE(client->closed());
    EXPECT_EQ(remote->clientCount(), 1);
}

TEST_F(WebRemoteTest, WrongPinsLockOutAndTimeReleases) {
    Client client(loop, port);
    ASSERT_TRUE(client.upgrade());
    for (int i = 0; i < 5; ++i) {
        client.send({{"t", "auth"}, {"pin", "0000"}});
        EXPECT_EQ(client.next("auth")["msg"], "Wrong PIN.");
    }
    client.send({{"t", "auth"}, {"pin", "4711"}});
    EXPECT_EQ(client.next("auth")["msg"], "Too many wrong PINs — wait a minute.");
    loop.advance(61.0);
    client.send({{"t", "auth"}, {"pin", "4711"}});
    EXPECT_EQ(client.next("auth")["ok"], true);
    EXPECT_FALSE(client.closed()) << "a wrong PIN never closes the connection";
}

TEST_F(WebRemoteTest, SlotsAreBoundedAndAnIdlePageIsLetGo) {
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 16; ++i) {
        clients.push_back(std::make_unique<Client>(loop, port));
        ASSERT_TRUE(clients.back()->upgrade()) << i;
    }
    Client seventeenth(loop, port);
    EXPECT_TRUE(pump(loop, [&] { return seventeenth.closed(); })) << "the 17th is closed at once";
    clients.front()->send({{"t", "auth"}, {"pin", "4711"}});
    EXPECT_EQ(clients.front()->next("auth")["ok"], true);
    loop.advance(WebRemoteController::signInSeconds + 1);
    EXPECT_TRUE(pump(loop, [&] { return clients.back()->closed(); })) << "never signed in";
    EXPECT_FALSE(clients.front()->closed());
    auto later = signedIn();
    EXPECT_EQ(remote->clientCount(), 2);

    remote->regeneratePIN();
    EXPECT_TRUE(pump(loop, [&] { return clients.front()->closed() && later->closed(); })) << "a new PIN signs all out";
    EXPECT_NE(remote->pin(), "4711");
}

TEST_F(WebRemoteTest, PageForeignOriginAndGarbageAreAnsweredOrDropped) {
    Client page(loop, port);
    page.raw("GET /index.html HTTP/1.1\r\nHost: x\r\n");
    page.raw("\r\n"); // the request split over two reads
    ASSERT_TRUE(pump(loop, [&] { return page.closed(); }));
    EXPECT_TRUE(page.response().starts_with("HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8"));
    EXPECT_TRUE(page.response().ends_with("<html>page</html>"));

    Client missing(loop, port);
    missing.raw("GET /favicon.ico HTTP/1.1\r\n\r\n");
    ASSERT_TRUE(pump(loop, [&] { return missing.closed(); }));
    EXPECT_TRUE(missing.response().starts_with("HTTP/1.1 404 Not Found"));

    Client foreign(loop, port);
    EXPECT_FALSE(foreign.upgrade("http://evil.example"));
    EXPECT_TRUE(foreign.response().starts_with("HTTP/1.1 403 Forbidden"));

    Client huge(loop, port);
    ASSERT_TRUE(huge.upgrade());
    huge.raw(std::string("\x81\x7f\x00\x00\x00\x00\x00\x10\x00\x01", 10));
    EXPECT_TRUE(pump(loop, [&] { return huge.closed(); })) << "0x100001 bytes announced: closed without waiting";

    Client endless(loop, port);
    endless.raw(std::string(20000, 'G'));
    EXPECT_TRUE(pump(loop, [&] { return endless.closed(); })) << "a head that never ends";

    auto fine = signedIn();
    EXPECT_TRUE(remote->isListening());
}

TEST_F(WebRemoteTest, BadPortOrBusyPortIsAProblemNotACrash) {
    remote->setPort(70000);
    EXPECT_EQ(remote->problem(), "Choose a port between 1 and 65535.");
    EXPECT_FALSE(remote->isListening());
    QTcpServer squatter;
    const int busy = freeTcpPort();
    ASSERT_TRUE(squatter.listen(QHostAddress::Any, quint16(busy)));
    remote->setPort(busy);
    loop.advance(WebRemoteController::bindRetrySeconds * 4);
    EXPECT_EQ(remote->problem(), "The remote could not listen on port " + std::to_string(busy));
    squatter.close();
    remote->restart();
    EXPECT_TRUE(remote->isListening());
    EXPECT_EQ(remote->problem(), std::nullopt);
}

} // namespace
