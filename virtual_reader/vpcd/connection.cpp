#include "vpcd/connection.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

namespace virtual_reader {
namespace {

constexpr std::size_t header_size = 2;

int milliseconds_until(std::chrono::steady_clock::time_point end) {
    const auto rest = end - std::chrono::steady_clock::now();
    const auto rounded = std::chrono::ceil<std::chrono::milliseconds>(rest).count();
    return static_cast<int>(std::clamp<decltype(rounded)>(rounded, 0, 60'000));
}

bool is_for_later(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

Bytes vpcd_message(View body) {
    if (body.size() > longest_vpcd_message) body = {};
    Bytes message = {static_cast<std::uint8_t>(body.size() >> 8),
                     static_cast<std::uint8_t>(body.size())};
    append(message, body);
    return message;
}

std::optional<Bytes> VpcdMessages::next() {
    if (held_.size() < header_size) return std::nullopt;
    const std::size_t size = static_cast<std::size_t>(held_[0]) << 8 | held_[1];
    if (held_.size() < header_size + size) return std::nullopt;
    Bytes body = to_bytes(View(held_).subspan(header_size, size));
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(header_size + size));
    return body;
}

bool VpcdConnection::is_open() {
    if (!socket_.is_open()) return false;
    std::uint8_t byte = 0;
    const ssize_t count = recv(socket_.descriptor(), &byte, 1, MSG_PEEK);
    if (count == 0 || (count < 0 && !is_for_later(errno))) close();
    return socket_.is_open();
}

// Whether anything came.
bool VpcdConnection::read_available() {
    if (!socket_.is_open()) return false;
    std::array<std::uint8_t, 4096> bytes;
    const ssize_t count = recv(socket_.descriptor(), bytes.data(), bytes.size(), 0);
    if (count == 0 || (count < 0 && !is_for_later(errno))) close();
    if (count <= 0) return false;
    messages_.feed(View(bytes).first(static_cast<std::size_t>(count)));
    return true;
}

void VpcdConnection::watch_unfinished() {
    if (!messages_.is_within()) {
        unfinished_since_.reset();
    } else if (!unfinished_since_) {
        unfinished_since_ = Clock::now();
    } else if (Clock::now() >= *unfinished_since_ + limits_.message) {
        close();
    }
}

std::optional<Bytes> VpcdConnection::take() {
    do {
        if (auto message = messages_.next()) {
            unfinished_since_.reset();
            return message;
        }
    } while (read_available());
    watch_unfinished();
    return std::nullopt;
}

std::optional<Bytes> VpcdConnection::take(std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    while (true) {
        if (auto message = take()) return message;
        if (!socket_.is_open() || Clock::now() >= end) return std::nullopt;
        const auto until =
            unfinished_since_ ? std::min(end, *unfinished_since_ + limits_.message) : end;
        pollfd state{socket_.descriptor(), POLLIN, 0};
        poll(&state, 1, milliseconds_until(until));
    }
}

void VpcdConnection::send(View bytes) {
    const auto end = Clock::now() + limits_.sending;
    while (!bytes.empty() && socket_.is_open()) {
        const ssize_t count =
            ::send(socket_.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
            continue;
        }
        if (!is_for_later(errno) || Clock::now() >= end) return close();
        pollfd state{socket_.descriptor(), POLLOUT, 0};
        poll(&state, 1, milliseconds_until(end));
    }
}

void VpcdConnection::forget() {
    constexpr int most = 64;
    for (int messages = 0; take(); ++messages) {
        if (messages == most) return close();
    }
}

}  // namespace virtual_reader
