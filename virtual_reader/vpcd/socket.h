// TCP connections for whoever must never wait long.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace virtual_reader {

// A descriptor that is closed with its scope.
class Socket {
  public:
    explicit Socket(int descriptor = -1) : descriptor_(descriptor) {}
    ~Socket();
    Socket(Socket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    int descriptor() const { return descriptor_; }
    bool is_open() const { return descriptor_ >= 0; }

  private:
    int descriptor_;
};

struct Address {
    std::string host;
    int port = 0;
};

// "HOST:PORT", with an IPv6 address in brackets. Throws std::invalid_argument for anything else.
Address address_from_text(std::string_view text);
std::string text_of(const Address& address);

// Where connections come from, one after the other.
class Door {
  public:
    virtual ~Door() = default;

    // The next connection, which does not block; none while there is nobody. Never waits.
    virtual std::optional<Socket> try_open() = 0;

    virtual const Address& address() const = 0;
};

// Connects, and tries again until somebody takes the connection. Throws std::runtime_error for a
// host that nobody knows.
std::unique_ptr<Door> connecting_door(const Address& address);

// Listens; port 0 becomes a free one. Throws std::runtime_error for a place that cannot be had.
std::unique_ptr<Door> listening_door(const Address& address);

}  // namespace virtual_reader
