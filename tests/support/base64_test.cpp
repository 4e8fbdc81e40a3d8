#include <deskreader.h>

#include <cstdlib>
#include <random>

#include <openssl/evp.h>

#include "kit/bytes.h"

namespace {

using kit::Bytes;
using kit::hex;

std::string encode(const Bytes& bytes) {
    char* text = base64_encode(bytes.data(), static_cast<unsigned>(bytes.size()));
    std::string result = text;
    std::free(text);
    return result;
}

struct Decoded {
    int length;
    Bytes buffer;
};

Decoded decode(const std::string& text) {
    int length = 0;
    unsigned char* bytes = base64_decode(text.data(), static_cast<int>(text.size()), &length);
    Decoded result{length, Bytes(bytes, bytes + length)};
    std::free(bytes);
    return result;
}

Bytes random_bytes(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (auto& byte : bytes)
        byte = static_cast<std::uint8_t>(random());
    return bytes;
}

TEST(Base64Encode, PadsToFourCharacters) {
    EXPECT_EQ(encode({}), "");
    EXPECT_EQ(encode(hex("4D")), "TQ==");
    EXPECT_EQ(encode(hex("4D 61")), "TWE=");
    EXPECT_EQ(encode(hex("4D 61 6E")), "TWFu");
    EXPECT_EQ(encode(hex("FB FF BF")), "+/+/");
}

TEST(Base64Encode, AgreesWithOpenSsl) {
    for (unsigned size = 1; size < 200; ++size) {
        const Bytes bytes = random_bytes(size, size);
        std::string expected(4 * ((size + 2) / 3) + 1, '\0');
        expected.resize(static_cast<std::size_t>(
            EVP_EncodeBlock(reinterpret_cast<unsigned char*>(expected.data()), bytes.data(),
                            static_cast<int>(size))));
        EXPECT_EQ(encode(bytes), expected);
    }
}

TEST(Base64Decode, LengthIsThatOfTheBuffer) {
    EXPECT_EQ(decode("TWFu").length, 7);
    EXPECT_EQ(decode("TWE=").length, 7);
    EXPECT_EQ(decode("TQ==").length, 6);
    EXPECT_EQ(decode("====").length, 5);
    EXPECT_EQ(decode("").length, 4);
}

TEST(Base64Decode, CountsPadsOneByOne) {
    EXPECT_EQ(decode("AB=C").length, 7);  // one pad among the last three
    EXPECT_EQ(decode("A=B=").length, 6);  // two, not in a row
}

TEST(Base64Decode, ShortLastGroupGivesAZeroToo) {
    EXPECT_EQ(decode("TWE=").buffer, hex("4D 61 00 00 00 00 00"));
    EXPECT_EQ(decode("TQ==").buffer, hex("4D 00 00 00 00 00"));
}

TEST(Base64Decode, GivesBackWhatWasEncoded) {
    for (unsigned size = 0; size < 200; ++size) {
        const Bytes bytes = random_bytes(size, size + 1000);
        Decoded decoded = decode(encode(bytes));
        ASSERT_GE(decoded.buffer.size(), size);
        decoded.buffer.resize(size);
        EXPECT_EQ(decoded.buffer, bytes);
    }
}

TEST(Base64Decode, ForeignCharactersCountAsA) {
    EXPECT_EQ(decode("T?==").buffer[0], decode("TA==").buffer[0]);
    EXPECT_EQ(decode("\xFF\x80!!").buffer, decode("AAAA").buffer);
}

TEST(Base64Decode, EveryLengthStaysInItsBuffer) {
    for (int size = 0; size < 40; ++size) {
        decode(std::string(static_cast<std::size_t>(size), 'B'));
        decode(std::string(static_cast<std::size_t>(size), '='));
    }
    int length = 0;
    unsigned char* bytes = base64_decode("TWFu", -1, &length);
    EXPECT_EQ(length, 4);
    std::free(bytes);
}

}  // namespace
