#include "platform/UdpSocket.h"

#include <QHostAddress>
#include <QHostInfo>
#include <QSocketNotifier>
#include <QTimer>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace ostinel {

namespace {

// Enough for a burst of statuses sent while a name is being looked up.
constexpr std::size_t maxPendingDatagrams = 64;

std::string errorText(int error) { return std::strerror(error); }

int openSocket(int family) {
    return ::socket(family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

} // namespace

const char* socketStateName(SocketState state) {
    switch (state) {
    case SocketState::opening: return "opening";
    case SocketState::ready: return "ready";
    case SocketState::waiting: return "waiting";
    case SocketState::failed: return "failed";
    }
    return "unknown";
}

std::unique_ptr<UdpSocket> UdpSocket::listen(int port, DatagramHandler onDatagram, StateHandler onState) {
    std::unique_ptr<UdpSocket> socket(new UdpSocket);
    socket->listening_ = true;
    socket->port_ = port;
    socket->onDatagram_ = std::move(onDatagram);
    socket->onState_ = std::move(onState);

    // One dual-stack socket where IPv6 exists, plain IPv4 where it doesn't.
    int fd = openSocket(AF_INET6);
    int bound = -1;
    if (fd >= 0) {
        int off = 0;
        ::setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_addr = in6addr_any;
        address.sin6_port = htons(std::uint16_t(port));
        bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        if (bound != 0 && errno != EADDRINUSE && errno != EACCES) {
            ::close(fd);
            fd = -1;
        }
    }
    if (fd < 0) {
        fd = openSocket(AF_INET);
        if (fd >= 0) {
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_ANY);
            address.sin_port = htons(std::uint16_t(port));
            bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        }
    }
    if (fd < 0 || bound != 0) {
        const int error = errno;
        if (fd >= 0) ::close(fd);
        socket->setState(SocketState::failed, errorText(error));
        return socket;
    }
    socket->fd_ = fd;
    socket->watch();
    socket->setState(SocketState::ready);
    return socket;
}

std::unique_ptr<UdpSocket> UdpSocket::connect(const std::string& host, int port, StateHandler onState) {
    std::unique_ptr<UdpSocket> socket(new UdpSocket);
    socket->port_ = port;
    socket->onState_ = std::move(onState);

    std::vector<std::uint8_t> address(16);
    if (::inet_pton(AF_INET, host.c_str(), address.data()) == 1) {
        address.resize(4);
        socket->connectTo(address, AF_INET);
        return socket;
    }
    if (::inet_pton(AF_INET6, host.c_str(), address.data()) == 1) {
        socket->connectTo(address, AF_INET6);
        return socket;
    }
    std::weak_ptr<UdpSocket*> weak = socket->self_;
    // The context ends with the socket, and with it the answer's delivery.
    socket->lookupContext_ = std::make_unique<QObject>();
    QHostInfo::lookupHost(QString::fromStdString(host), socket->lookupContext_.get(), [weak, host](const QHostInfo& info) {
        auto self = weak.lock();
        if (!self) return;
        UdpSocket& me = **self;
        const auto addresses = info.addresses();
        // IPv4 first: show gear rarely listens on IPv6.
        auto it = std::find_if(addresses.begin(), addresses.end(),
                               [](const QHostAddress& a) { return a.protocol() == QAbstractSocket::IPv4Protocol; });
        if (it == addresses.end()) it = addresses.begin();
        if (info.error() != QHostInfo::NoError || it == addresses.end()) {
            me.setState(SocketState::waiting, "host " + host + " not found");
            return;
        }
        std::vector<std::uint8_t> bytes;
        if (it->protocol() == QAbstractSocket::IPv4Protocol) {
            const quint32 v4 = htonl(it->toIPv4Address());
            const auto* raw = reinterpret_cast<const std::uint8_t*>(&v4);
            bytes.assign(raw, raw + 4);
            me.connectTo(bytes, AF_INET);
        } else {
            const Q_IPV6ADDR v6 = it->toIPv6Address();
            bytes.assign(v6.c, v6.c + 16);
            me.connectTo(bytes, AF_INET6);
        }
    });
    return socket;
}

UdpSocket::~UdpSocket() {
    notifier_.reset();
    if (fd_ >= 0) ::close(fd_);
}

void UdpSocket::connectTo(const std::vector<std::uint8_t>& address, int family) {
    const int fd = openSocket(family);
    int result = -1;
    if (fd >= 0) {
        if (family == AF_INET) {
            sockaddr_in to{};
            to.sin_family = AF_INET;
            std::memcpy(&to.sin_addr, address.data(), 4);
            to.sin_port = htons(std::uint16_t(port_));
            result = ::connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to);
        } else {
            sockaddr_in6 to{};
            to.sin6_family = AF_INET6;
            std::memcpy(&to.sin6_addr, address.data(), 16);
            to.sin6_port = htons(std::uint16_t(port_));
            result = ::connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to);
        }
    }
    if (fd < 0 || result != 0) {
        const int error = errno;
        if (fd >= 0) ::close(fd);
        // No route now may be a route later: the health check tries again.
        setState(SocketState::waiting, errorText(error));
        return;
    }
    fd_ = fd;
    watch();
    setState(SocketState::ready);
    auto pending = std::move(pending_);
    pending_.clear();
    for (auto& datagram : pending) send(datagram);
}

void UdpSocket::watch() {
    notifier_ = std::make_unique<QSocketNotifier>(fd_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { readable(); });
}

void UdpSocket::readable() {
    // Ours, so a handler that drops this socket is noticed before the next read.
    std::weak_ptr<UdpSocket*> weak = self_;
    std::vector<std::uint8_t> buffer(maxDatagramBytes + 1);
    for (int i = 0; i < 64; ++i) {
        const ssize_t n = ::recv(fd_, buffer.data(), buffer.size(), MSG_TRUNC);
        if (n < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return;
            notifier_->setEnabled(false);
            setState(SocketState::failed, errorText(errno));
            return;
        }
        if (!listening_ || std::size_t(n) > maxDatagramBytes) continue;
        if (onDatagram_) onDatagram_(std::span(buffer.data(), std::size_t(n)));
        if (weak.expired()) return;
    }
}

bool UdpSocket::checkReady() {
    if (state_ != SocketState::ready || fd_ < 0) return false;
    int error = 0;
    socklen_t length = sizeof error;
    if (::getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &length) != 0) error = errno;
    if (error == 0) return true;
    // Reported at once: the caller is the health check and acts on it now.
    state_ = SocketState::failed;
    error_ = errorText(error);
    if (notifier_) notifier_->setEnabled(false);
    return false;
}

std::string UdpSocket::send(std::span<const std::uint8_t> datagram) {
    if (state_ == SocketState::opening && !listening_) {
        if (pending_.size() >= maxPendingDatagrams) pending_.pop_front();
        pending_.emplace_back(datagram.begin(), datagram.end());
        return {};
    }
    if (state_ != SocketState::ready || fd_ < 0) return error_.empty() ? "not connected" : error_;
    if (::send(fd_, datagram.data(), datagram.size(), MSG_NOSIGNAL) >= 0) return {};
    const int error = errno;
    if (error == ECONNREFUSED) {
        notifier_->setEnabled(false);
        setState(SocketState::failed, errorText(error));
    }
    return errorText(error);
}

int UdpSocket::localPort() const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (fd_ < 0 || ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
    if (address.ss_family == AF_INET6) return ntohs(reinterpret_cast<sockaddr_in6*>(&address)->sin6_port);
    return ntohs(reinterpret_cast<sockaddr_in*>(&address)->sin_port);
}

void UdpSocket::setState(SocketState state, std::string error) {
    state_ = state;
    error_ = std::move(error);
    // Never from inside the call that made the change: the owner may be in
    // the middle of storing this socket.
    std::weak_ptr<UdpSocket*> weak = self_;
    QTimer::singleShot(0, [weak, state, error = error_] {
        auto self = weak.lock();
        if (self && (*self)->onState_) (*self)->onState_(state, error);
    });
}

} // namespace ostinel
