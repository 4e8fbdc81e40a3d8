// What is written on a payment card: its settings, and the data objects that it shows of them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "cards/emv_crypto.h"
#include "cards/tlv.h"

namespace virtual_reader {

// What GET PROCESSING OPTIONS answers.
enum class OptionsForm {
    plain,       // tag 80: profile and file locator, one after the other
    objects,     // template 77 with tags 82 and 94
    cryptogram,  // template 77 without 94: the card's data and a request cryptogram at once
};

// Whether a card has been put out of use, and how it says so when it is selected.
enum class CardBlock {
    none,
    directory,         // 62 83 to its directory, which goes on working
    directory_locked,  // 93 03 to its directory
    application,       // 62 83 to its application, which declines everything
    card,              // 6A 81 to any selection
};

struct PaymentCardSettings {
    std::string name;
    bool contactless = false;
    Bytes answer;  // to reset
    bool by_procedure_bytes = false;

    // The account and its holder.
    Bytes application = from_hex("A000000333010101");
    std::string label = "DESK DEBIT";
    std::string account_number = "9999990000000013";
    int sequence_number = 1;
    std::string expiry = "301231";     // YYMMDD
    std::string effective = "260101";  // YYMMDD
    Bytes holder = to_bytes(std::string_view("EXAMPLE/ADA"));
    Bytes holder_more = to_bytes(std::string_view("EXAMPLE/ADA OF NOWHERE"));  // tag 9F0B
    Bytes identity_type = {0x00};
    Bytes identity_number = to_bytes(std::string_view("ID-EXAMPLE-0001"));
    Bytes product = to_bytes(std::string_view("DESKBANK-DEBIT01"));
    Bytes track1_more = to_bytes(std::string_view("0000000000"));  // tag 9F1F

    // Secrets.
    KeySet issuer_keys = example_issuer_keys;
    std::string pin = "1234";
    int pin_tries = 3;

    // What moves.
    std::uint16_t transaction_counter = 0;
    std::uint64_t balance = 10000;         // tag 9F79, in cents like all amounts
    std::uint64_t balance_limit = 100000;  // tag 9F77
    std::uint64_t reset_threshold = 2000;  // tag 9F6D
    std::uint64_t single_limit = 50000;    // tag 9F78

    // How it behaves.
    OptionsForm options = OptionsForm::plain;
    bool cryptogram_objects = false;  // GENERATE AC answers template 77, otherwise tag 80
    bool directory = true;            // it has the payment system environment
    CardBlock block = CardBlock::none;
    std::optional<Bytes> options_list;  // tag 9F38; the usual one of its form when not given
    Bytes first_list = usual_first_list();
    Bytes second_list = usual_second_list();
    std::set<Tag> without;  // objects that it does not show

    static Bytes usual_first_list();
    static Bytes usual_second_list();
};

// The elements that a cryptogram covers, in this order, before the card adds its profile, counter
// and verification results (EMV Book 2, table 26).
constexpr Tag cryptogram_elements[] = {0x9F02, 0x9F03, 0x9F1A, 0x95, 0x5F2A, 0x9A, 0x9C, 0x9F37};

// Whether a list asks for them all.
bool asks_for_cryptogram_elements(View list);

// 1 to 12 digits as six bytes.
Bytes amount_bytes(std::uint64_t cents);
std::uint64_t amount_of(View digits);

class PaymentProfile {
  public:
    // A record by the short identifier of its file and its number.
    using Place = std::pair<std::uint8_t, std::uint8_t>;

    explicit PaymentProfile(const PaymentCardSettings& settings);

    static constexpr std::string_view directory_name = "1PAY.SYS.DDF01";
    static constexpr std::uint8_t directory_file = 1;
    static constexpr std::uint8_t transaction_log_file = 11;
    static constexpr std::uint8_t load_log_file = 12;
    static constexpr std::size_t log_records = 10;
    // Cardholder verification, terminal risk management, issuer authentication.
    static constexpr std::array<std::uint8_t, 2> interchange_profile = {0x1C, 0x00};

    Bytes directory_information() const;
    Bytes directory_record() const;
    Bytes application_information() const;

    const Bytes& options_list() const { return options_list_; }
    Bytes file_locator() const;
    std::map<Place, Bytes> records() const;

    // Objects that are not in the way when all has to fit one response: 57, 5F20 and so on.
    Bytes short_record() const;

    // Nothing for an object that the card leaves out.
    Bytes object(Tag tag, View value) const;

  private:
    Bytes track2() const;

    const PaymentCardSettings& settings_;
    Bytes options_list_;
};

}  // namespace virtual_reader
