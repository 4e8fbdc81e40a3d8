#include "cards/reader_command.h"

#include <algorithm>

#include "support/config.h"

namespace deskreader::cards {
namespace {

// kept: slots 3 and 17 give the same byte, and so do all pairs 14 apart.
std::uint8_t map_slot(int slot) noexcept {
    if (slot >= 0 && slot <= 15) return static_cast<std::uint8_t>(slot + 1);
    if (slot == 16) return 0;
    if (slot >= 17 && slot <= 31) return static_cast<std::uint8_t>(slot - 13);
    return 1;
}

std::uint8_t byte_of(Token token) noexcept {
    if (token == mapped_slot) return map_slot(g_Slot);
    if (token == plain_slot) return static_cast<std::uint8_t>(g_Slot);
    return static_cast<std::uint8_t>(token);
}

int chosen_frame(const CommandRow& row) noexcept {
    const int configured = config::integer("devcfg", "Iccmd", row.default_frame);
    return row.forced_frame == not_forced ? configured : row.forced_frame;
}

class RequestBuffer {
  public:
    bool append(const Pattern& pattern, Bytes arguments) noexcept {
        if (pattern.size + arguments.size() > bytes_.size()) return false;
        std::transform(pattern.tokens.begin(),
                       pattern.tokens.begin() + static_cast<std::ptrdiff_t>(pattern.size),
                       bytes_.begin(), byte_of);
        std::ranges::copy(arguments, bytes_.begin() + static_cast<std::ptrdiff_t>(pattern.size));
        size_ = pattern.size + arguments.size();
        return true;
    }

    const unsigned char* data() const noexcept { return bytes_.data(); }
    int size() const noexcept { return static_cast<int>(size_); }

  private:
    std::array<std::uint8_t, 4096> bytes_;
    std::size_t size_ = 0;
};

int number_of(std::span<const StatusRow> rows, std::uint16_t status, int other) noexcept {
    const auto row = std::ranges::find(rows, status, &StatusRow::status);
    return row == rows.end() ? other : row->result;
}

int run_ic(const CommandRow& row, DEVCONTEXT* device, const RequestBuffer& request, int timeout_ms,
           Reply& reply) noexcept {
    const int result = VexoIc_SendCmd(device, request.data(), request.size(), reply.bytes.data(),
                                      static_cast<int>(row.reply_room), timeout_ms);
    if (result < 1) return result;
    reply.length = static_cast<std::size_t>(result);
    const std::uint16_t state = reply.bytes[0];
    if (state == 0) return status::ok;
    return number_of(row.ic_errors, state,
                     row.ic_other == OtherStatus::fails ? row.failure : result);
}

int run_union(const CommandRow& row, DEVCONTEXT* device, const RequestBuffer& request,
              int timeout_ms, Reply& reply) noexcept {
    const int result = Union_SendCmd(device, request.data(), request.size(), reply.bytes.data(),
                                     static_cast<int>(row.reply_room), timeout_ms);
    // Only this range is a failure; any other number is taken for the reply's length.
    if (result >= -99 && result <= -1) return result;
    reply.length = static_cast<std::size_t>(std::max(result, 0));
    const auto state = static_cast<std::uint16_t>(reply.bytes[0] << 8 | reply.bytes[1]);
    if (state == 0) return status::ok;
    return number_of(row.union_errors, state, row.failure);
}

}  // namespace

int run(const CommandRow& row, DEVCONTEXT* device, Bytes arguments, int timeout_ms,
        Reply& reply) noexcept {
    return run(row, device, arguments, arguments, timeout_ms, reply);
}

int run(const CommandRow& row, DEVCONTEXT* device, Bytes ic_arguments, Bytes union_arguments,
        int timeout_ms, Reply& reply) noexcept {
    reply.frame = chosen_frame(row);
    if (reply.frame != frame_ic && reply.frame != frame_union) return status::not_supported;
    const bool in_ic = reply.frame == frame_ic;
    const Pattern& pattern = in_ic ? row.ic : row.union_;
    if (pattern.size == 0) return status::not_supported;
    RequestBuffer request;
    if (!request.append(pattern, in_ic ? ic_arguments : union_arguments))
        return status::invalid_argument;
    // Commands look at fixed places of what may have come short: all of them in the first bytes.
    std::ranges::fill_n(reply.bytes.begin(), static_cast<std::ptrdiff_t>(short_reply),
                        std::uint8_t{0});
    reply.length = 0;
    return in_ic ? run_ic(row, device, request, timeout_ms, reply)
                 : run_union(row, device, request, timeout_ms, reply);
}

int run_only(const CommandRow& row, DEVCONTEXT* device, Bytes arguments, int timeout_ms) noexcept {
    Reply reply;
    return run(row, device, arguments, timeout_ms, reply);
}

int run_for_data(const CommandRow& row, DEVCONTEXT* device, Bytes arguments, int timeout_ms,
                 std::size_t room, unsigned char* out, int* out_length) noexcept {
    Reply reply;
    const int result = run(row, device, arguments, timeout_ms, reply);
    if (result != status::ok || !reply.has_status()) return result;
    if (reply.data().size() > room) return status::bad_message;
    std::ranges::copy(reply.data(), out);
    *out_length = static_cast<int>(reply.data().size());
    return status::ok;
}

}  // namespace deskreader::cards
