#include <deskreader.h>

#include <memory>
#include <random>

#include <openssl/evp.h>

#include "kit/bytes.h"

namespace {

using kit::Bytes;
using kit::hex;

// One block by OpenSSL's triple DES; single DES is triple DES with equal keys.
Bytes openssl(const Bytes& key, const Bytes& block, bool encrypt) {
    Bytes full = key;
    if (key.size() == 8) full = kit::join({key, key, key});
    if (key.size() == 16) full = kit::join({key, Bytes(key.begin(), key.begin() + 8)});
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    EXPECT_EQ(EVP_CipherInit_ex(context.get(), EVP_des_ede3_ecb(), nullptr, full.data(), nullptr,
                                encrypt ? 1 : 0),
              1);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    Bytes out(16);
    int length = 0;
    EXPECT_EQ(EVP_CipherUpdate(context.get(), out.data(), &length, block.data(), 8), 1);
    out.resize(static_cast<std::size_t>(length));
    return out;
}

Bytes random_bytes(std::mt19937& random, std::size_t size) {
    Bytes bytes(size);
    for (auto& byte : bytes)
        byte = static_cast<std::uint8_t>(random());
    return bytes;
}

struct Vector {
    const char* key;
    const char* plain;
    const char* cipher;
};

// FIPS 81 and the known-answer tests of NBS Special Publication 500-20.
constexpr Vector vectors[] = {
    {"133457799BBCDFF1", "0123456789ABCDEF", "85E813540F0AB405"},
    {"0123456789ABCDEF", "4E6F772069732074", "3FA40E8A984D4815"},
    {"0101010101010101", "8000000000000000", "95F8A5E5DD31D900"},
    {"0101010101010101", "4000000000000000", "DD7F121CA5015619"},
    {"0101010101010101", "0000000000000001", "166B40B44ABA4BD6"},
    {"8001010101010101", "0000000000000000", "95A8D72813DAA94D"},
    {"7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B"},
    {"0131D9619DC1376E", "5CD54CA83DEF57DA", "7A389D10354BD271"},
};

TEST(Des, HasThePublishedAnswers) {
    for (const Vector& vector : vectors) {
        Bytes out(8);
        EXPECT_EQ(GDesEncrypt(hex(vector.plain).data(), hex(vector.key).data(), out.data()), 0);
        EXPECT_EQ(kit::to_hex(out), vector.cipher);
        EXPECT_EQ(GDesDecrypt(hex(vector.cipher).data(), hex(vector.key).data(), out.data()), 0);
        EXPECT_EQ(kit::to_hex(out), vector.plain);
    }
}

TEST(Des, AgreesWithOpenSsl) {
    std::mt19937 random(1);
    for (int round = 0; round < 5000; ++round) {
        const Bytes key = random_bytes(random, 8);
        const Bytes block = random_bytes(random, 8);
        Bytes out(8);
        GDesEncrypt(block.data(), key.data(), out.data());
        ASSERT_EQ(out, openssl(key, block, true));
        GDesDecrypt(block.data(), key.data(), out.data());
        ASSERT_EQ(out, openssl(key, block, false));
    }
}

TEST(Des, IgnoresParityBits) {
    Bytes one(8);
    Bytes other(8);
    const Bytes block = hex("0123456789ABCDEF");
    GDesEncrypt(block.data(), hex("1234567890ABCDEF").data(), one.data());
    GDesEncrypt(block.data(), hex("1335577991AACCEE").data(), other.data());
    EXPECT_EQ(one, other);
}

TEST(Des, WorksInPlace) {
    Bytes block = hex("0123456789ABCDEF");
    GDesEncrypt(block.data(), hex("133457799BBCDFF1").data(), block.data());
    EXPECT_EQ(block, hex("85E813540F0AB405"));
}

TEST(TripleDes, AgreesWithOpenSslForBothKeyLengths) {
    std::mt19937 random(2);
    for (int round = 0; round < 5000; ++round) {
        const std::size_t size = round % 2 == 0 ? 16 : 24;
        const Bytes key = random_bytes(random, size);
        const Bytes block = random_bytes(random, 8);
        Bytes out(8);
        EXPECT_EQ(G3DesEncrypt(block.data(), key.data(), out.data(), static_cast<int>(size)), 0);
        ASSERT_EQ(out, openssl(key, block, true));
        EXPECT_EQ(G3DesDecrypt(block.data(), key.data(), out.data(), static_cast<int>(size)), 0);
        ASSERT_EQ(out, openssl(key, block, false));
    }
}

TEST(TripleDes, WithEqualHalvesIsDes) {
    const Bytes half = hex("133457799BBCDFF1");
    Bytes out(8);
    EXPECT_EQ(G3DesEncrypt(hex("0123456789ABCDEF").data(), kit::join({half, half}).data(),
                           out.data(), 16),
              0);
    EXPECT_EQ(out, hex("85E813540F0AB405"));
}

TEST(TripleDes, TakesKeysOf16And24BytesOnly) {
    const Bytes key(32, 0x11);
    Bytes out(8);
    for (const int length : {-1, 0, 8, 15, 17, 23, 25, 32}) {
        EXPECT_EQ(G3DesEncrypt(key.data(), key.data(), out.data(), length), -22);
        EXPECT_EQ(G3DesDecrypt(key.data(), key.data(), out.data(), length), -22);
    }
}

TEST(Ciphers, RefuseNull) {
    unsigned char block[24] = {};
    for (const auto crypt : {GDesEncrypt, GDesDecrypt}) {
        EXPECT_EQ(crypt(nullptr, block, block), -22);
        EXPECT_EQ(crypt(block, nullptr, block), -22);
        EXPECT_EQ(crypt(block, block, nullptr), -22);
    }
    for (const auto crypt : {G3DesEncrypt, G3DesDecrypt}) {
        EXPECT_EQ(crypt(nullptr, block, block, 16), -22);
        EXPECT_EQ(crypt(block, nullptr, block, 16), -22);
        EXPECT_EQ(crypt(block, block, nullptr, 16), -22);
    }
}

}  // namespace
