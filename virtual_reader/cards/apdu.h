// Commands and responses of IC cards (ISO 7816-4), as every card here reads and writes them.
#pragma once

#include <cstdint>
#include <optional>

#include "bytes.h"

namespace virtual_reader {

// Status words.
constexpr std::uint16_t sw_success = 0x9000;
constexpr std::uint16_t sw_bytes_waiting = 0x6100;  // and how many
constexpr std::uint16_t sw_invalidated = 0x6283;
constexpr std::uint16_t sw_not_authentic = 0x6300;
constexpr std::uint16_t sw_tries_left = 0x63C0;  // and how many
constexpr std::uint16_t sw_wrong_length = 0x6700;
constexpr std::uint16_t sw_wrong_file_type = 0x6981;
constexpr std::uint16_t sw_security_missing = 0x6982;
constexpr std::uint16_t sw_pin_blocked = 0x6983;
constexpr std::uint16_t sw_not_now = 0x6985;
constexpr std::uint16_t sw_no_current_file = 0x6986;
constexpr std::uint16_t sw_mac_missing = 0x6987;
constexpr std::uint16_t sw_mac_wrong = 0x6988;
constexpr std::uint16_t sw_wrong_data = 0x6A80;
constexpr std::uint16_t sw_not_supported = 0x6A81;
constexpr std::uint16_t sw_file_not_found = 0x6A82;
constexpr std::uint16_t sw_record_not_found = 0x6A83;
constexpr std::uint16_t sw_wrong_parameters = 0x6A86;
constexpr std::uint16_t sw_data_not_found = 0x6A88;
constexpr std::uint16_t sw_offset_outside = 0x6B00;
constexpr std::uint16_t sw_right_length = 0x6C00;  // and which it is
constexpr std::uint16_t sw_unknown_instruction = 0x6D00;
constexpr std::uint16_t sw_unknown_class = 0x6E00;

constexpr std::uint8_t ins_get_response = 0xC0;

// A command APDU with short lengths (ISO 7816-4, 5.1): four bytes, then [Le], [Lc data] or [Lc data
// Le].
struct Command {
    std::uint8_t cla = 0;
    std::uint8_t ins = 0;
    std::uint8_t p1 = 0;
    std::uint8_t p2 = 0;
    View data;
    std::optional<std::size_t> le;  // 256 for a byte of 00

    // Points into `bytes`.
    static std::optional<Command> parse(View bytes);

    std::uint16_t parameters() const { return static_cast<std::uint16_t>(p1 << 8 | p2); }
};

Bytes with_status(Bytes data, std::uint16_t status);
Bytes status_only(std::uint16_t status);

// 63 Cx for a wrong PIN, or 69 83 once no try is left.
Bytes status_of_tries(int left);

// What a card has to say, at once or by procedure bytes. These are what T=0 makes of a response:
// one to command data waits for GET RESPONSE (61 xx), and a read whose Le asks for more than there
// is hears the right one (6C xx).
class Responder {
  public:
    explicit Responder(bool by_procedure_bytes) : by_procedure_bytes_(by_procedure_bytes) {}

    // Before every command: what waited is gone unless the command asks for it.
    void begin(const Command& command);
    void forget() { waiting_.clear(); }

    // Data in answer to a read, as much as Le asks for; all of it without Le.
    Bytes read(Bytes data, const Command& command);

    // Data in answer to command data.
    Bytes answer(Bytes data, std::uint16_t status = sw_success);

    Bytes get_response(const Command& command);

  private:
    bool by_procedure_bytes_;
    Bytes waiting_;
};

}  // namespace virtual_reader
