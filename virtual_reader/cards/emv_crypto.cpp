#include "cards/emv_crypto.h"

#include <algorithm>
#include <bit>
#include <stdexcept>
#include <string>

namespace virtual_reader {
namespace {

Block one_block(const Bytes& bytes) {
    Block block{};
    std::copy_n(bytes.begin(), block.size(), block.begin());
    return block;
}

Key single_key(const Key& key) {
    Key left = key;
    std::copy_n(key.begin(), 8, left.begin() + 8);
    return left;
}

Key join(const Block& left, const Block& right) {
    Key key{};
    std::ranges::copy(left, key.begin());
    std::ranges::copy(right, key.begin() + 8);
    return key;
}

bool is_digits(std::string_view text) {
    return std::ranges::all_of(text, [](char one) { return one >= '0' && one <= '9'; });
}

// Each byte gets an odd number of ones by its lowest bit.
void set_odd_parity(Key& key) {
    for (std::uint8_t& byte : key) {
        const int ones = std::popcount(static_cast<unsigned>(byte) >> 1);
        byte = static_cast<std::uint8_t>((byte & 0xFE) | (ones % 2 == 0 ? 1 : 0));
    }
}

}  // namespace

Block encrypt(const Key& key, const Block& block) {
    return one_block(triple_des_encrypt(key, {}, block));
}

Block decrypt(const Key& key, const Block& block) {
    return one_block(triple_des_decrypt(key, {}, block));
}

Block exclusive_or(const Block& left, const Block& right) {
    Block result{};
    for (std::size_t at = 0; at < result.size(); ++at)
        result[at] = static_cast<std::uint8_t>(left[at] ^ right[at]);
    return result;
}

Block mac(const Key& key, View message, const Block& initial) {
    Bytes padded = to_bytes(message);
    padded.push_back(0x80);
    while (padded.size() % 8 != 0)
        padded.push_back(0x00);
    const Key left = single_key(key);
    Block chain = initial;
    for (std::size_t at = 0; at < padded.size(); at += 8) {
        Block block{};
        std::copy_n(padded.begin() + static_cast<std::ptrdiff_t>(at), 8, block.begin());
        const bool last = at + 8 == padded.size();
        chain = encrypt(last ? key : left, exclusive_or(chain, block));
    }
    return chain;
}

Key card_key(const Key& issuer_key, std::string_view account_number, int sequence_number) {
    if (account_number.empty() || account_number.size() > 19 || !is_digits(account_number))
        throw std::invalid_argument("an account number has 1 to 19 digits");
    if (sequence_number < 0 || sequence_number > 99)
        throw std::invalid_argument("a sequence number has two digits");
    std::string digits(16, '0');
    digits += account_number;
    digits += static_cast<char>('0' + sequence_number / 10);
    digits += static_cast<char>('0' + sequence_number % 10);
    const Bytes last = from_hex(std::string_view(digits).substr(digits.size() - 16));
    Block left{};
    std::ranges::copy(last, left.begin());
    constexpr Block all_ones = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    Key key = join(encrypt(issuer_key, left), encrypt(issuer_key, exclusive_or(left, all_ones)));
    set_odd_parity(key);
    return key;
}

KeySet card_keys(const KeySet& issuer_keys, std::string_view account_number, int sequence_number) {
    return {card_key(issuer_keys.cryptogram, account_number, sequence_number),
            card_key(issuer_keys.integrity, account_number, sequence_number),
            card_key(issuer_keys.secrecy, account_number, sequence_number)};
}

Key session_key(const Key& card_key, const Block& diversification) {
    Block left = diversification;
    Block right = diversification;
    left[2] = 0xF0;
    right[2] = 0x0F;
    return join(encrypt(card_key, left), encrypt(card_key, right));
}

Key cryptogram_session_key(const Key& card_key, std::uint16_t transaction_counter) {
    return session_key(card_key, {static_cast<std::uint8_t>(transaction_counter >> 8),
                                  static_cast<std::uint8_t>(transaction_counter)});
}

Key script_session_key(const Key& card_key, const Block& cryptogram) {
    return session_key(card_key, cryptogram);
}

Block response_cryptogram(const Key& session_key, const Block& request, const ResponseCode& code) {
    return encrypt(session_key, exclusive_or(request, {code[0], code[1]}));
}

Bytes script_mac(const Key& session_key, View header, std::uint16_t transaction_counter,
                 const Block& cryptogram, View data) {
    Bytes message = to_bytes(header);
    message.push_back(static_cast<std::uint8_t>(transaction_counter >> 8));
    message.push_back(static_cast<std::uint8_t>(transaction_counter));
    append(message, cryptogram);
    append(message, data);
    const Block whole = mac(session_key, message);
    return to_bytes(View(whole).first(script_mac_size));
}

Block pin_block(std::string_view pin) {
    if (pin.size() < 4 || pin.size() > 12 || !is_digits(pin))
        throw std::invalid_argument("a PIN has 4 to 12 digits");
    std::string digits = {'2', "0123456789ABC"[pin.size()]};
    digits += pin;
    digits.resize(16, 'F');
    Block block{};
    std::ranges::copy(from_hex(digits), block.begin());
    return block;
}

}  // namespace virtual_reader
