#include "payment_kit.h"

namespace {

using kit::to_hex;
using namespace payment;
using namespace virtual_reader;

std::string ok(const char* data) {
    return to_hex(hex(data)) + "9000";
}

TEST(PaymentCardScripts, ChangeBalanceAndLimits) {
    Terminal terminal;
    const Bytes request = terminal.pay("0001");
    EXPECT_EQ(terminal.send(script("04 DA 9F 79", hex("000000050000"), "0001", request)), "9000");
    EXPECT_EQ(terminal.send("80 CA 9F 79"), ok("9F7906000000050000"));
    EXPECT_EQ(terminal.send("00 B2 01 64 00"),
              ok("9F79 000000010000 000000050000 261017 101530 0156"
                 "4445534B2053484F500000000000000000000000 0001"));
    EXPECT_EQ(terminal.send(script("04 DA 9F 78", hex("000000000777"), "0001", request)), "9000");
    EXPECT_EQ(terminal.send("80 CA 9F 78"), ok("9F7806000000000777"));
    EXPECT_EQ(terminal.send("00 B2 02 64 00"), "6A83") << "a limit is no load";
    EXPECT_EQ(terminal.send(script("04 DA 9F 79", hex("000000060000"), "0001", request)), "9000");
    EXPECT_EQ(terminal.send("00 B2 01 64 00").substr(0, 28), "9F79000000050000000000060000");
}

TEST(PaymentCardScripts, KeepTheBalanceWithinItsLimit) {
    Terminal terminal;
    const Bytes request = terminal.pay("0001");
    const auto put = [&](const char* header, const char* value) {
        return terminal.send(script(header, hex(value), "0001", request));
    };
    EXPECT_EQ(put("04 DA 9F 79", "000000100001"), "6A80");
    EXPECT_EQ(put("04 DA 9F 79", "000000100000"), "9000");
    EXPECT_EQ(put("04 DA 9F 79", "00000000000A"), "6A80");
    EXPECT_EQ(put("04 DA 9F 79", "0000000000"), "6700");
    EXPECT_EQ(put("04 DA 9F 36", "0001"), "6A88");
}

TEST(PaymentCardScripts, NeedTheirMac) {
    Terminal terminal;
    const Bytes request = terminal.pay("0001");
    const Bytes good = script("04 DA 9F 79", hex("000000050000"), "0001", request);
    for (std::size_t at = 2; at < good.size(); ++at) {
        if (at == 4) continue;  // Lc
        Bytes changed = good;
        changed[at] = static_cast<std::uint8_t>(changed[at] ^ 0x01);
        EXPECT_EQ(terminal.send(changed), "6988") << at;
    }
    EXPECT_EQ(terminal.send(script("04 DA 9F 79", hex("000000050000"), "0002", request)), "6988");
    EXPECT_EQ(terminal.send(script("04 DA 9F 79", hex("000000050000"), "0001", Bytes(8, 0))),
              "6988");
    EXPECT_EQ(terminal.send("84 1E 00 00 03 000000"), "6987");
    EXPECT_EQ(terminal.send("84 1E 00 00"), "6987");
    EXPECT_EQ(terminal.send("80 CA 9F 79"), ok("9F7906000000010000"));
    EXPECT_EQ(terminal.send(good), "9000");
}

TEST(PaymentCardScripts, NeedATransaction) {
    Terminal terminal;
    const Bytes request = terminal.pay("0001");
    const Bytes good = script("84 1E 00 00", {}, "0001", request);
    terminal.send(select_application);
    EXPECT_EQ(terminal.send(good), "6985");
    terminal.send(begin);
    EXPECT_EQ(terminal.send(good), "6985") << "no cryptogram yet";
    terminal.send(with_data("80 AE 80 00", first_data()));
    EXPECT_EQ(terminal.send(good), "6988") << "that of the transaction before";
}

TEST(PaymentCardScripts, RunBeforeTheSecondCryptogramToo) {
    Terminal terminal;
    const Bytes request = terminal.request();
    EXPECT_EQ(terminal.send(script("04 DA 9F 6D", hex("000000000001"), "0001", request)), "9000");
    EXPECT_EQ(terminal.send("80 CA 9F 6D"), ok("9F6D06000000000001"));
}

TEST(PaymentCardScripts, BlockAndUnblock) {
    Terminal terminal;
    const Bytes request = terminal.pay("0001");
    EXPECT_EQ(terminal.send(script("84 1E 00 01", {}, "0001", request)), "6A86");
    EXPECT_EQ(terminal.send(script("84 1E 00 00", hex("00"), "0001", request)), "6700");
    EXPECT_EQ(terminal.send(script("84 1E 00 00", {}, "0001", request)), "9000");
    std::string information = terminal.send(select_application);
    EXPECT_EQ(information.substr(information.size() - 4), "6283");
    terminal.send(begin);
    const std::string declined = terminal.send(with_data("80 AE 80 00", first_data()));
    EXPECT_EQ(declined.substr(0, 6), "801300");
    const Bytes cryptogram_of_decline = hex(declined.substr(10, 16));
    EXPECT_EQ(terminal.send(script("84 18 01 00", {}, "0002", cryptogram_of_decline)), "6A86");
    EXPECT_EQ(terminal.send(script("84 18 00 00", hex("00"), "0002", cryptogram_of_decline)),
              "6700");
    EXPECT_EQ(terminal.send(script("84 18 00 00", {}, "0002", cryptogram_of_decline)), "9000");
    information = terminal.send(select_application);
    EXPECT_EQ(information.substr(information.size() - 4), "9000");
}

TEST(PaymentCardScripts, ABlockBeforeTheEndDeclines) {
    Terminal terminal;
    const Bytes request = terminal.request();
    terminal.send(with_data("00 82 00 00", issuer_answer("0001", request)));
    EXPECT_EQ(terminal.send(script("84 1E 00 00", {}, "0001", request)), "9000");
    EXPECT_EQ(terminal.send(with_data("80 AE 40 00", second_data())).substr(0, 6), "801300");
}

TEST(PaymentCardScripts, ChangeThePin) {
    Terminal terminal;
    const Bytes request = terminal.pay("0001");
    const auto enciphered = [&](const char* block) {
        return plain::triple_des_cbc(plain::session_key(secrecy_key(), request), hex(block));
    };
    const auto change = [&](const Bytes& data) {
        return terminal.send(script("84 24 00 02", data, "0001", request));
    };
    EXPECT_EQ(change(hex("254321FFFFFFFFFF")), "6A80") << "not enciphered";
    EXPECT_EQ(change(enciphered("234321FFFFFFFFFF")), "6A80");
    EXPECT_EQ(change(enciphered("244321FFFFFFFFF0")), "6A80");
    EXPECT_EQ(change(enciphered("24432FFFFFFFFFFF")), "6A80");
    EXPECT_EQ(change(enciphered("144321FFFFFFFFFF")), "6A80");
    EXPECT_EQ(change(hex("0011")), "6700");
    EXPECT_EQ(terminal.send("00 20 00 80 08 241234FFFFFFFFFF"), "9000") << "still the old one";
    EXPECT_EQ(change(enciphered("2654321AFFFFFFFF")), "6A80");
    EXPECT_EQ(change(enciphered("26654321FFFFFFFF")), "9000");
    EXPECT_EQ(terminal.send("00 20 00 80 08 241234FFFFFFFFFF"), "63C2");
    EXPECT_EQ(terminal.send("00 20 00 80 08 26654321FFFFFFFF"), "9000");
    EXPECT_EQ(terminal.send(script("84 24 00 01", {}, "0001", request)), "6A86");
}

TEST(PaymentCardScripts, UnblockThePin) {
    Terminal terminal;
    const Bytes request = terminal.pay("0001");
    for (int tries = 0; tries < 3; ++tries)
        terminal.send("00 20 00 80 08 241235FFFFFFFFFF");
    EXPECT_EQ(terminal.send("00 20 00 80 08 241234FFFFFFFFFF"), "6983");
    EXPECT_EQ(terminal.send(script("84 24 00 00", hex("00"), "0001", request)), "6700");
    EXPECT_EQ(terminal.send(script("84 24 00 00", {}, "0001", request)), "9000");
    EXPECT_EQ(terminal.send("00 20 00 80 08 241234FFFFFFFFFF"), "9000");
}

TEST(PaymentCardScripts, UpdateRecords) {
    Terminal terminal;
    const Bytes request = terminal.pay("0001");
    const auto update = [&](const char* header) {
        return terminal.send(script(header, hex("7003 9F0700"), "0001", request));
    };
    EXPECT_EQ(update("04 DC 01 0C"), "9000");
    EXPECT_EQ(terminal.send("00 B2 01 0C 00"), ok("7003 9F0700"));
    EXPECT_EQ(update("04 DC 02 0C"), "6A83");
    EXPECT_EQ(update("04 DC 01 24"), "6A82");
    EXPECT_EQ(update("04 DC 01 5C"), "6981") << "the log";
    EXPECT_EQ(update("04 DC 01 64"), "6981");
    EXPECT_EQ(update("04 DC 01 0D"), "6A86");
}

TEST(PaymentCardScripts, AreReportedWithTheNextRequest) {
    Terminal terminal;
    const Bytes request = terminal.pay("0001");
    terminal.send(script("04 DA 9F 6D", hex("000000000001"), "0001", request));
    terminal.send("84 1E 00 00 04 00000000");
    const Bytes second = terminal.request();
    EXPECT_EQ(second, cryptogram("0002", "03A00028")) << "two, and one failed";
    EXPECT_EQ(terminal.send(with_data("00 82 00 00", issuer_answer("0002", second))), "9000");
    EXPECT_EQ(terminal.send(with_data("80 AE 40 00", second_data())).substr(0, 6), "801340");
    EXPECT_EQ(terminal.request(), cryptogram("0003", "03A00000")) << "the issuer knows now";
}

}  // namespace
