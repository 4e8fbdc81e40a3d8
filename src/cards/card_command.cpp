// The status words that PBOC_IcAPDU acts on (ISO 7816-4, 5.1.3):
//   62 83  application blocked: reported at once
//   62 xx  kept: answered with GET RESPONSE and Le 00
//   6C xx  wrong Le: the same command once more with Le xx
//   61 xx  xx bytes are waiting: GET RESPONSE with Le xx
// The card decides how often; after `max_follow_ups` in one command the last answer stands as it
// is.
#include "cards/card_command.h"

#include <algorithm>
#include <cstring>

#include "status.h"
#include "support/log.h"
#include "support/pointers.h"

namespace deskreader::cards {
namespace {

constexpr int exchange_limit_ms = 3000;
constexpr int max_follow_ups = 64;
constexpr std::size_t max_reply = 1024;  // more than either frame can bring

constexpr int slot_contact = 0;
constexpr int slot_contactless = 1;

struct Reply {
    std::array<std::uint8_t, max_reply> bytes;
    int length = 0;
};

// kept: the automatic slot tries contact first whatever card was powered on last.
int exchange(DEVCONTEXT* device, int slot, const unsigned char* command, int length,
             Reply& reply) noexcept {
    reply.length = 0;
    int result = status::ok;
    if (slot != slot_contactless) {
        result =
            IC_APDU(device, command, length, reply.bytes.data(), &reply.length, exchange_limit_ms);
    }
    if (slot == slot_contactless || (slot != slot_contact && result != status::ok)) {
        result = IC_RFAPDU(device, command, length, reply.bytes.data(), &reply.length,
                           exchange_limit_ms);
    }
    return result;
}

void set_get_response(unsigned char* command, int* length, std::uint8_t expected) noexcept {
    const std::uint8_t get_response[] = {0x00, 0xC0, 0x00, 0x00, expected};
    std::memcpy(command, get_response, sizeof get_response);
    *length = sizeof get_response;
}

// Prepares what the status word asks for, in place. False when it asks for nothing.
bool prepare_follow_up(std::uint8_t sw1, std::uint8_t sw2, unsigned char* command,
                       int* length) noexcept {
    switch (sw1) {
        case 0x62:
            set_get_response(command, length, 0x00);
            return true;
        case 0x6C:
            command[*length - 1] = sw2;
            return true;
        case 0x61:
            set_get_response(command, length, sw2);
            return true;
        default:
            return false;
    }
}

}  // namespace

CardCommand::CardCommand(DEVCONTEXT* device, int slot, Header header) noexcept
    : device_(device), slot_(slot) {
    byte(header.cla).byte(header.ins).byte(header.p1).byte(header.p2);
}

CardCommand& CardCommand::byte(std::uint8_t value) noexcept {
    command_[size_++] = value;
    return *this;
}

CardCommand& CardCommand::data(tlv::Bytes bytes) noexcept {
    if (bytes.size() > max_command_data) {
        fits_ = false;
        return *this;
    }
    byte(static_cast<std::uint8_t>(bytes.size()));
    std::ranges::copy(bytes, command_.begin() + static_cast<std::ptrdiff_t>(size_));
    size_ += bytes.size();
    return *this;
}

CardCommand& CardCommand::data(const unsigned char* bytes, int length) noexcept {
    if (length < 0) {
        fits_ = false;
        return *this;
    }
    return data({bytes, static_cast<std::size_t>(length)});
}

int CardCommand::run() noexcept {
    if (!fits_) return status::invalid_argument;
    int length = 0;
    const int result = PBOC_IcAPDU(device_, slot_, command_.data(), static_cast<int>(size_),
                                   response_.data(), &length);
    response_size_ = static_cast<std::size_t>(length);
    if (result != status::ok) return result;
    return status_word() == 0x9000 ? status::ok : status::failed;
}

tlv::Bytes CardCommand::answer() const noexcept {
    return whole_answer().first(response_size_ < 2 ? 0 : response_size_ - 2);
}

std::uint16_t CardCommand::status_word() const noexcept {
    if (response_size_ < 2) return 0;
    return static_cast<std::uint16_t>(response_[response_size_ - 2] << 8 |
                                      response_[response_size_ - 1]);
}

void CardCommand::copy_answer(unsigned char* out, int* length) const noexcept {
    copy_out(answer(), out, length);
}

bool CardCommand::copy_object(tlv::Bytes tag, unsigned char* out, int* length) const noexcept {
    const auto value = tlv::find_value(answer(), tag);
    if (value) copy_out(*value, out, length);
    return value.has_value();
}

void copy_out(tlv::Bytes bytes, unsigned char* out, int* length) noexcept {
    std::ranges::copy(bytes, out);
    *length = static_cast<int>(bytes.size());
}

}  // namespace deskreader::cards

using namespace deskreader;

int PBOC_IcAPDU(DEVCONTEXT* device, int slot, unsigned char* command, int length,
                unsigned char* response, int* response_length) {
    if (any_null(command, response, response_length)) return status::invalid_argument;
    std::memset(response, 0, 8);
    *response_length = 0;
    if (length < 1) return status::invalid_argument;
    int result = status::ok;
    cards::Reply reply;
    for (int follow_ups = 0;; ++follow_ups) {
        const std::span sent(command, static_cast<std::size_t>(length));
        GLogI("PBOC_IcAPDU szInData = %s\r\n", log::HexText<2048>(sent).c_str());
        result = cards::exchange(device, slot, command, length, reply);
        const auto count = static_cast<std::size_t>(reply.length);
        const auto received = std::span<const std::uint8_t>(reply.bytes).first(count);
        GLogI("PBOC_IcAPDU szOutData = %s\r\n", log::HexText<2048>(received).c_str());
        if (count < 2) break;
        const std::uint8_t sw1 = received[count - 2];
        const std::uint8_t sw2 = received[count - 1];
        if (sw1 == 0x62 && sw2 == 0x83) {
            result = cards::application_blocked;
            break;
        }
        if (follow_ups == cards::max_follow_ups) break;
        if (!cards::prepare_follow_up(sw1, sw2, command, &length)) break;
    }
    if (reply.length > static_cast<int>(cards::max_response)) return status::bad_message;
    std::memcpy(response, reply.bytes.data(), static_cast<std::size_t>(reply.length));
    *response_length = reply.length;
    return result;
}
