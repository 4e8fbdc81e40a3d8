#include "cards/emv_crypto.h"

#include <algorithm>

#include "plain_cipher.h"

namespace {

using kit::hex;
using namespace virtual_reader;

template <class Array>
Array of(const char* text) {
    const Bytes bytes = hex(text);
    Array array{};
    EXPECT_EQ(bytes.size(), array.size());
    std::ranges::copy(bytes, array.begin());
    return array;
}

constexpr const char* issuer_key = "2B04197CD3586EA194EF370B52C87F61";

// FIPS 81, table B1: electronic codebook of "Now is the time for all ".
TEST(TripleDes, IsDesWithEqualHalves) {
    const Key key = of<Key>("0123456789ABCDEF 0123456789ABCDEF");
    EXPECT_EQ(encrypt(key, of<Block>("4E6F772069732074")), of<Block>("3FA40E8A984D4815"));
    EXPECT_EQ(encrypt(key, of<Block>("68652074696D6520")), of<Block>("6A271787AB8883F9"));
    EXPECT_EQ(encrypt(key, of<Block>("666F7220616C6C20")), of<Block>("893D51EC4B563B53"));
    EXPECT_EQ(decrypt(key, of<Block>("3FA40E8A984D4815")), of<Block>("4E6F772069732074"));
}

TEST(TripleDes, AgreesWithItsCbcMode) {
    const Key key = of<Key>(issuer_key);
    const Block block = of<Block>("0102030405060708");
    EXPECT_EQ(to_bytes(encrypt(key, block)),
              plain::triple_des_cbc(hex(issuer_key), hex("0102030405060708")));
    EXPECT_EQ(decrypt(key, encrypt(key, block)), block);
}

// ISO/IEC 9797-1, annex B: algorithms 1 and 3 with padding method 2 over "Now is the time for all
// ".
TEST(Mac, GivesThePublishedValues) {
    const Bytes message = kit::ascii("Now is the time for all ");
    EXPECT_EQ(mac(of<Key>("0123456789ABCDEF FEDCBA9876543210"), message),
              of<Block>("E9086230CA3BE796"));
    EXPECT_EQ(mac(of<Key>("0123456789ABCDEF 0123456789ABCDEF"), message),
              of<Block>("10E1F0F108341B6D"));
}

// ICAO 9303 part 11, appendix D: the worked example of a passport's mutual authentication.
TEST(Mac, GivesThePassportExample) {
    EXPECT_EQ(mac(of<Key>("7962D9ECE03D1ACD4C76089DCE131543"),
                  hex("72C29C2371CC9BDB65B779B8E8D37B29ECC154AA56A8799FAE2F498F76ED92F2")),
              of<Block>("5F1448EEA8AD90A7"));
}

TEST(Mac, AgreesWithTheStepsDoneSingly) {
    for (std::size_t size : {0u, 1u, 7u, 8u, 9u, 48u}) {
        const Bytes message(size, 0xA7);
        EXPECT_EQ(to_bytes(mac(of<Key>(issuer_key), message)),
                  plain::retail_mac(hex(issuer_key), message))
            << size;
    }
}

TEST(Mac, BeginsWithAnInitialBlock) {
    const Block initial = of<Block>("1122334455667788");
    const Bytes message = hex("0102030405060708 09");
    const Bytes mixed = hex("1020304050607080 09");  // of the first block with the initial one
    EXPECT_EQ(mac(of<Key>(issuer_key), message, initial), mac(of<Key>(issuer_key), mixed));
}

Bytes card_key_of(std::string_view account_number, int sequence_number) {
    return to_bytes(card_key(of<Key>(issuer_key), account_number, sequence_number));
}

TEST(CardKey, ComesFromTheLastSixteenDigits) {
    const auto expected = plain::card_key(hex(issuer_key), hex("9999000000001301"));
    EXPECT_EQ(card_key_of("9999990000000013", 1), expected);
    EXPECT_EQ(card_key_of("7779999990000000013", 1),
              plain::card_key(hex(issuer_key), hex("9999000000001301")));
    EXPECT_EQ(card_key_of("13", 45), plain::card_key(hex(issuer_key), hex("0000000000001345")));
    EXPECT_NE(card_key_of("9999990000000013", 2), expected);
    EXPECT_NE(card_key_of("9999990000000014", 1), expected);
}

TEST(CardKey, IsOneForEachIssuerKey) {
    const KeySet keys = card_keys(example_issuer_keys, "9999990000000013", 1);
    EXPECT_EQ(to_bytes(keys.cryptogram), card_key_of("9999990000000013", 1));
    EXPECT_EQ(to_bytes(keys.integrity),
              plain::card_key(hex("318A5D20BA43F7680E92C415E9764AB5"), hex("9999000000001301")));
    EXPECT_EQ(to_bytes(keys.secrecy),
              plain::card_key(hex("46D00DB32C8961FE571AE39875C2043E"), hex("9999000000001301")));
}

TEST(CardKey, RefusesOtherNumbers) {
    const Key key = of<Key>(issuer_key);
    EXPECT_THROW(card_key(key, "", 1), std::invalid_argument);
    EXPECT_THROW(card_key(key, "12345678901234567890", 1), std::invalid_argument);
    EXPECT_THROW(card_key(key, "1234F", 1), std::invalid_argument);
    EXPECT_THROW(card_key(key, "1234", 100), std::invalid_argument);
    EXPECT_THROW(card_key(key, "1234", -1), std::invalid_argument);
}

TEST(SessionKey, ComesFromCounterOrCryptogram) {
    const Bytes master = card_key_of("9999990000000013", 1);
    const Key card = card_key(of<Key>(issuer_key), "9999990000000013", 1);
    EXPECT_EQ(to_bytes(cryptogram_session_key(card, 0x0102)),
              kit::join({plain::triple_des_cbc(master, hex("0102F00000000000")),
                         plain::triple_des_cbc(master, hex("01020F0000000000"))}));
    EXPECT_EQ(to_bytes(script_session_key(card, of<Block>("A1A2A3A4A5A6A7A8"))),
              kit::join({plain::triple_des_cbc(master, hex("A1A2F0A4A5A6A7A8")),
                         plain::triple_des_cbc(master, hex("A1A20FA4A5A6A7A8"))}));
}

TEST(ResponseCryptogram, CoversRequestAndCode) {
    const Block answer =
        response_cryptogram(of<Key>(issuer_key), of<Block>("A1A2A3A4A5A6A7A8"), {'0', '5'});
    EXPECT_EQ(to_bytes(answer), plain::triple_des_cbc(hex(issuer_key), hex("9197A3A4A5A6A7A8")));
}

TEST(ScriptMac, CoversHeaderCounterCryptogramAndData) {
    const Bytes expected =
        plain::retail_mac(hex(issuer_key), hex("04DA9F790A 0007 A1A2A3A4A5A6A7A8 000000050000"));
    EXPECT_EQ(script_mac(of<Key>(issuer_key), hex("04DA9F790A"), 7, of<Block>("A1A2A3A4A5A6A7A8"),
                         hex("000000050000")),
              plain::part(expected, 0, 4));
}

TEST(PinBlock, HasLengthDigitsAndFiller) {
    EXPECT_EQ(pin_block("1234"), of<Block>("241234FFFFFFFFFF"));
    EXPECT_EQ(pin_block("12345"), of<Block>("2512345FFFFFFFFF"));
    EXPECT_EQ(pin_block("123456789012"), of<Block>("2C123456789012FF"));
    for (const char* pin : {"", "123", "1234567890123", "12A4"})
        EXPECT_THROW(pin_block(pin), std::invalid_argument) << pin;
}

}  // namespace
