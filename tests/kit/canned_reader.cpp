#include "kit/canned_reader.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

namespace kit {
namespace {

constexpr std::uint8_t end_of_frame = 0x03;
constexpr std::uint8_t goodbye = 0x04;
constexpr std::size_t report_size = 64;
constexpr std::size_t input_header = 2;
constexpr std::size_t output_header = 3;

int open_raw(const char* device) {
    const int file = open(device, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    tcgetattr(file, &settings);
    cfmakeraw(&settings);
    tcsetattr(file, TCSANOW, &settings);
    return file;
}

}  // namespace

int CannedUsb::write(std::span<const std::uint8_t> report) {
    const auto payload = report.subspan(output_header);
    asked_ = asked_ || std::ranges::find(payload, end_of_frame) != payload.end();
    next_ = 0;
    return static_cast<int>(report.size());
}

int CannedUsb::read(std::span<std::uint8_t> out, int) {
    if (!asked_) return 0;
    const std::size_t count = std::min(report_size - input_header, answer_.size() - next_);
    std::ranges::fill(out, std::uint8_t{0});
    out[1] = static_cast<std::uint8_t>(count);
    std::copy_n(answer_.begin() + static_cast<std::ptrdiff_t>(next_), count,
                out.begin() + input_header);
    next_ += count;
    asked_ = next_ < answer_.size();
    return report_size;
}

CannedLine::CannedLine(Bytes answer)
    : answer_(std::move(answer)), master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    grantpt(master_);
    unlockpt(master_);
    device_ = ptsname(master_);
    held_ = open_raw(device_.c_str());
    thread_ = std::thread([this] { serve(); });
}

CannedLine::~CannedLine() {
    [[maybe_unused]] const auto sent = ::write(held_, &goodbye, 1);
    thread_.join();
    close(held_);
    close(master_);
}

void CannedLine::serve() const {
    std::array<std::uint8_t, 512> request;
    for (;;) {
        const ssize_t count = ::read(master_, request.data(), request.size());
        if (count <= 0) return;
        const auto end = request.begin() + count;
        if (std::find(request.begin(), end, goodbye) != end) return;
        if (std::find(request.begin(), end, end_of_frame) == end) continue;
        if (::write(master_, answer_.data(), answer_.size()) < 0) return;
    }
}

}  // namespace kit
