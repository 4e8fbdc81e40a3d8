// Purse cards with the virtual reader, over both links and in both IC frames. The host's side of
// the card's proofs is worked out here with the library's own ciphers.
#include <deskreader.h>

#include <algorithm>

#include "kit/scratch.h"
#include "kit/virtual_desk.h"
#include "kit/way.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::join;
using kit::VirtualDesk;

constexpr std::string_view deck = R"({ "cards": [
  { "type": "purse", "name": "purse", "answer": "3B00", "inserted": true, "pin": "1234",
    "deposit": 700, "purse": 5000, "key_index": 1,
    "keys": { "purchase": "509BE6317CC7125DA8F33E89D41F6AB5",
              "load": "61ACF7428DD8236EB9044F9AE5307BC6",
              "maintenance": "83CE1964AFFA4590DB2671BC07529DE8" },
    "files": [ { "id": "EF15", "sfi": 21, "data": "ISSUER 0001" } ] } ] })";

constexpr int deposit = 1;
constexpr int purse = 2;

const Bytes purchase_key = hex("509BE6317CC7125DA8F33E89D41F6AB5");
const Bytes load_key = hex("61ACF7428DD8236EB9044F9AE5307BC6");
const Bytes maintenance_key = hex("83CE1964AFFA4590DB2671BC07529DE8");

Bytes part(const Bytes& bytes, std::size_t begin, std::size_t count) {
    const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(begin);
    return {from, from + static_cast<std::ptrdiff_t>(count)};
}

// 80 and zeros up to whole blocks, chained from `block`; the last chained block.
Bytes chained(const Bytes& des_key, Bytes message, Bytes block) {
    message.push_back(0x80);
    message.resize((message.size() + 7) / 8 * 8);
    for (std::size_t at = 0; at < message.size(); at += 8) {
        GXor(block.data(), &message[at], block.data(), 8);
        GDesEncrypt(block.data(), des_key.data(), block.data());
    }
    return block;
}

// The MAC of a load or a purchase: single DES with the session key.
Bytes session_mac(const Bytes& key, const Bytes& derived_from, const Bytes& message) {
    Bytes session(8);
    G3DesEncrypt(derived_from.data(), key.data(), session.data(), 16);
    return part(chained(session, message, Bytes(8)), 0, 4);
}

// The MAC of an update: the last block with the whole key, from the card's challenge on.
Bytes update_mac(const Bytes& challenge, const Bytes& message) {
    const Bytes left = part(maintenance_key, 0, 8);
    const Bytes right = part(maintenance_key, 8, 8);
    Bytes block = chained(left, message, join({challenge, Bytes(4)}));
    GDesDecrypt(block.data(), right.data(), block.data());
    GDesEncrypt(block.data(), left.data(), block.data());
    return part(block, 0, 4);
}

class PurseSession : public testing::TestWithParam<kit::Way> {
  protected:
    void SetUp() override {
        ASSERT_EQ(RD_Open(desk_.port(), 9600, 0), 0);
        char answer[512] = "";
        int length = 0;
        int kind = -1;
        ASSERT_EQ(RD_IcPowerOn(0, sizeof answer, answer, &length, &kind, 2), 0);
    }
    void TearDown() override { EXPECT_EQ(RD_Close(), 0); }

    // What a command gave out, or its result.
    template <class Command>
    static std::string output(Command command) {
        Bytes out(512, 0xEE);
        int length = -7;
        const int result = command(out.data(), &length);
        return result == 0 ? kit::to_hex(part(out, 0, static_cast<std::size_t>(length)))
                           : std::to_string(result);
    }
    static std::string balance(int number) {
        return output([&](unsigned char* out, int* length) {
            return EPED_GetBalance(&context, 0, number, out, length);
        });
    }
    static std::string file(int offset) {
        return output([&](unsigned char* out, int* length) {
            return EPED_ReadBinary(&context, 0, 0x15, offset, out, length);
        });
    }
    static int verify(const char* pin) {
        const Bytes bytes = hex(pin);
        return EPED_Verify(&context, 0, bytes.data(), static_cast<int>(bytes.size()));
    }

    // A command as it stands: for what the functions send without its data.
    static std::string send(const Bytes& command) {
        Bytes sent = command;
        return output([&](unsigned char* out, int* length) {
            return PBOC_IcAPDU(&context, 0, sent.data(), static_cast<int>(sent.size()), out,
                               length);
        });
    }

    kit::ConfigFile config_{GetParam().config()};
    VirtualDesk desk_{GetParam().link, deck};
};

// What 11 or 15 bytes are as the text that the functions take.
const char* as_text(const Bytes& bytes) {
    return reinterpret_cast<const char*>(bytes.data());
}

INSTANTIATE_TEST_SUITE_P(Ways, PurseSession, kit::every_way, kit::way_name);

TEST_P(PurseSession, ShowsBalancesAfterThePin) {
    EXPECT_EQ(balance(purse), "00001388");
    EXPECT_EQ(balance(deposit), "-99");
    EXPECT_EQ(verify("4321"), -99);
    EXPECT_EQ(verify("1234"), 0);
    EXPECT_EQ(balance(deposit), "000002BC");
}

TEST_P(PurseSession, BlocksThePinAfterThreeWrongOnes) {
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(verify("9999"), -99);
    EXPECT_EQ(verify("1234"), -99);
}

TEST_P(PurseSession, ReadsAndUpdatesAFile) {
    EXPECT_EQ(file(0), kit::to_hex(kit::ascii("ISSUER 0001")));
    EXPECT_EQ(file(7), kit::to_hex(kit::ascii("0001")));
    Bytes challenge(512);
    int length = 4;
    ASSERT_EQ(EPED_GetRandom(&context, 0, challenge.data(), &length), 0);
    ASSERT_EQ(length, 4);
    challenge.resize(4);
    const Bytes content = kit::ascii("2222");
    const Bytes data =
        join({content, update_mac(challenge, join({hex("04 D6 95 07 08"), content}))});
    const auto size = static_cast<int>(data.size());
    EXPECT_EQ(EPED_UpdateBinary(&context, 0, 0x15, 7, data.data(), size), 0);
    EXPECT_EQ(file(0), kit::to_hex(kit::ascii("ISSUER 2222")));
    EXPECT_EQ(EPED_UpdateBinary(&context, 0, 0x15, 7, data.data(), size), -99)
        << "the challenge is used up";
}

TEST_P(PurseSession, BeginsALoad) {
    ASSERT_EQ(verify("1234"), 0);
    // Key index, amount, terminal: none of it has a zero byte.
    const Bytes wanted = hex("01 01020304 112233445566");
    const std::string given = output([&](unsigned char* out, int* length) {
        return EPED_InitForLoad(&context, 0, purse, as_text(wanted), out, length);
    });
    ASSERT_EQ(given.size(), 32u) << given;
    EXPECT_EQ(given.substr(0, 16), "0000138800000100") << "balance, loads, version, algorithm";
    const Bytes random = hex(given.substr(16, 8));
    EXPECT_EQ(given.substr(24), kit::to_hex(session_mac(load_key, join({random, hex("0000 8000")}),
                                                        hex("00001388 01020304 02 112233445566"))));
    const Bytes data = hex("20260101123000 00000000");
    EXPECT_EQ(output([&](unsigned char* out, int* length) {
                  return EPED_Load(&context, 0, as_text(data), out, length);
              }),
              "-99")
        << "it goes out without its data, which no card takes";
    EXPECT_EQ(balance(purse), "00001388");
}

TEST_P(PurseSession, Purchases) {
    const Bytes wanted = hex("01 00000101 112233445566");
    EXPECT_EQ(output([&](unsigned char* out, int* length) {
                  return EPED_InitForPurchase(&context, 0, purse, as_text(wanted), 0, out, length);
              }),
              "-99")
        << "it goes out without its data, which no card takes";
    const std::string begun = send(join({hex("80 50 01 02 0B"), wanted}));
    ASSERT_EQ(begun.size(), 34u) << begun;
    EXPECT_EQ(begun.substr(0, 22), "0000138800000000000100");
    const Bytes random = hex(begun.substr(22, 8));

    const Bytes counter = hex("01010101");
    const Bytes moment = hex("20260101123001");
    const Bytes proof = session_mac(purchase_key, join({random, hex("0000"), part(counter, 2, 2)}),
                                    join({hex("00000101 06 112233445566"), moment}));
    ASSERT_EQ(std::ranges::count(proof, 0), 0) << "would be cut: choose another moment";
    Bytes data = join({counter, moment, proof});
    const std::string done = output([&](unsigned char* out, int* length) {
        return EPED_Purchase(&context, 0, 0, as_text(data), 0, out, length);
    });
    ASSERT_EQ(done.size(), 16u) << done;
    EXPECT_EQ(done.substr(8),
              kit::to_hex(session_mac(
                  purchase_key, join({random, hex("0000"), part(counter, 2, 2)}), hex("00000101"))))
        << "the card proves itself";
    EXPECT_EQ(balance(purse), "00001287");
    EXPECT_EQ(output([&](unsigned char* out, int* length) {
                  return EPED_Purchase(&context, 0, 0, as_text(data), 0, out, length);
              }),
              "-99")
        << "once only";
}

}  // namespace
