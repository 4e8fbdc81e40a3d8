// Keys and cryptograms of payment cards (EMV 4.3 Book 2), with two-key triple DES.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "bytes.h"
#include "triple_des.h"

namespace virtual_reader {

using Key = std::array<std::uint8_t, 16>;

// One block under triple DES. A key with equal halves is single DES.
Block encrypt(const Key& key, const Block& block);
Block decrypt(const Key& key, const Block& block);

Block exclusive_or(const Block& left, const Block& right);

// ISO 9797-1 MAC algorithm 3 with padding method 2. With a key of equal halves it is algorithm 1.
Block mac(const Key& key, View message, const Block& initial = {});

// The three keys of an issuer, of a card, or of one transaction.
struct KeySet {
    Key cryptogram;  // application cryptograms and the issuer's answers
    Key integrity;   // MACs of script commands
    Key secrecy;     // new PINs in script commands
};

// The keys of the issuer in the decks and examples here. Nobody else has ever used them.
constexpr KeySet example_issuer_keys = {
    {0x2B, 0x04, 0x19, 0x7C, 0xD3, 0x58, 0x6E, 0xA1, 0x94, 0xEF, 0x37, 0x0B, 0x52, 0xC8, 0x7F,
     0x61},
    {0x31, 0x8A, 0x5D, 0x20, 0xBA, 0x43, 0xF7, 0x68, 0x0E, 0x92, 0xC4, 0x15, 0xE9, 0x76, 0x4A,
     0xB5},
    {0x46, 0xD0, 0x0D, 0xB3, 0x2C, 0x89, 0x61, 0xFE, 0x57, 0x1A, 0xE3, 0x98, 0x75, 0xC2, 0x04,
     0x3E},
};

// A card's master key from its issuer's (A1.4.1, option A): the last 16 digits of the account
// number and the two of the sequence number. Throws std::invalid_argument for an account number
// that is not 1 to 19 digits or a sequence number over 99.
Key card_key(const Key& issuer_key, std::string_view account_number, int sequence_number);
KeySet card_keys(const KeySet& issuer_keys, std::string_view account_number, int sequence_number);

// The common session key derivation (A1.3.1).
Key session_key(const Key& card_key, const Block& diversification);

// For cryptograms the transaction counter diversifies the card's key, for script commands the
// cryptogram of the first GENERATE AC.
Key cryptogram_session_key(const Key& card_key, std::uint16_t transaction_counter);
Key script_session_key(const Key& card_key, const Block& cryptogram);

using ResponseCode = std::array<std::uint8_t, 2>;

// The issuer's answer to a request cryptogram, method 1 (8.2.1).
Block response_cryptogram(const Key& session_key, const Block& request, const ResponseCode& code);

// The MAC of a script command (9.2.3, format 2): its leftmost four bytes over CLA INS P1 P2 Lc, the
// transaction counter, the cryptogram of the first GENERATE AC, and the data before the MAC. Lc
// counts the MAC.
constexpr std::size_t script_mac_size = 4;
Bytes script_mac(const Key& session_key, View header, std::uint16_t transaction_counter,
                 const Block& cryptogram, View data);

// A PIN of 4 to 12 digits as VERIFY carries it in plain (ISO 9564-1, format 2). Throws
// std::invalid_argument for any other.
Block pin_block(std::string_view pin);

}  // namespace virtual_reader
