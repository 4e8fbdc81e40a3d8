// One transaction of a payment card, from GET PROCESSING OPTIONS to its last script command: what
// the terminal told, the cryptograms, and whether the issuer has proven itself.
#pragma once

#include <optional>

#include "cards/apdu.h"
#include "cards/payment_profile.h"

namespace virtual_reader {

// As in the two upper bits of P1 and of the cryptogram information data.
enum class CryptogramKind : std::uint8_t {
    decline = 0x00,   // AAC
    approval = 0x40,  // TC
    request = 0x80,   // ARQC
};

struct Cryptogram {
    CryptogramKind kind;
    Block value;
    Bytes issuer_data;  // tag 9F10
};

// What a card remembers of its PIN and of the transaction before.
struct CardHistory {
    bool pin_blocked = false;
    bool online_unfinished = false;
    int script_commands = 0;
    bool script_failed = false;
};

class PaymentTransaction {
  public:
    enum class Stage { begun, requested, ended };

    PaymentTransaction(const KeySet& card_keys, std::uint16_t counter, const CardHistory& before)
        : keys_(card_keys), counter_(counter), before_(before) {}

    // Values of a list's elements; later ones replace earlier. False for another length.
    bool tell(View list, View data);
    const Bytes& told(Tag tag) const;

    Stage stage() const { return stage_; }
    std::uint16_t counter() const { return counter_; }
    bool scripts_allowed() const { return first_.has_value(); }
    bool issuer_authentic() const { return issuer_authentic_; }

    void pin_was_checked(bool right);

    // GENERATE AC, first and second. After a request there is a second one; after all else none.
    Cryptogram first(CryptogramKind kind);
    Cryptogram second(bool approve);

    // Checks the issuer's answer: its cryptogram and the response code. It has one try.
    bool may_authenticate() const;
    bool authenticate(View answer);

    // Whether the issuer's approval stands: it has proven itself, and the response code that the
    // terminal told, if it did, is the one that it proved.
    bool approval_stands() const;

    // Checks the MAC at the end of a script command's data.
    bool is_genuine(const Command& command) const;
    std::optional<Block> deciphered(View block) const;

  private:
    Cryptogram make(CryptogramKind kind);
    Bytes verification_results() const;

    KeySet keys_;
    std::uint16_t counter_;
    CardHistory before_;
    Objects told_;
    Stage stage_ = Stage::begun;
    std::optional<Cryptogram> first_;
    std::optional<CryptogramKind> second_;
    bool pin_checked_ = false;
    bool pin_wrong_ = false;
    bool issuer_tried_ = false;
    bool issuer_authentic_ = false;
    ResponseCode response_code_{};
};

}  // namespace virtual_reader
