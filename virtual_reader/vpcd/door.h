// TCP connections for whoever must never wait long.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "socket.h"

namespace virtual_reader {

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
