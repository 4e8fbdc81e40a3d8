#include "issuer_host.h"

#include <algorithm>
#include <stdexcept>

namespace virtual_reader {
namespace {

constexpr Tag cryptogram_tag = 0x9F26;
constexpr Tag information_tag = 0x9F27;
constexpr Tag issuer_data_tag = 0x9F10;
constexpr Tag counter_tag = 0x9F36;
constexpr Tag amount_tag = 0x9F02;

constexpr std::uint8_t is_request = 0x80;
constexpr std::uint8_t kind_bits = 0xC0;

// Tag 8A with the code for a decline, and nothing that a card would trust.
constexpr const char* refusal_text = "8A023035";

constexpr ResponseCode approved = {'0', '0'};
constexpr ResponseCode declined = {'0', '5'};

// What a cryptogram covers, in this order; then come the card's verification results.
constexpr ListEntry covered[] = {
    {0x9F02, 6}, {0x9F03, 6}, {0x9F1A, 2}, {0x95, 5}, {0x5F2A, 2},
    {0x9A, 3},   {0x9C, 1},   {0x9F37, 4}, {0x82, 2}, {0x9F36, 2},
};

// Beside those.
constexpr ListEntry needed[] = {{cryptogram_tag, 8}, {information_tag, 1}, {issuer_data_tag, 8}};

Bytes hex_or_nothing(std::string_view text) {
    try {
        return from_hex(text);
    } catch (const std::invalid_argument&) {
        return {};
    }
}

std::string missing(const Objects& request) {
    const auto lacks = [&](const ListEntry& entry) {
        const auto found = request.find(entry.tag);
        return found == request.end() || found->second.size() != entry.length;
    };
    const auto report = [](const ListEntry& entry) {
        const Bytes object = data_object(entry.tag, {});
        return "the request has no " + to_hex(View(object).first(object.size() - 1)) + " of " +
               std::to_string(entry.length) + " bytes";
    };
    for (const ListEntry& entry : covered)
        if (lacks(entry)) return report(entry);
    for (const ListEntry& entry : needed)
        if (lacks(entry)) return report(entry);
    return {};
}

// The verification results in issuer application data: 07, key index, version 01, then they, the
// count of their bytes first, then the algorithm. Nothing for data of another form.
Bytes verification_results(View issuer_data) {
    constexpr std::size_t size = 8;
    if (issuer_data.size() != size || issuer_data[0] != size - 1 || issuer_data[2] != 1 ||
        issuer_data[3] != 3 || issuer_data[7] != 1)
        return {};
    return to_bytes(issuer_data.subspan(3, 4));
}

// In their second byte, the pairs of bits for the second and the first GENERATE AC.
constexpr unsigned second_kind(View results) {
    return results[1] >> 6;
}
constexpr unsigned first_kind(View results) {
    return results[1] >> 4 & 3u;
}
constexpr unsigned kind_approved = 1;
constexpr unsigned kind_requested = 2;
constexpr unsigned not_yet = 2;  // of a second one

Block expected_cryptogram(const KeySet& keys, std::uint16_t counter, const Objects& request,
                          View results) {
    Bytes message;
    for (const ListEntry& entry : covered)
        append(message, request.at(entry.tag));
    append(message, results);
    return mac(cryptogram_session_key(keys.cryptogram, counter), message);
}

std::uint16_t number_of(View two) {
    return static_cast<std::uint16_t>(two[0] << 8 | two[1]);
}

std::optional<std::uint64_t> cents_of(View digits) {
    std::uint64_t cents = 0;
    for (const char digit : to_hex(digits)) {
        if (digit > '9') return std::nullopt;
        cents = cents * 10 + static_cast<std::uint64_t>(digit - '0');
    }
    return cents;
}

}  // namespace

ScriptCommand block_application() {
    return {0x84, 0x1E, 0x00, 0x00, {}};
}

ScriptCommand unblock_application() {
    return {0x84, 0x18, 0x00, 0x00, {}};
}

ScriptCommand unblock_pin() {
    return {0x84, 0x24, 0x00, 0x00, {}};
}

ScriptCommand change_pin(std::string_view pin) {
    return {0x84, 0x24, 0x00, 0x02, to_bytes(View(pin_block(pin))), true};
}

ScriptCommand put_amount(Tag tag, std::uint64_t cents) {
    std::string digits = std::to_string(cents);
    if (digits.size() > 12) throw std::invalid_argument("an amount has 12 digits");
    digits.insert(0, 12 - digits.size(), '0');
    return {0x04, 0xDA, static_cast<std::uint8_t>(tag >> 8), static_cast<std::uint8_t>(tag),
            from_hex(digits)};
}

ScriptCommand update_record(std::uint8_t file, std::uint8_t number, Bytes content) {
    if (content.size() + script_mac_size > 255)
        throw std::invalid_argument("a record has no room beside its MAC");
    return {0x04, 0xDC, number, static_cast<std::uint8_t>(file << 3 | 4), std::move(content)};
}

IssuerHost::IssuerHost(IssuerSettings settings)
    : settings_(std::move(settings)),
      keys_(card_keys(settings_.keys, settings_.account_number, settings_.sequence_number)) {}

std::string IssuerHost::why_not_genuine(const Objects& request) const {
    std::string reason = missing(request);
    if (!reason.empty()) return reason;
    const Bytes results = verification_results(request.at(issuer_data_tag));
    if (results.empty()) return "the issuer application data have another form";
    const Block expected =
        expected_cryptogram(keys_, number_of(request.at(counter_tag)), request, results);
    if (!std::ranges::equal(expected, request.at(cryptogram_tag)))
        return "the cryptogram is not what this card would have made";
    const unsigned kind = request.at(information_tag)[0] >> 6;
    if (kind != first_kind(results) || second_kind(results) != not_yet)
        return "the cryptogram is of another kind than it says";
    return {};
}

std::string IssuerHost::why_declined() const {
    if ((request_.at(information_tag)[0] & kind_bits) != is_request) return "the card does not ask";
    const auto cents = cents_of(request_.at(amount_tag));
    if (!cents) return "the amount is none";
    return *cents > settings_.limit ? "the amount is over the limit" : "";
}

IssuerAnswer IssuerHost::authorise(std::string_view request_text) {
    request_.clear();
    const auto request = read_objects(hex_or_nothing(request_text));
    const std::string flaw = request ? why_not_genuine(*request) : "the request is no data objects";
    if (!flaw.empty()) return {Verdict::not_genuine, "05", flaw, refusal_text};
    request_ = *request;
    counter_ = number_of(request_.at(counter_tag));
    std::ranges::copy(request_.at(cryptogram_tag), cryptogram_.begin());
    const std::string refusal = why_declined();
    const ResponseCode code = refusal.empty() ? approved : declined;
    return {refusal.empty() ? Verdict::approved : Verdict::declined,
            std::string(code.begin(), code.end()), refusal.empty() ? "approved" : refusal,
            to_hex(response(code))};
}

Bytes IssuerHost::response(const ResponseCode& code) {
    const Key key = cryptogram_session_key(keys_.cryptogram, counter_);
    Bytes authentication = to_bytes(View(response_cryptogram(key, cryptogram_, code)));
    append(authentication, code);
    Bytes objects = data_object(0x91, authentication);
    if (script_) append(objects, script_object());
    script_.reset();
    return objects;
}

Bytes IssuerHost::script_object() const {
    const Key integrity = script_session_key(keys_.integrity, cryptogram_);
    const Key secrecy = script_session_key(keys_.secrecy, cryptogram_);
    Bytes content;
    if (script_->identifier) content = data_object(0x9F18, *script_->identifier);
    for (const ScriptCommand& command : script_->commands) {
        Bytes data = command.data;
        if (command.secret) {
            Block block{};
            data.resize(block.size());
            std::ranges::copy(data, block.begin());
            data = to_bytes(View(encrypt(secrecy, block)));
        }
        Bytes whole = {command.cla, command.ins, command.p1, command.p2,
                       static_cast<std::uint8_t>(data.size() + script_mac_size)};
        const Bytes check = script_mac(integrity, whole, counter_, cryptogram_, data);
        append(whole, data);
        append(whole, check);
        append(content, data_object(0x86, whole));
    }
    return data_object(script_->phase, content);
}

IssuerConfirmation IssuerHost::confirm(std::string_view completion_text) {
    constexpr std::size_t issuer_data_at = 11;
    const Bytes completion = hex_or_nothing(completion_text);
    if (request_.empty()) return {Verdict::not_genuine, "there was no genuine request"};
    if (completion.size() < issuer_data_at)
        return {Verdict::not_genuine, "the completion is too short"};
    const View bytes(completion);
    const Bytes results = verification_results(bytes.subspan(issuer_data_at));
    if (results.empty())
        return {Verdict::not_genuine, "the issuer application data have another form"};
    if (number_of(bytes.subspan(1)) != counter_)
        return {Verdict::not_genuine, "the completion is of another transaction"};
    if (!std::ranges::equal(expected_cryptogram(keys_, counter_, request_, results),
                            bytes.subspan(3, sizeof(Block))))
        return {Verdict::not_genuine, "the cryptogram is not what this card would have made"};
    const unsigned kind = bytes[0] >> 6;
    if (first_kind(results) != kind_requested || kind != second_kind(results) ||
        kind > kind_approved)
        return {Verdict::not_genuine, "the cryptogram is of another kind than it says"};
    return kind == kind_approved ? IssuerConfirmation{Verdict::approved, "the card has approved"}
                                 : IssuerConfirmation{Verdict::declined, "the card has declined"};
}

}  // namespace virtual_reader
