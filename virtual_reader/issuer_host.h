// The bank behind a payment card: it checks what the card sends through a terminal, decides,
// answers, and checks what the card makes of the answer. It knows the issuer's keys and the
// account, nothing of the card's memory.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cards/emv_crypto.h"
#include "cards/tlv.h"

namespace virtual_reader {

// A command to the card, to which the host adds its MAC.
struct ScriptCommand {
    std::uint8_t cla = 0x84;
    std::uint8_t ins = 0;
    std::uint8_t p1 = 0;
    std::uint8_t p2 = 0;
    Bytes data;
    bool secret = false;  // data of one block, enciphered on their way
};

ScriptCommand block_application();
ScriptCommand unblock_application();
ScriptCommand unblock_pin();
ScriptCommand change_pin(std::string_view pin);
ScriptCommand put_amount(Tag tag, std::uint64_t cents);
ScriptCommand update_record(std::uint8_t file, std::uint8_t number, Bytes content);

struct Script {
    Tag phase = 0x72;                 // template: 71 before the second GENERATE AC, 72 after
    std::optional<Bytes> identifier;  // tag 9F18, four bytes
    std::vector<ScriptCommand> commands;
};

struct IssuerSettings {
    KeySet keys = example_issuer_keys;
    std::string account_number = "9999990000000013";
    int sequence_number = 1;
    std::uint64_t limit = 500000;  // of one payment, in cents
};

enum class Verdict { approved, declined, not_genuine };

struct IssuerAnswer {
    Verdict verdict = Verdict::not_genuine;
    std::string code;    // response code: "00" approved, "05" declined
    std::string reason;  // for people
    std::string text;  // hexadecimal data objects for the terminal; with 91 only for a genuine card
};

struct IssuerConfirmation {
    Verdict verdict = Verdict::not_genuine;
    std::string reason;
};

class IssuerHost {
  public:
    // Throws std::invalid_argument for an account number or sequence number that is none.
    explicit IssuerHost(IssuerSettings settings = {});

    // Goes with the next answer to a genuine request, once.
    void send_script(Script script) { script_ = std::move(script); }

    // The answer to an authorisation request: hexadecimal data objects with 9F26 9F27 9F10 9F37
    // 9F36 95 9A 9C 9F02 5F2A 82 9F1A 9F03; any others are passed over.
    IssuerAnswer authorise(std::string_view request);

    // What the card made of the last answer: hexadecimal, cryptogram information data, counter,
    // cryptogram, issuer application data.
    IssuerConfirmation confirm(std::string_view completion);

  private:
    std::string why_not_genuine(const Objects& request) const;
    std::string why_declined() const;
    Bytes response(const ResponseCode& code);
    Bytes script_object() const;

    IssuerSettings settings_;
    KeySet keys_;  // of the card
    std::optional<Script> script_;

    // Of the last genuine request.
    Objects request_;
    std::uint16_t counter_ = 0;
    Block cryptogram_{};
};

}  // namespace virtual_reader
