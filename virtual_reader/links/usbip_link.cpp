#include "links/usbip_link.h"

#include <array>
#include <cerrno>

#include <sys/socket.h>
#include <unistd.h>

namespace virtual_reader {
namespace {

// All words begin with 48 bytes, numbers big-endian:
//
//   0 command | 4 number | 8 device | 12 direction | 16 endpoint | 20 to 47 by command
//   submit: 20 flags | 24 length | 28 first frame | 32 packets | 36 interval | 40 setup
//   its answer: 20 status | 24 length | 28 first frame | 32 packets | 36 errors
//   unlink: 20 number of the transfer to take back; its answer: 20 status
//
// Data to the device follows a submit, data to the host follows its answer.
constexpr std::size_t word_size = 48;
constexpr std::size_t number_at = 4;
constexpr std::size_t direction_at = 12;
constexpr std::size_t endpoint_at = 16;
constexpr std::size_t body_at = 20;
constexpr std::size_t length_at = 24;
constexpr std::size_t packets_at = 32;
constexpr std::size_t setup_at = 40;

enum Command : std::uint32_t {
    command_submit = 1,
    command_unlink = 2,
    answer_submit = 3,
    answer_unlink = 4,
};

constexpr std::uint32_t direction_in = 1;
constexpr std::uint32_t no_packets = 0xFFFFFFFF;  // newer hosts say so of what is not isochronous
constexpr std::uint32_t most_endpoints = 16;
constexpr std::uint32_t most_output = 65536;  // above all that a host may send in one transfer
constexpr std::uint32_t most_room = 0x7FFFFFFF;

std::uint32_t number(View word, std::size_t at) {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : word.subspan(at, 4))
        value = value << 8 | byte;
    return value;
}

void put_number(Bytes& word, std::size_t at, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i)
        word[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

Bytes answer(Command command, std::uint64_t to, int status) {
    Bytes word(word_size);
    put_number(word, 0, command);
    put_number(word, number_at, static_cast<std::uint32_t>(to));
    put_number(word, body_at, static_cast<std::uint32_t>(status));
    return word;
}

bool is_in(View word) {
    return number(word, direction_at) == direction_in;
}

// The bytes that follow a word, or nothing for a word that makes no sense.
std::optional<std::size_t> data_behind(View word) {
    if (number(word, direction_at) > direction_in || number(word, endpoint_at) >= most_endpoints)
        return std::nullopt;
    if (number(word, 0) == command_unlink) return 0;
    const std::uint32_t packets = number(word, packets_at);
    const std::uint32_t length = number(word, length_at);
    if (number(word, 0) != command_submit || (packets != 0 && packets != no_packets) ||
        length > (is_in(word) ? most_room : most_output)) {
        return std::nullopt;
    }
    return is_in(word) ? 0 : length;
}

}  // namespace

UsbipLink::~UsbipLink() {
    close(stream_);
}

bool UsbipLink::serve() {
    if (!receive() || !take_words()) return false;
    for (const UsbResult& result : device_.take_finished()) {
        if (!send(result)) return false;
    }
    return true;
}

bool UsbipLink::receive() {
    std::array<std::uint8_t, 4096> bytes;
    const ssize_t count = recv(stream_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    append(input_, View(bytes).first(static_cast<std::size_t>(count)));
    return count > 0;
}

bool UsbipLink::take_words() {
    while (input_.size() >= word_size) {
        const Bytes word(input_.begin(), input_.begin() + word_size);
        const std::optional<std::size_t> behind = data_behind(word);
        if (!behind) return false;
        const std::size_t whole = word_size + *behind;
        if (input_.size() < whole) return true;
        const Bytes data(input_.begin() + word_size,
                         input_.begin() + static_cast<std::ptrdiff_t>(whole));
        input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(whole));
        ++heard_;
        if (!(number(word, 0) == command_unlink ? unlink(word) : submit(word, data))) return false;
    }
    return true;
}

bool UsbipLink::submit(View word, View data) {
    UsbTransfer transfer;
    transfer.id = number(word, number_at);
    transfer.endpoint = static_cast<std::uint8_t>(number(word, endpoint_at));
    transfer.is_in = is_in(word);
    transfer.setup = UsbSetup::parse(word.subspan(setup_at, UsbSetup::size));
    transfer.data = to_bytes(data);
    transfer.room = number(word, length_at);
    const std::optional<UsbResult> result = device_.submit(std::move(transfer));
    return !result || send(*result);
}

// A transfer that is no longer there has been answered before.
bool UsbipLink::unlink(View word) {
    const bool was_waiting = device_.cancel(number(word, body_at));
    return send_all(answer(answer_unlink, number(word, number_at), was_waiting ? -ECONNRESET : 0));
}

bool UsbipLink::send(const UsbResult& result) {
    Bytes word = answer(answer_submit, result.id, result.status);
    put_number(word, length_at, static_cast<std::uint32_t>(result.count));
    append(word, result.data);
    return send_all(word);
}

bool UsbipLink::send_all(View bytes) const {
    while (!bytes.empty()) {
        const ssize_t count = ::send(stream_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace virtual_reader
