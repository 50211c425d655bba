#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

class QSocketNotifier;

namespace ostinel {

// Where a socket is in its life. A failed one stays failed: its owner drops
// it and makes a new one.
enum class SocketState { opening, ready, waiting, failed };
const char* socketStateName(SocketState state);

// Non-blocking UDP on the main thread, Qt's event loop telling when a
// datagram or an error arrives. Nothing here ever waits: a host name is
// looked up on a thread of its own.
class UdpSocket {
public:
    // Largest datagram taken in; a longer one is dropped whole.
    static constexpr std::size_t maxDatagramBytes = 65507;

    using StateHandler = std::function<void(SocketState, const std::string& error)>;
    using DatagramHandler = std::function<void(std::span<const std::uint8_t>)>;

    // A listener on every address, IPv6 and IPv4 alike. It is ready at once,
    // or failed with the reason (a port in use) reported on the next turn of
    // the event loop, like every other state change.
    static std::unique_ptr<UdpSocket> listen(int port, DatagramHandler onDatagram, StateHandler onState);
    // A sender to one host: an IPv4 or IPv6 address, or a name that is looked
    // up first (opening meanwhile; waiting when it does not resolve). A
    // refusal by the other end (nobody listening) fails the socket.
    static std::unique_ptr<UdpSocket> connect(const std::string& host, int port, StateHandler onState);

    ~UdpSocket();
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    // The handler may come after creation: states are reported later anyway.
    void setStateHandler(StateHandler handler) { onState_ = std::move(handler); }
    SocketState state() const { return state_; }
    const std::string& error() const { return error_; }
    // The ready test of the health check: bound, and no error pending in
    // the kernel. A pending error fails the socket here.
    bool checkReady();
    // One datagram. While a name is looked up, a few are kept and sent once
    // it resolves. Returns the error text, empty on success.
    std::string send(std::span<const std::uint8_t> datagram);
    // The local port, for a listener on port 0 in tests.
    int localPort() const;

private:
    UdpSocket() = default;
    void setState(SocketState state, std::string error = {});
    void connectTo(const std::vector<std::uint8_t>& address, int family);
    void readable();
    void watch();
    struct Lookup;
    void lookUp(const std::string& host);
    void lookedUp();

    int fd_ = -1;
    int port_ = 0;
    SocketState state_ = SocketState::opening;
    std::string error_;
    bool listening_ = false;
    StateHandler onState_;
    DatagramHandler onDatagram_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::deque<std::vector<std::uint8_t>> pending_;
    // A listener's, made at its first datagram and kept.
    std::vector<std::uint8_t> receiveBuffer_;
    std::shared_ptr<Lookup> lookup_;
    std::unique_ptr<QSocketNotifier> lookupNotifier_;
    // A posted state holds this weakly.
    std::shared_ptr<UdpSocket*> self_ = std::make_shared<UdpSocket*>(this);
};

} // namespace ostinel
