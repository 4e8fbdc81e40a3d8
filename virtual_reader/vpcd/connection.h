// Messages between a reader and a card that speak as vsmartcard's vpcd does. Each is a length of
// two bytes, the high one first, and so many bytes:
//
//   00   the reader takes the card's power     01   gives it
//   02   resets the card                       04   asks for its answer to reset
//
// are the reader's messages of one byte; those to 04 and to commands, which are longer, the card
// answers. One without bytes is the answer of a card that says nothing.
#pragma once

#include <chrono>
#include <optional>

#include "bytes.h"
#include "socket.h"

namespace virtual_reader {

enum class VpcdControl : std::uint8_t { power_off = 0, power_on = 1, reset = 2, answer = 4 };

constexpr std::size_t longest_vpcd_message = 0xFFFF;

// Length and body; a body that is too long is left out.
Bytes vpcd_message(View body);

// Takes bodies out of bytes, whatever the pieces in which they come.
class VpcdMessages {
  public:
    void feed(View bytes) { append(held_, bytes); }
    std::optional<Bytes> next();

    // Whether a message has begun and not ended; called when there is no next one.
    bool is_within() const { return !held_.empty(); }

  private:
    Bytes held_;
};

// How long the other side may take over what it has begun.
struct VpcdLimits {
    std::chrono::milliseconds message{5000};  // to end one
    std::chrono::milliseconds sending{1000};  // to take one
};

// A connection that ends by itself when the other side closes it, or takes too long.
class VpcdConnection {
  public:
    explicit VpcdConnection(Socket socket, VpcdLimits limits = {})
        : socket_(std::move(socket)), limits_(limits) {}

    // Readable when a message comes; -1 once it has ended.
    int descriptor() const { return socket_.descriptor(); }

    // Whether the other side is still there.
    bool is_open();

    // The next message, if it is there, or comes within the limit.
    std::optional<Bytes> take();
    std::optional<Bytes> take(std::chrono::milliseconds limit);

    // Bytes as they stand.
    void send(View bytes);

    // What came unasked is gone. Who does not stop talking is cut off.
    void forget();

    void close() { socket_ = Socket(); }

  private:
    using Clock = std::chrono::steady_clock;

    bool read_available();
    void watch_unfinished();

    Socket socket_;
    VpcdLimits limits_;
    VpcdMessages messages_;
    std::optional<Clock::time_point> unfinished_since_;
};

}  // namespace virtual_reader
