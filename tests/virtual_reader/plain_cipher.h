// The cards' cryptograms worked out a second way: step by step with libcrypto's own modes, and with
// nothing of the virtual reader's.
#pragma once

#include <openssl/evp.h>

#include "kit/bytes.h"

namespace plain {

using kit::Bytes;

// CBC from a zero block, or one block alone, with a key of 8, 16 or 24 bytes.
inline Bytes triple_des_cbc(const Bytes& key, const Bytes& blocks, bool encrypting = true) {
    Bytes three;
    for (std::size_t at = 0; at < 24; ++at) {
        const bool third = at >= 16 && key.size() == 16;
        three.push_back(key[third ? at - 16 : at % key.size()]);
    }
    const Bytes zeros(8, 0);
    Bytes result(blocks.size() + 8);
    int size = 0;
    EVP_CIPHER_CTX* cipher = EVP_CIPHER_CTX_new();
    EXPECT_EQ(EVP_CipherInit_ex(cipher, EVP_des_ede3_cbc(), nullptr, three.data(), zeros.data(),
                                encrypting ? 1 : 0),
              1);
    EVP_CIPHER_CTX_set_padding(cipher, 0);
    EXPECT_EQ(EVP_CipherUpdate(cipher, result.data(), &size, blocks.data(),
                               static_cast<int>(blocks.size())),
              1);
    EVP_CIPHER_CTX_free(cipher);
    result.resize(static_cast<std::size_t>(size));
    return result;
}

inline Bytes part(const Bytes& bytes, std::size_t from, std::size_t count) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

inline Bytes padded(Bytes message) {
    message.push_back(0x80);
    message.resize((message.size() + 7) / 8 * 8);
    return message;
}

// ISO 9797-1 algorithm 3, padding 2: single DES in CBC with the left half, then its last block
// through the right half backwards and the left half once more.
inline Bytes retail_mac(const Bytes& key, const Bytes& message) {
    const Bytes left = part(key, 0, 8);
    const Bytes chained = triple_des_cbc(left, padded(message));
    const Bytes last = part(chained, chained.size() - 8, 8);
    const Bytes back = triple_des_cbc(part(key, 8, 8), last, false);
    return triple_des_cbc(left, back);
}

inline Bytes xored(Bytes left, const Bytes& right) {
    for (std::size_t at = 0; at < left.size(); ++at)
        left[at] = static_cast<std::uint8_t>(left[at] ^ right[at]);
    return left;
}

inline Bytes with_odd_parity(Bytes key) {
    for (auto& byte : key) {
        int ones = 0;
        for (int bit = 1; bit < 8; ++bit)
            ones += byte >> bit & 1;
        byte = static_cast<std::uint8_t>((byte & 0xFE) + (ones + 1) % 2);
    }
    return key;
}

// Option A: `digits` are the 16 last of account and sequence number.
inline Bytes card_key(const Bytes& issuer_key, const Bytes& digits) {
    return with_odd_parity(kit::join({triple_des_cbc(issuer_key, digits),
                                      triple_des_cbc(issuer_key, xored(digits, Bytes(8, 0xFF)))}));
}

// The common session key: the third byte of the diversification is F0 on the left, 0F on the right.
inline Bytes session_key(const Bytes& card_key, Bytes diversification) {
    diversification.resize(8);
    diversification[2] = 0xF0;
    const Bytes left = triple_des_cbc(card_key, diversification);
    diversification[2] = 0x0F;
    return kit::join({left, triple_des_cbc(card_key, diversification)});
}

}  // namespace plain
