#include "payment_kit.h"

namespace {

using kit::to_hex;
using namespace payment;
using namespace virtual_reader;

std::string ok(const char* data) {
    return to_hex(hex(data)) + "9000";
}

std::string application_information(const char* status = "9000") {
    return to_hex(hex("6F39 8408A000000333010101 A52D 500A4445534B204445424954 870101"
                      "9F38099F7A019F02065F2A02 5F2D02656E BF0C0A 9F4D020B0A DF4D020C0A")) +
           status;
}

TEST(PaymentCardSelection, GivesDirectoryAndApplication) {
    Terminal terminal;
    EXPECT_EQ(terminal.send(select_directory),
              ok("6F1A 840E315041592E5359532E4444463031 A508 880101 5F2D02656E"));
    EXPECT_EQ(terminal.send("00 B2 01 0C 00"),
              ok("701B 6119 4F08A000000333010101 500A4445534B204445424954 870101"));
    EXPECT_EQ(terminal.send("00 B2 02 0C 00"), "6A83");
    EXPECT_EQ(terminal.send("00 B2 01 14 00"), "6A82");
    EXPECT_EQ(terminal.send(select_application), application_information());
    EXPECT_EQ(terminal.send("00 A4 04 00 05 A000000333"), application_information());
    EXPECT_EQ(terminal.send("00 A4 04 00 07 A0000003330102"), "6A82");
    EXPECT_EQ(terminal.send("00 A4 04 00"), "6A82");
    EXPECT_EQ(terminal.send("00 A4 00 00 02 3F00"), "6A86");
}

TEST(PaymentCardSelection, RefusesWhatItDoesNotKnow) {
    Terminal terminal;
    EXPECT_EQ(terminal.send("00 B2 01 0C 00"), "6985") << "nothing selected";
    EXPECT_EQ(terminal.send("80 CA 9F 36"), "6985");
    EXPECT_EQ(terminal.send(begin), "6985");
    EXPECT_EQ(terminal.send("00 20 00 80 08 241234FFFFFFFFFF"), "6985");
    EXPECT_EQ(terminal.send("00 B0 00 00 00"), "6D00");
    EXPECT_EQ(terminal.send("80 A4 04 00 02 A000"), "6E00");
    EXPECT_EQ(terminal.send("00 A4"), "6700");
    EXPECT_EQ(terminal.send("00 C0 00 00 10"), "6A86");
}

TEST(PaymentCardRecords, HoldAccountHolderAndLists) {
    Terminal terminal;
    terminal.send(select_application);
    EXPECT_EQ(terminal.send("00 B2 01 0C 00"),
              to_hex(kit::join({hex("705B 570F9999990000000013D301222000000F"), hex("5F200B"),
                                kit::ascii("EXAMPLE/ADA"), hex("9F0B16"),
                                kit::ascii("EXAMPLE/ADA OF NOWHERE"), hex("9F1F0A"),
                                kit::ascii("0000000000"), hex("9F610F"),
                                kit::ascii("ID-EXAMPLE-0001"), hex("9F620100 9000")})));
    EXPECT_EQ(
        terminal.send("00 B2 01 14 00"),
        to_hex(kit::join({hex("7037 5A089999990000000013 5F2403301231 5F2503260101 5F340101"
                              "9F6310"),
                          kit::ascii("DESKBANK-DEBIT01"), hex("5F28020156 9F0702FF00 9000")})));
    EXPECT_EQ(terminal.send("00 B2 01 1C 00"),
              ok("7054 8C1B 9F02069F03069F1A0295055F2A029A039C019F37049F21039F4E14"
                 "8D1D 8A029F02069F03069F1A0295055F2A029A039C019F37049F21039F4E14"
                 "9F0D050000000000 9F0E050000000000 9F0F050000000000"));
    EXPECT_EQ(terminal.send("00 B2 02 0C 00"), "6A83");
    EXPECT_EQ(terminal.send("00 B2 01 24 00"), "6A82");
    EXPECT_EQ(terminal.send("00 B2 01 0D 00"), "6A86");
    EXPECT_EQ(terminal.send("00 B2 01 0C"), "6700");
    EXPECT_EQ(terminal.send("00 B2 01 5C 00"), "6A83") << "no payment yet";
    EXPECT_EQ(terminal.send("00 B2 01 64 00"), "6A83");
}

TEST(PaymentCardData, AreAskedForByTag) {
    Terminal terminal;
    terminal.send(select_application);
    EXPECT_EQ(terminal.send("80 CA 9F 79"), ok("9F7906000000010000"));
    EXPECT_EQ(terminal.send("80 CA 9F 77"), ok("9F7706000000100000"));
    EXPECT_EQ(terminal.send("80 CA 9F 6D"), ok("9F6D06000000002000"));
    EXPECT_EQ(terminal.send("80 CA 9F 78"), ok("9F7806000000050000"));
    EXPECT_EQ(terminal.send("80 CA 9F 36"), ok("9F36020000"));
    EXPECT_EQ(terminal.send("80 CA 9F 13 00"), ok("9F13020000"));
    EXPECT_EQ(terminal.send("80 CA 9F 17"), ok("9F170103"));
    EXPECT_EQ(terminal.send("80 CA 9F 4F"),
              ok("9F4F19 9A03 9F2103 9F0206 9F0306 9F1A02 5F2A02 9F4E14 9C01 9F3602"));
    EXPECT_EQ(terminal.send("80 CA 9F 50"), "6A88");
}

TEST(PaymentCardOptions, BeginATransaction) {
    Terminal terminal;
    terminal.send(select_application);
    EXPECT_EQ(terminal.send("80 A8 00 00 0A 83 08 00 0000000012340156"), "6700") << "wrong list";
    EXPECT_EQ(terminal.send("80 A8 00 00 0B 83 08 00 000000001234 0156"), "6700");
    EXPECT_EQ(terminal.send("80 A8 00 00 0B 84 09 00 000000001234 0156"), "6A80");
    EXPECT_EQ(terminal.send("80 A8 01 00 0B 83 09 00 000000001234 0156"), "6A86");
    EXPECT_EQ(terminal.send("80 CA 9F 36"), ok("9F36020000")) << "nothing has begun";
    EXPECT_EQ(terminal.send(begin), "800E1C000801010010010100180101009000");
    EXPECT_EQ(terminal.send("80 CA 9F 36"), ok("9F36020001"));
    EXPECT_EQ(terminal.send(begin), "6985") << "once a selection";
    terminal.send(select_application);
    EXPECT_EQ(terminal.send(begin), "800E1C000801010010010100180101009000");
    EXPECT_EQ(terminal.send("80 CA 9F 36"), ok("9F36020002"));
    terminal.card().power_off();
    terminal.card().power_on();
    terminal.send(select_application);
    EXPECT_EQ(terminal.send("80 CA 9F 36"), ok("9F36020002")) << "power does not count back";
}

TEST(PaymentCardOptions, EndWithTheCounter) {
    PaymentCardSettings settings;
    settings.transaction_counter = 0xFFFE;
    Terminal terminal(settings);
    terminal.send(select_application);
    EXPECT_EQ(terminal.send(begin), "800E1C000801010010010100180101009000");
    terminal.send(select_application);
    EXPECT_EQ(terminal.send("80 CA 9F 36"), ok("9F3602FFFF"));
    EXPECT_EQ(terminal.send(begin), "6985");
}

TEST(PaymentCardOptions, ComeAsObjects) {
    PaymentCardSettings settings;
    settings.options = OptionsForm::objects;
    Terminal terminal(settings);
    terminal.send(select_application);
    EXPECT_EQ(terminal.send(begin), ok("7712 82021C00 940C 08010100 10010100 18010100"));
    settings.without = {0x94};
    Terminal other(settings);
    other.send(select_application);
    EXPECT_EQ(other.send(begin), ok("7704 82021C00"));
}

TEST(PaymentCardOptions, ComeWithoutAList) {
    PaymentCardSettings settings;
    settings.options_list = Bytes{};
    Terminal terminal(settings);
    EXPECT_EQ(terminal.send(select_application),
              ok("6F2D 8408A000000333010101 A521 500A4445534B204445424954 870101"
                 "5F2D02656E BF0C0A 9F4D020B0A DF4D020C0A"));
    EXPECT_EQ(terminal.send("80 A8 00 00 02 83 00"), "800E1C000801010010010100180101009000");
}

TEST(PaymentCardOptions, ComeWithACryptogramAndTheCardsData) {
    PaymentCardSettings settings;
    settings.contactless = true;
    settings.options = OptionsForm::cryptogram;
    Terminal terminal(settings);
    const std::string information = terminal.send(select_application);
    EXPECT_NE(information.find("9F38189F66049F02069F03069F1A0295055F2A029A039C019F3704"),
              std::string::npos);
    const Bytes request = cryptogram("0001", "03A00000");
    EXPECT_EQ(
        terminal.send(with_data("80 A8 00 00", kit::join({hex("83 21 F4000000"), hex(covered)}))),
        to_hex(kit::join({hex("7756 82021C00 9F270180 9F36020001 9F2608"), request,
                          hex("9F100807010103A0000001 570F9999990000000013D301222000000F"
                              "5A089999990000000013 5F200B"),
                          kit::ascii("EXAMPLE/ADA"), hex("5F2403301231 5F340101 9000")})));
    EXPECT_EQ(terminal.send(with_data("00 82 00 00", issuer_answer("0001", request))), "9000");
}

TEST(PaymentCardPin, HasThreeTries) {
    Terminal terminal;
    terminal.send(select_application);
    EXPECT_EQ(terminal.send("00 20 00 80 08 241234FFFFFFFFFF"), "9000");
    EXPECT_EQ(terminal.send("00 20 00 80 08 241235FFFFFFFFFF"), "63C2");
    EXPECT_EQ(terminal.send("80 CA 9F 17"), ok("9F170102"));
    EXPECT_EQ(terminal.send("00 20 00 80 08 241234FFFFFFFFFF"), "9000") << "all tries again";
    EXPECT_EQ(terminal.send("00 20 00 80 08 241235FFFFFFFFFF"), "63C2");
    EXPECT_EQ(terminal.send("00 20 00 80 08 251234FFFFFFFFFF"), "63C1");
    EXPECT_EQ(terminal.send("00 20 00 80 08 0000000000000000"), "6983");
    EXPECT_EQ(terminal.send("00 20 00 80 08 241234FFFFFFFFFF"), "6983");
    EXPECT_EQ(terminal.send("00 20 00 80 02 1234"), "6700");
    EXPECT_EQ(terminal.send("00 20 00 00 08 241234FFFFFFFFFF"), "6A86");
    // Its state stands in the verification results: PIN blocked before this transaction.
    terminal.send(begin);
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", first_data())),
              to_hex(kit::join({hex("8013 80 0001"), cryptogram("0001", "03A04000"),
                                hex("07010103A0400001 9000")})));
}

TEST(PaymentCardPin, StandsInTheVerificationResults) {
    Terminal terminal;
    terminal.send(select_application);
    terminal.send(begin);
    terminal.send("00 20 00 80 08 241235FFFFFFFFFF");
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", first_data())),
              to_hex(kit::join({hex("8013 80 0001"), cryptogram("0001", "03A60000"),
                                hex("07010103A6000001 9000")})));
}

TEST(PaymentCardCryptograms, GoOnlineAndApprove) {
    Terminal terminal;
    terminal.send(select_application);
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", first_data())), "6985") << "not begun";
    terminal.send(begin);
    const Bytes request = cryptogram("0001", "03A00000");
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", first_data())),
              to_hex(kit::join({hex("8013 80 0001"), request, hex("07010103A0000001 9000")})));
    EXPECT_EQ(terminal.send(with_data("00 82 00 00", issuer_answer("0001", request))), "9000");
    EXPECT_EQ(terminal.send(with_data("80 AE 40 00", second_data())),
              to_hex(kit::join({hex("8013 40 0001"), cryptogram("0001", "03600000"),
                                hex("0701010360000001 9000")})));
    EXPECT_EQ(terminal.send("80 CA 9F 13"), ok("9F13020001"));
    EXPECT_EQ(terminal.send(with_data("80 AE 40 00", second_data())), "6985") << "it has ended";
    EXPECT_EQ(terminal.send(with_data("00 82 00 00", issuer_answer("0001", request))), "6985");
}

TEST(PaymentCardCryptograms, CoverWhatTheTerminalTold) {
    Terminal terminal;
    const char* other = "000000099999 000000000100 0250 8000000000 0978 270228 20 00000001";
    terminal.pay("0001");
    terminal.send(select_application);
    terminal.send(begin);
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", first_data(other))).substr(10, 16),
              to_hex(cryptogram("0002", "03A00000", other)));
    EXPECT_NE(cryptogram("0002", "03A00000", other), cryptogram("0002", "03A00000"));
}

TEST(PaymentCardCryptograms, ComeAsObjects) {
    PaymentCardSettings settings;
    settings.cryptogram_objects = true;
    Terminal terminal(settings);
    terminal.send(select_application);
    terminal.send(begin);
    EXPECT_EQ(
        terminal.send(with_data("80 AE 80 00", first_data())),
        to_hex(kit::join({hex("771F 9F270180 9F36020001 9F2608"), cryptogram("0001", "03A00000"),
                          hex("9F1008 07010103A0000001 9000")})));
}

TEST(PaymentCardCryptograms, RefuseOtherForms) {
    Terminal terminal;
    terminal.send(select_application);
    terminal.send(begin);
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", hex(covered))), "6700");
    EXPECT_EQ(terminal.send(with_data("80 AE C0 00", first_data())), "6A86");
    EXPECT_EQ(terminal.send(with_data("80 AE 90 00", first_data())), "6A86");
    EXPECT_EQ(terminal.send(with_data("80 AE 80 01", first_data())), "6A86");
    terminal.send(with_data("80 AE 80 00", first_data()));
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", second_data())), "6A86") << "one request";
    EXPECT_EQ(terminal.send(with_data("80 AE 40 00", first_data())), "6700");
}

TEST(PaymentCardCryptograms, DeclineAtTheTerminalsWish) {
    Terminal terminal;
    terminal.send(select_application);
    terminal.send(begin);
    EXPECT_EQ(terminal.send(with_data("80 AE 00 00", first_data())),
              to_hex(kit::join({hex("8013 00 0001"), cryptogram("0001", "03800000"),
                                hex("0701010380000001 9000")})));
    EXPECT_EQ(terminal.send(with_data("80 AE 00 00", second_data())), "6985");
}

TEST(PaymentCardCryptograms, ApproveFromTheBalance) {
    Terminal terminal;
    terminal.send(select_application);
    terminal.send(begin);
    EXPECT_EQ(terminal.send(with_data("80 AE 40 00", first_data())),
              to_hex(kit::join({hex("8013 40 0001"), cryptogram("0001", "03900000"),
                                hex("0701010390000001 9000")})));
    EXPECT_EQ(terminal.send("80 CA 9F 79"), ok("9F7906000000008766"));
    EXPECT_EQ(terminal.send("00 B2 01 5C 00").size(), 94u) << "logged";
}

TEST(PaymentCardCryptograms, GoOnlineForMoreThanBalanceOrLimit) {
    PaymentCardSettings settings;
    settings.balance = 1233;
    Terminal poor(settings);
    poor.send(select_application);
    poor.send(begin);
    EXPECT_EQ(poor.send(with_data("80 AE 40 00", first_data())).substr(0, 6), "801380");
    EXPECT_EQ(poor.send("80 CA 9F 79"), ok("9F7906000000001233"));
    settings.balance = 5000;
    settings.single_limit = 1233;
    Terminal limited(settings);
    limited.send(select_application);
    limited.send(begin);
    EXPECT_EQ(limited.send(with_data("80 AE 40 00", first_data())).substr(0, 6), "801380");
    EXPECT_EQ(limited.send("00 B2 01 5C 00"), "6A83");
}

struct Ending {
    const char* p1;    // of the second GENERATE AC
    const char* code;  // that the terminal tells
    const char* kind;  // that comes
};

TEST(PaymentCardCryptograms, EndAsTheIssuerDecided) {
    const Ending rows[] = {
        {"80 AE 40 00", "3030", "40"},
        {"80 AE 00 00", "3030", "00"},
        {"80 AE C0 00", "3030", "00"},
        {"80 AE 40 00", "3035", "00"},
    };
    for (const auto& [header, code, kind] : rows) {
        Terminal terminal;
        const Bytes request = terminal.request();
        terminal.send(with_data("00 82 00 00", issuer_answer("0001", request)));
        EXPECT_EQ(terminal.send(with_data(header, second_data(code))).substr(4, 2), kind)
            << header << " " << code;
    }
}

TEST(PaymentCardIssuer, MustProveItself) {
    Terminal terminal;
    terminal.send(select_application);
    EXPECT_EQ(terminal.send("00 82 00 00 0A 00000000000000003030"), "6985") << "no request yet";
    const Bytes request = terminal.request();
    const Bytes answer = issuer_answer("0001", request);
    EXPECT_EQ(terminal.send(with_data("00 82 00 00", plain::part(answer, 0, 9))), "6700");
    EXPECT_EQ(terminal.send(with_data("00 82 00 06", answer)), "6A86");
    Bytes wrong = answer;
    wrong[9] = '5';
    EXPECT_EQ(terminal.send(with_data("00 82 00 00", wrong)), "6300") << "the code is covered";
    EXPECT_EQ(terminal.send(with_data("00 82 00 00", answer)), "6985") << "one try";
    EXPECT_EQ(terminal.send(with_data("80 AE 40 00", second_data())),
              to_hex(kit::join({hex("8013 00 0001"), cryptogram("0001", "03280000"),
                                hex("0701010328000001 9000")})))
        << "declined, and issuer authentication failed";
    EXPECT_EQ(terminal.send("80 CA 9F 13"), ok("9F13020000"));
    EXPECT_EQ(terminal.send("00 B2 01 5C 00"), "6A83");
}

TEST(PaymentCardIssuer, IsNeededForAnApproval) {
    Terminal terminal;
    terminal.request();
    EXPECT_EQ(terminal.send(with_data("80 AE 40 00", second_data())).substr(0, 6), "801300");
}

TEST(PaymentCardIssuer, HearsOfAnUnfinishedTransaction) {
    Terminal terminal;
    terminal.request();
    terminal.send(select_application);
    terminal.send(begin);
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", first_data())),
              to_hex(kit::join({hex("8013 80 0002"), cryptogram("0002", "03A08000"),
                                hex("07010103A0800001 9000")})));
}

TEST(PaymentCardKeys, DecideEveryCryptogram) {
    const Bytes usual = cryptogram("0001", "03A00000");
    PaymentCardSettings other_key;
    other_key.issuer_keys.cryptogram[0] ^= 0x10;
    PaymentCardSettings other_account;
    other_account.account_number = "9999990000000021";
    PaymentCardSettings other_sequence;
    other_sequence.sequence_number = 2;
    for (const auto& settings : {other_key, other_account, other_sequence}) {
        Terminal terminal(settings);
        EXPECT_NE(terminal.request(), usual);
        EXPECT_EQ(terminal.send(with_data("00 82 00 00", issuer_answer("0001", usual))), "6300");
    }
    EXPECT_EQ(Terminal().request(), usual);
}

TEST(PaymentCardLog, KeepsWhatWasApproved) {
    Terminal terminal;
    terminal.pay("0001");
    EXPECT_EQ(terminal.send("00 B2 01 5C 00"),
              ok("261017 101530 000000001234 000000000000 0156 0156"
                 "4445534B2053484F500000000000000000000000 01 0001"));
    const char* other = "000000000099 000000000001 0250 0000000800 0978 261018 30 00000000";
    terminal.pay("0002", other);
    EXPECT_EQ(terminal.send("00 B2 01 5C 00"),
              ok("261018 101530 000000000099 000000000001 0250 0978"
                 "4445534B2053484F500000000000000000000000 30 0002"))
        << "the newest first";
    EXPECT_EQ(terminal.send("00 B2 02 5C 00").substr(86, 4), "0001");
    EXPECT_EQ(terminal.send("00 B2 03 5C 00"), "6A83");
}

TEST(PaymentCardLog, KeepsTen) {
    Terminal terminal;
    for (const char* counter :
         {"0001", "0002", "0003", "0004", "0005", "0006", "0007", "0008", "0009", "000A", "000B"})
        terminal.pay(counter);
    EXPECT_EQ(terminal.send("00 B2 01 5C 00").substr(86, 4), "000B");
    EXPECT_EQ(terminal.send("00 B2 0A 5C 00").substr(86, 4), "0002");
    EXPECT_EQ(terminal.send("00 B2 0B 5C 00"), "6A83");
}

TEST(PaymentCardLog, KnowsNothingThatWasDeclined) {
    Terminal terminal;
    const Bytes request = terminal.request();
    terminal.send(with_data("00 82 00 00", issuer_answer("0001", request, "3035")));
    EXPECT_EQ(terminal.send(with_data("80 AE 00 00", second_data("3035"))).substr(0, 6), "801300");
    EXPECT_EQ(terminal.send("00 B2 01 5C 00"), "6A83");
}

TEST(PaymentCardSwitches, LeaveObjectsOut) {
    PaymentCardSettings settings;
    settings.without = {0x88, 0x4F, 0x9F38, 0x9F4D, 0xDF4D, 0x8C, 0x5A, 0x5F20, 0x9F79};
    Terminal terminal(settings);
    EXPECT_EQ(terminal.send(select_directory),
              ok("6F17 840E315041592E5359532E4444463031 A505 5F2D02656E"));
    EXPECT_EQ(terminal.send("00 B2 01 0C 00"), ok("7011 610F 500A4445534B204445424954 870101"));
    EXPECT_EQ(
        terminal.send(select_application),
        ok("6F23 8408A000000333010101 A517 500A4445534B204445424954 870101 5F2D02656E BF0C00"));
    EXPECT_EQ(terminal.send("80 CA 9F 79"), "6A88");
    EXPECT_EQ(terminal.send("00 B2 01 0C 00").find("5F20"), std::string::npos);
    EXPECT_EQ(terminal.send("00 B2 01 14 00").substr(0, 10), "702D5F2403");
    EXPECT_EQ(terminal.send("00 B2 01 1C 00").substr(0, 6), "70378D");
    terminal.send(begin);
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", first_data())).substr(0, 4), "8013")
        << "the card still knows its list";
}

TEST(PaymentCardSwitches, BlockTheCard) {
    const struct {
        CardBlock block;
        const char* directory;
        const char* application;
    } rows[] = {
        {CardBlock::none, "9000", "9000"},
        {CardBlock::directory, "6283", "9000"},
        {CardBlock::directory_locked, "9303", "9000"},
        {CardBlock::application, "9000", "6283"},
        {CardBlock::card, "6A81", "6A81"},
    };
    for (const auto& row : rows) {
        PaymentCardSettings settings;
        settings.block = row.block;
        Terminal terminal(settings);
        const std::string directory = terminal.send(select_directory);
        EXPECT_EQ(directory.substr(directory.size() - 4), row.directory);
        const std::string application = terminal.send(select_application);
        EXPECT_EQ(application.substr(application.size() - 4), row.application);
    }
}

TEST(PaymentCardSwitches, ABlockedApplicationDeclines) {
    PaymentCardSettings settings;
    settings.block = CardBlock::application;
    Terminal terminal(settings);
    EXPECT_EQ(terminal.send(select_application), application_information("6283"));
    terminal.send(begin);
    EXPECT_EQ(terminal.send(with_data("80 AE 40 00", first_data())).substr(0, 6), "801300");
}

TEST(PaymentCardSwitches, LeaveOutTheDirectory) {
    PaymentCardSettings settings;
    settings.directory = false;
    Terminal terminal(settings);
    EXPECT_EQ(terminal.send(select_directory), "6A82");
    EXPECT_EQ(terminal.send(select_application), application_information());
}

TEST(PaymentCardSwitches, AnswerByProcedureBytes) {
    PaymentCardSettings settings;
    settings.by_procedure_bytes = true;
    Terminal terminal(settings);
    EXPECT_EQ(terminal.send(select_directory), "611C");
    EXPECT_EQ(terminal.send("00 C0 00 00 1C"),
              ok("6F1A 840E315041592E5359532E4444463031 A508 880101 5F2D02656E"));
    EXPECT_EQ(terminal.send("00 B2 01 0C 00"), "6C1D");
    EXPECT_EQ(terminal.send("00 B2 01 0C 1D").substr(0, 4), "701B");
    EXPECT_EQ(terminal.send(select_application), "613B");
    EXPECT_EQ(terminal.send("80 CA 9F 36"), "6105") << "what waited is gone";
    EXPECT_EQ(terminal.send("00 C0 00 00 05"), ok("9F36020000"));
    EXPECT_EQ(terminal.send(begin), "6110");
    EXPECT_EQ(terminal.send("00 C0 00 00 10"), "800E1C000801010010010100180101009000");
    EXPECT_EQ(terminal.send(with_data("80 AE 80 00", first_data())), "6115");
    EXPECT_EQ(terminal.send("00 C0 00 00 15").substr(0, 6), "801380");
}

TEST(PaymentCardSettings, HaveToBePossible) {
    PaymentCardSettings settings;
    settings.pin = "123";
    EXPECT_THROW(PaymentCard{settings}, std::invalid_argument);
    settings.pin = "1234";
    settings.sequence_number = 100;
    EXPECT_THROW(PaymentCard{settings}, std::invalid_argument);
}

TEST(CryptogramElements, MustBeInAList) {
    EXPECT_TRUE(asks_for_cryptogram_elements(PaymentCardSettings::usual_first_list()));
    EXPECT_TRUE(asks_for_cryptogram_elements(PaymentCardSettings::usual_second_list()));
    EXPECT_FALSE(asks_for_cryptogram_elements(hex("9F7A019F02065F2A02")));
    EXPECT_FALSE(asks_for_cryptogram_elements({}));
    EXPECT_FALSE(asks_for_cryptogram_elements(hex("9F")));
}

}  // namespace
