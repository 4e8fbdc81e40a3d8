#include "cards/payment_transaction.h"

#include <algorithm>

namespace virtual_reader {
namespace {

// The issuer application data: their length, key index, cryptogram version, the verification
// results and the algorithm (triple DES).
constexpr std::uint8_t key_index = 1;
constexpr std::uint8_t cryptogram_version = 1;
constexpr std::uint8_t triple_des = 1;

// Verification results: the count of those that follow, then three bytes of flags. In the first the
// two upper pairs of bits say what the second and the first GENERATE AC gave.
constexpr unsigned second_not_requested = 0x80;
constexpr unsigned second_approval = 0x40;
constexpr unsigned first_request = 0x20;
constexpr unsigned first_approval = 0x10;
constexpr unsigned issuer_failed = 0x08;
constexpr unsigned pin_checked = 0x04;
constexpr unsigned pin_failed = 0x02;

constexpr unsigned before_unfinished = 0x80;
constexpr unsigned pin_is_blocked = 0x40;

constexpr unsigned script_has_failed = 0x08;

constexpr unsigned flag(bool set, unsigned bit) {
    return set ? bit : 0;
}

Bytes counter_bytes(std::uint16_t counter) {
    return {static_cast<std::uint8_t>(counter >> 8), static_cast<std::uint8_t>(counter)};
}

}  // namespace

bool PaymentTransaction::tell(View list, View data) {
    const auto objects = split_by_list(list, data);
    if (!objects) return false;
    for (const auto& [tag, value] : *objects)
        told_[tag] = value;
    return true;
}

const Bytes& PaymentTransaction::told(Tag tag) const {
    static const Bytes nothing;
    const auto found = told_.find(tag);
    return found == told_.end() ? nothing : found->second;
}

void PaymentTransaction::pin_was_checked(bool right) {
    pin_checked_ = true;
    pin_wrong_ = !right;
}

Bytes PaymentTransaction::verification_results() const {
    const CryptogramKind first = first_->kind;
    unsigned outcome = flag(!second_, second_not_requested) |
                       flag(second_ == CryptogramKind::approval, second_approval) |
                       flag(first == CryptogramKind::request, first_request) |
                       flag(first == CryptogramKind::approval, first_approval);
    outcome |= flag(issuer_tried_ && !issuer_authentic_, issuer_failed) |
               flag(pin_checked_, pin_checked) | flag(pin_wrong_, pin_failed);
    const unsigned past = flag(before_.online_unfinished, before_unfinished) |
                          flag(before_.pin_blocked, pin_is_blocked);
    const unsigned scripts = static_cast<unsigned>(std::min(before_.script_commands, 15)) << 4 |
                             flag(before_.script_failed, script_has_failed);
    return {3, static_cast<std::uint8_t>(outcome), static_cast<std::uint8_t>(past),
            static_cast<std::uint8_t>(scripts)};
}

// Over the elements of `cryptogram_elements`, the profile, the counter and the verification
// results.
Cryptogram PaymentTransaction::make(CryptogramKind kind) {
    const Bytes results = verification_results();
    Bytes message;
    for (const Tag tag : cryptogram_elements)
        append(message, told(tag));
    append(message, PaymentProfile::interchange_profile);
    append(message, counter_bytes(counter_));
    append(message, results);
    Bytes issuer_data = {0, key_index, cryptogram_version};
    append(issuer_data, results);
    issuer_data.push_back(triple_des);
    issuer_data[0] = static_cast<std::uint8_t>(issuer_data.size() - 1);
    return {kind, mac(cryptogram_session_key(keys_.cryptogram, counter_), message), issuer_data};
}

Cryptogram PaymentTransaction::first(CryptogramKind kind) {
    first_ = Cryptogram{kind, {}, {}};
    first_ = make(kind);
    stage_ = kind == CryptogramKind::request ? Stage::requested : Stage::ended;
    return *first_;
}

Cryptogram PaymentTransaction::second(bool approve) {
    second_ = approve ? CryptogramKind::approval : CryptogramKind::decline;
    stage_ = Stage::ended;
    return make(*second_);
}

bool PaymentTransaction::may_authenticate() const {
    return stage_ == Stage::requested && !issuer_tried_;
}

bool PaymentTransaction::authenticate(View answer) {
    issuer_tried_ = true;
    std::copy_n(answer.begin() + 8, response_code_.size(), response_code_.begin());
    const Key key = cryptogram_session_key(keys_.cryptogram, counter_);
    issuer_authentic_ = std::ranges::equal(response_cryptogram(key, first_->value, response_code_),
                                           answer.first(8));
    return issuer_authentic_;
}

bool PaymentTransaction::approval_stands() const {
    constexpr Tag response_code_tag = 0x8A;
    const auto code = told_.find(response_code_tag);
    return issuer_authentic_ &&
           (code == told_.end() || std::ranges::equal(code->second, response_code_));
}

bool PaymentTransaction::is_genuine(const Command& command) const {
    if (!first_ || command.data.size() < script_mac_size) return false;
    const Bytes header = {command.cla, command.ins, command.p1, command.p2,
                          static_cast<std::uint8_t>(command.data.size())};
    const std::size_t size = command.data.size() - script_mac_size;
    return std::ranges::equal(script_mac(script_session_key(keys_.integrity, first_->value), header,
                                         counter_, first_->value, command.data.first(size)),
                              command.data.subspan(size));
}

std::optional<Block> PaymentTransaction::deciphered(View block) const {
    Block cipher{};
    if (!first_ || block.size() != cipher.size()) return std::nullopt;
    std::ranges::copy(block, cipher.begin());
    return decrypt(script_session_key(keys_.secrecy, first_->value), cipher);
}

}  // namespace virtual_reader
