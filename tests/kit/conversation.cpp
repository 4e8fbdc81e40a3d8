#include "kit/conversation.h"

#include <deskreader.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

namespace kit {

void PrintTo(Link link, std::ostream* stream) {
    *stream << (link == Link::hid ? "HID" : "serial");
}

std::string link_name(const testing::TestParamInfo<Link>& info) {
    return info.param == Link::hid ? "Hid" : "Serial";
}

ScriptedHid::ScriptedHid(FakeClock* clock, unsigned short vendor_id, unsigned short product_id)
    : clock_(clock) {
    hid_bus::plug(*this, vendor_id, product_id);
}

ScriptedHid::~ScriptedHid() {
    verify();
    hid_bus::unplug(*this);
}

int ScriptedHid::write(std::span<const std::uint8_t> report) {
    if (broken_ != 0) return broken_;
    reports_.emplace_back(report.begin(), report.end());
    EXPECT_EQ(report.size(), 65u);
    EXPECT_EQ(report[0], 0) << "report id";
    const std::size_t length = std::min<std::size_t>(report[2], report.size() - 3);
    request_.insert(request_.end(), report.begin() + 3,
                    report.begin() + 3 + static_cast<long>(length));
    if (rows_.empty()) {
        ADD_FAILURE() << "unexpected request " << to_hex(request_);
        request_.clear();
        return static_cast<int>(report.size());
    }
    const Row& row = rows_.front();
    EXPECT_EQ(report[1], row.mode_id) << "mode id";
    if (request_.size() < row.request.size()) return static_cast<int>(report.size());
    EXPECT_EQ(to_hex(request_), to_hex(row.request));
    for (const Bytes& piece : row.pieces) {
        for (std::size_t begin = 0; begin < piece.size(); begin += 62) {
            Bytes input(64, 0);
            const std::size_t count = std::min<std::size_t>(62, piece.size() - begin);
            input[0] = static_cast<std::uint8_t>(row.mode_id);
            input[1] = static_cast<std::uint8_t>(count);
            std::copy_n(piece.begin() + static_cast<long>(begin), count, input.begin() + 2);
            input_.push_back(std::move(input));
        }
    }
    request_.clear();
    rows_.pop_front();
    return static_cast<int>(report.size());
}

int ScriptedHid::read(std::span<std::uint8_t> out, int timeout_ms) {
    if (broken_ != 0) return broken_;
    if (input_.empty()) {
        const std::chrono::milliseconds limit(std::min(timeout_ms, 1000));
        if (clock_ != nullptr) {
            clock_->advance(std::chrono::milliseconds(timeout_ms));
        } else {
            std::this_thread::sleep_for(limit);
        }
        return 0;
    }
    const Bytes report = std::move(input_.front());
    input_.pop_front();
    const std::size_t count = std::min(out.size(), report.size());
    std::copy_n(report.begin(), count, out.begin());
    return static_cast<int>(count);
}

void ScriptedHid::verify() {
    EXPECT_TRUE(rows_.empty()) << rows_.size() << " expected requests never came, the first "
                               << to_hex(rows_.front().request);
    EXPECT_TRUE(request_.empty()) << "half a request came: " << to_hex(request_);
    rows_.clear();
    request_.clear();
}

ScriptedSerial::ScriptedSerial() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
        throw std::runtime_error("no pseudo-terminal");
    }
    device_ = ptsname(master_);
    thread_ = std::jthread([this](std::stop_token stop) { serve(std::move(stop)); });
}

ScriptedSerial::~ScriptedSerial() {
    verify();
    thread_.request_stop();
    thread_.join();
    close(master_);
}

void ScriptedSerial::send(const Bytes& bytes) const {
    EXPECT_EQ(::write(master_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

void ScriptedSerial::add(Row row) {
    const std::lock_guard lock(mutex_);
    rows_.push_back(std::move(row));
}

void ScriptedSerial::serve(std::stop_token stop) {
    while (!stop.stop_requested()) {
        pollfd line{master_, POLLIN, 0};
        // A hang-up means that nobody has the device open: look again a little later.
        if (poll(&line, 1, 2) <= 0 || (line.revents & POLLIN) == 0) {
            if ((line.revents & POLLHUP) != 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        Bytes received(4096);
        const ssize_t count = ::read(master_, received.data(), received.size());
        if (count <= 0) continue;
        received.resize(static_cast<std::size_t>(count));
        take(received);
    }
}

void ScriptedSerial::take(const Bytes& received) {
    const std::lock_guard lock(mutex_);
    request_.insert(request_.end(), received.begin(), received.end());
    while (!request_.empty()) {
        if (rows_.empty()) {
            ADD_FAILURE() << "unexpected request " << to_hex(request_);
            request_.clear();
            break;
        }
        const Row row = rows_.front();
        if (request_.size() < row.request.size()) break;
        const auto end = request_.begin() + static_cast<long>(row.request.size());
        EXPECT_EQ(to_hex(Bytes(request_.begin(), end)), to_hex(row.request));
        request_.erase(request_.begin(), end);
        for (const Bytes& piece : row.pieces) {
            send(piece);
            if (pause_.count() > 0) std::this_thread::sleep_for(pause_);
        }
        rows_.pop_front();
    }
    changed_.notify_all();
}

void ScriptedSerial::verify() {
    std::unique_lock lock(mutex_);
    // Requests without an answer may still be on their way when the caller is done.
    changed_.wait_for(lock, std::chrono::seconds(1),
                      [this] { return rows_.empty() && request_.empty(); });
    EXPECT_TRUE(rows_.empty()) << rows_.size() << " expected requests never came, the first "
                               << to_hex(rows_.front().request);
    EXPECT_TRUE(request_.empty()) << "half a request came: " << to_hex(request_);
    rows_.clear();
    request_.clear();
}

void prepare_hid(DEVCONTEXT* target) {
    DC_Init(target);
    DC_SetInterfaceType(target, "hid");
    DC_AddUsbParams(target, hid_bus::vendor, hid_bus::product);
}

void prepare_serial(DEVCONTEXT* target, const ScriptedSerial& reader, unsigned baud) {
    std::string device = reader.device();
    GSetComName(3, device.data());
    DC_Init(target);
    DC_SetInterfaceType(target, "com");
    DC_SetCOMParams(target, 3, baud);
}

ScriptedDesk::ScriptedDesk(Link link) {
    if (link == Link::hid) {
        clock_.emplace();
        reader_ = std::make_unique<ScriptedHid>(&*clock_);
        prepare_hid(&context);
    } else {
        auto serial = std::make_unique<ScriptedSerial>();
        prepare_serial(&context, *serial);
        port_name_ = serial->device().substr(std::strlen("/dev/"));
        reader_ = std::move(serial);
    }
}

}  // namespace kit
