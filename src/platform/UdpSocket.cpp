#include "platform/UdpSocket.h"

#include <QSocketNotifier>
#include <QTimer>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <thread>

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
    socket->lookUp(host);
    return socket;
}

// A name is looked up on a thread of its own, which may outlive the socket
// (a resolver can take seconds to give up); the answer comes back through
// an event descriptor the main loop watches, and is dropped if nobody waits.
struct UdpSocket::Lookup {
    std::mutex mutex;
    std::vector<std::uint8_t> address;
    int family = 0;
    std::string error;
    int wake = -1;
    ~Lookup() {
        if (wake >= 0) ::close(wake);
    }
};

void UdpSocket::lookUp(const std::string& host) {
    auto lookup = std::make_shared<Lookup>();
    lookup->wake = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (lookup->wake < 0) {
        setState(SocketState::waiting, errorText(errno));
        return;
    }
    lookup_ = lookup;
    lookupNotifier_ = std::make_unique<QSocketNotifier>(lookup->wake, QSocketNotifier::Read);
    QObject::connect(lookupNotifier_.get(), &QSocketNotifier::activated, [this] { lookedUp(); });
    std::thread([lookup, host] {
        addrinfo hints{};
        hints.ai_socktype = SOCK_DGRAM;
        addrinfo* found = nullptr;
        const int status = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
        {
            std::lock_guard lock(lookup->mutex);
            // IPv4 first: show gear rarely listens on IPv6.
            const addrinfo* pick = nullptr;
            for (const addrinfo* a = status == 0 ? found : nullptr; a; a = a->ai_next)
                if (a->ai_family == AF_INET || (a->ai_family == AF_INET6 && !pick)) pick = a;
            if (pick && pick->ai_family == AF_INET) {
                const auto* in = reinterpret_cast<const sockaddr_in*>(pick->ai_addr);
                const auto* raw = reinterpret_cast<const std::uint8_t*>(&in->sin_addr);
                lookup->address.assign(raw, raw + 4);
                lookup->family = AF_INET;
            } else if (pick) {
                const auto* in = reinterpret_cast<const sockaddr_in6*>(pick->ai_addr);
                const auto* raw = reinterpret_cast<const std::uint8_t*>(&in->sin6_addr);
                lookup->address.assign(raw, raw + 16);
                lookup->family = AF_INET6;
            } else {
                lookup->error = "host " + host + " not found";
            }
        }
        if (found) ::freeaddrinfo(found);
        const std::uint64_t one = 1;
        [[maybe_unused]] auto written = ::write(lookup->wake, &one, sizeof one);
    }).detach();
}

void UdpSocket::lookedUp() {
    lookupNotifier_.reset();
    auto lookup = std::move(lookup_);
    std::vector<std::uint8_t> address;
    int family = 0;
    std::string error;
    {
        std::lock_guard lock(lookup->mutex);
        address = lookup->address;
        family = lookup->family;
        error = lookup->error;
    }
    if (family == 0) setState(SocketState::waiting, error);
    else connectTo(address, family);
}

UdpSocket::~UdpSocket() {
    lookupNotifier_.reset();
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
    if (receiveBuffer_.empty()) receiveBuffer_.resize(maxDatagramBytes + 1);
    for (int i = 0; i < 64; ++i) {
        const ssize_t n = ::recv(fd_, receiveBuffer_.data(), receiveBuffer_.size(), MSG_TRUNC);
        if (n < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return;
            notifier_->setEnabled(false);
            setState(SocketState::failed, errorText(errno));
            return;
        }
        if (!listening_ || std::size_t(n) > maxDatagramBytes) continue;
        if (onDatagram_) onDatagram_(std::span(receiveBuffer_.data(), std::size_t(n)));
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
