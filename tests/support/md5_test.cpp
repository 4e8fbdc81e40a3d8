#include <deskreader.h>

#include <openssl/evp.h>

#include "kit/bytes.h"
#include "kit/scratch.h"

namespace {

using kit::ascii;
using kit::Bytes;

std::string digest_of(const Bytes& data) {
    char text[33];
    EXPECT_EQ(GMd5Encode(data.data(), data.size(), text, sizeof text), 0);
    return text;
}

std::string openssl(const Bytes& data) {
    Bytes digest(16);
    EXPECT_EQ(EVP_Digest(data.data(), data.size(), digest.data(), nullptr, EVP_md5(), nullptr), 1);
    return kit::to_hex(digest);
}

std::string file_digest(const std::filesystem::path& path) {
    char text[33] = "";
    EXPECT_EQ(GGetFileMd5(path.c_str(), text, sizeof text), 0);
    return text;
}

// The test suite of RFC 1321; its empty text is tested with a file.
TEST(Md5, HasThePublishedAnswers) {
    EXPECT_EQ(digest_of(ascii("a")), "0CC175B9C0F1B6A831C399E269772661");
    EXPECT_EQ(digest_of(ascii("abc")), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_EQ(digest_of(ascii("message digest")), "F96B697D7CB7938D525A2F31AAF161D0");
    EXPECT_EQ(digest_of(ascii("abcdefghijklmnopqrstuvwxyz")), "C3FCD3D76192E4007DFB496CCA67E13B");
    EXPECT_EQ(digest_of(ascii("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789")),
              "D174AB98D277D9F5A5611C2C9F419D9F");
    EXPECT_EQ(
        digest_of(ascii(
            "12345678901234567890123456789012345678901234567890123456789012345678901234567890")),
        "57EDF4A22BE3C955AC49DA2E2107B67A");
}

TEST(Md5, AgreesWithOpenSslAtEveryLength) {
    for (std::size_t size = 1; size <= 300; ++size) {
        Bytes data(size);
        for (std::size_t i = 0; i < size; ++i)
            data[i] = static_cast<std::uint8_t>(i * 7 + size);
        ASSERT_EQ(digest_of(data), openssl(data)) << size;
    }
}

TEST(Md5, RefusesNothingAndTooLittleRoom) {
    char text[33];
    const unsigned char data[1] = {};
    EXPECT_EQ(GMd5Encode(nullptr, 1, text, 33), -22);
    EXPECT_EQ(GMd5Encode(data, 0, text, 33), -22);
    EXPECT_EQ(GMd5Encode(data, 1, nullptr, 33), -22);
    EXPECT_EQ(GMd5Encode(data, 1, text, 31), -22);
    EXPECT_EQ(GMd5Encode(data, 1, text, 32), 0);
}

TEST(Md5OfFile, ReadsTheWholeFile) {
    const kit::ScratchDirectory directory;
    for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 100'000u}) {
        const std::string content(size, 'q');
        kit::write_file(directory / "file", content);
        const std::string expected =
            size == 0 ? "D41D8CD98F00B204E9800998ECF8427E" : openssl(ascii(content));
        EXPECT_EQ(file_digest(directory / "file"), expected) << size;
    }
}

TEST(Md5OfFile, RefusesWhatCannotBeRead) {
    char text[33];
    EXPECT_EQ(GGetFileMd5("/nonexistent/file", text, 33), -99);
    EXPECT_EQ(GGetFileMd5(nullptr, text, 33), -22);
    EXPECT_EQ(GGetFileMd5("/dev/null", nullptr, 33), -22);
    EXPECT_EQ(GGetFileMd5("/dev/null", text, 31), -22);
}

TEST(Md5Text, ClearsItsRoomAndReturnsIt) {
    char text[40];
    std::fill(std::begin(text), std::end(text), '#');
    const Bytes digest = kit::hex("000102030405060708090A0B0C0D0EFF");
    EXPECT_EQ(MD5Result(digest.data(), text, sizeof text), text);
    EXPECT_STREQ(text, "000102030405060708090A0B0C0D0EFF");
    EXPECT_EQ(text[39], '\0');
    EXPECT_EQ(MD5Result(digest.data(), text, 31), nullptr);
}

}  // namespace
