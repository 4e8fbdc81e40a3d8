#include "vpcd/door.h"

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace virtual_reader {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds between_tries{200};
constexpr std::chrono::seconds try_limit{5};
constexpr int highest_port = 65535;

struct Endpoint {
    sockaddr_storage storage{};
    socklen_t size = 0;

    const sockaddr* address() const { return reinterpret_cast<const sockaddr*>(&storage); }
    sockaddr* address() { return reinterpret_cast<sockaddr*>(&storage); }
};

[[noreturn]] void refuse(const Address& address, const std::string& what) {
    throw std::runtime_error(text_of(address) + ": " + what);
}

std::vector<Endpoint> endpoints_of(const Address& address) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error =
        getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &found);
    if (error != 0) refuse(address, gai_strerror(error));
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
    std::vector<Endpoint> endpoints;
    for (const addrinfo* one = found; one != nullptr; one = one->ai_next) {
        Endpoint endpoint;
        if (one->ai_addrlen > sizeof endpoint.storage) continue;
        std::memcpy(&endpoint.storage, one->ai_addr, one->ai_addrlen);
        endpoint.size = one->ai_addrlen;
        endpoints.push_back(endpoint);
    }
    if (endpoints.empty()) refuse(address, "has no address");
    return endpoints;
}

Socket new_socket(const Endpoint& endpoint) {
    return Socket(
        socket(endpoint.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

// Messages are small and each waits for the one before.
Socket without_delay(Socket socket) {
    const int on = 1;
    setsockopt(socket.descriptor(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return socket;
}

// While nobody listens at a port, a connection to it may be given that very port for its own end.
bool is_to_itself(const Socket& socket) {
    Endpoint own;
    Endpoint other;
    own.size = other.size = sizeof own.storage;
    return getsockname(socket.descriptor(), own.address(), &own.size) == 0 &&
           getpeername(socket.descriptor(), other.address(), &other.size) == 0 &&
           own.size == other.size && std::memcmp(&own.storage, &other.storage, own.size) == 0;
}

class ConnectingDoor final : public Door {
  public:
    explicit ConnectingDoor(const Address& address)
        : address_(address), endpoints_(endpoints_of(address)) {}

    const Address& address() const override { return address_; }

    std::optional<Socket> try_open() override {
        if (!pending_.is_open() && !begin()) return std::nullopt;
        pollfd state{pending_.descriptor(), POLLOUT, 0};
        if (poll(&state, 1, 0) <= 0) {
            if (Clock::now() > began_ + try_limit) give_up();
            return std::nullopt;
        }
        int error = 0;
        socklen_t size = sizeof error;
        getsockopt(pending_.descriptor(), SOL_SOCKET, SO_ERROR, &error, &size);
        if (error != 0 || is_to_itself(pending_)) {
            give_up();
            return std::nullopt;
        }
        return without_delay(std::exchange(pending_, Socket()));
    }

  private:
    bool begin() {
        if (Clock::now() < next_) return false;
        began_ = Clock::now();
        next_ = began_ + between_tries;
        const Endpoint& endpoint = endpoints_[turn_++ % endpoints_.size()];
        pending_ = new_socket(endpoint);
        if (!pending_.is_open()) return false;
        if (connect(pending_.descriptor(), endpoint.address(), endpoint.size) != 0 &&
            errno != EINPROGRESS)
            give_up();
        return pending_.is_open();
    }

    void give_up() { pending_ = Socket(); }

    Address address_;
    std::vector<Endpoint> endpoints_;
    std::size_t turn_ = 0;
    Socket pending_;
    Clock::time_point began_{};
    Clock::time_point next_{};
};

int port_of(const Socket& socket) {
    Endpoint own;
    own.size = sizeof own.storage;
    getsockname(socket.descriptor(), own.address(), &own.size);
    const void* const bytes = &own.storage;
    return ntohs(own.storage.ss_family == AF_INET6
                     ? static_cast<const sockaddr_in6*>(bytes)->sin6_port
                     : static_cast<const sockaddr_in*>(bytes)->sin_port);
}

class ListeningDoor final : public Door {
  public:
    explicit ListeningDoor(const Address& address) : address_(address) {
        for (const Endpoint& endpoint : endpoints_of(address)) {
            if (listen_at(endpoint)) return;
        }
        refuse(address, std::strerror(errno));
    }

    const Address& address() const override { return address_; }

    std::optional<Socket> try_open() override {
        Socket socket(
            accept4(listener_.descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket.is_open()) return std::nullopt;
        return without_delay(std::move(socket));
    }

  private:
    bool listen_at(const Endpoint& endpoint) {
        listener_ = new_socket(endpoint);
        const int on = 1;
        setsockopt(listener_.descriptor(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        constexpr int waiting = 4;
        if (bind(listener_.descriptor(), endpoint.address(), endpoint.size) != 0 ||
            listen(listener_.descriptor(), waiting) != 0)
            return false;
        address_.port = port_of(listener_);
        return true;
    }

    Address address_;
    Socket listener_;
};

}  // namespace

Address address_from_text(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    const std::string_view port = colon == std::string_view::npos ? "" : text.substr(colon + 1);
    std::string_view host = text.substr(0, colon == std::string_view::npos ? 0 : colon);
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string_view::npos) {
        host = {};
    }
    int number = -1;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (host.empty() || error != std::errc{} || end != port.data() + port.size() || number < 0 ||
        number > highest_port)
        throw std::invalid_argument("expected HOST:PORT, not " + std::string(text));
    return {std::string(host), number};
}

std::string text_of(const Address& address) {
    const bool bracketed = address.host.find(':') != std::string::npos;
    return (bracketed ? "[" + address.host + "]" : address.host) + ":" +
           std::to_string(address.port);
}

std::unique_ptr<Door> connecting_door(const Address& address) {
    return std::make_unique<ConnectingDoor>(address);
}

std::unique_ptr<Door> listening_door(const Address& address) {
    return std::make_unique<ListeningDoor>(address);
}

}  // namespace virtual_reader
