#include <deskreader.h>

#include <cstring>

#include "kit/card_desk.h"
#include "kit/child.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::Output;
using namespace std::chrono_literals;

constexpr int contact = 0;

class Payment : public testing::TestWithParam<kit::Way> {
  protected:
    // A command through PBOC_IcAPDU; `command` keeps what became of it.
    Output exchange(const char* command, int slot = contact) {
        command_ = hex(command);
        const auto length = static_cast<int>(command_.size());
        command_.resize(16);
        return kit::output_of([&](auto* out, int* size) {
            return PBOC_IcAPDU(&context, slot, command_.data(), length, out, size);
        });
    }

    template <class... Arguments>
    int run(int (*function)(DEVCONTEXT*, int, Arguments...), Arguments... arguments) {
        return function(&context, contact, arguments...);
    }

    kit::CardDesk card_{GetParam()};
    Bytes command_;
};

INSTANTIATE_TEST_SUITE_P(Ways, Payment, kit::every_way, kit::way_name);

TEST_P(Payment, ExchangeGivesTheWholeResponse) {
    card_.expect("00 84 00 00 04", "11 22 33 44 90 00");
    const Output output = exchange("00 84 00 00 04");
    EXPECT_EQ(output.result, 0);
    EXPECT_EQ(output.text(), "112233449000");
}

TEST_P(Payment, ExchangeTracesBothWays) {
    const kit::LogFile log;
    card_.expect("00 84 00 00 01", "11 90 00");
    exchange("00 84 00 00 01");
    EXPECT_EQ(log.messages().front(), "Info:PBOC_IcAPDU szInData = 0084000001\r\n");
    EXPECT_EQ(log.messages().back(), "Info:PBOC_IcAPDU szOutData = 119000\r\n");
}

TEST_P(Payment, SlotsOfTheExchange) {
    card_.expect_contactless("00 84 00 00 01", "11 90 00");
    EXPECT_EQ(exchange("00 84 00 00 01", 1).result, 0);
    g_IcType = 1;  // not consulted
    card_.expect("00 84 00 00 01", "11 90 00");
    EXPECT_EQ(exchange("00 84 00 00 01", 2).result, 0);
    card_.expect_absent("00 84 00 00 01");
    card_.expect_contactless("00 84 00 00 01", "22 90 00");
    EXPECT_EQ(exchange("00 84 00 00 01", 2).text(), "229000");
    card_.expect_absent("00 84 00 00 01");
    EXPECT_EQ(exchange("00 84 00 00 01", 0).result, -4005);
}

TEST_P(Payment, WaitingBytesAreFetched) {
    card_.expect("00 A4 04 00 01 31", "61 1A");
    card_.expect("00 C0 00 00 1A", "6F 00 90 00");
    const Output output = exchange("00 A4 04 00 01 31");
    EXPECT_EQ(output.text(), "6F009000");
    EXPECT_EQ(Bytes(command_.begin(), command_.begin() + 6), hex("00 C0 00 00 1A 31"))
        << "changed in place";
}

TEST_P(Payment, WrongLengthIsCorrected) {
    card_.expect("00 B2 01 0C 00", "6C 20");
    card_.expect("00 B2 01 0C 20", "11 90 00");
    EXPECT_EQ(exchange("00 B2 01 0C 00").text(), "119000");
    EXPECT_EQ(command_[4], 0x20);
}

TEST_P(Payment, WarningsAreAnsweredWithGetResponse) {
    card_.expect("80 A8 00 00 00", "62 81");
    card_.expect("00 C0 00 00 00", "6C 02");
    card_.expect("00 C0 00 00 02", "61 03");
    card_.expect("00 C0 00 00 03", "12 34 56 90 00");
    EXPECT_EQ(exchange("80 A8 00 00 00").text(), "1234569000");
}

TEST_P(Payment, BlockedApplicationIsReportedAtOnce) {
    card_.expect("00 A4 04 00 00", "6F 00 62 83");
    Output output = exchange("00 A4 04 00 00");
    EXPECT_EQ(output.result, 100);
    EXPECT_EQ(output.text(), "6F006283");
    card_.expect("00 A4 04 00 00", "61 02");
    card_.expect("00 C0 00 00 02", "62 83");
    EXPECT_EQ(exchange("00 A4 04 00 00").result, 100);
}

TEST_P(Payment, EndlessFollowUpsEnd) {
    for (const auto& [first, next, answer] :
         {std::tuple{"00 84 00 00 00", "00 C0 00 00 10", "61 10"},
          std::tuple{"00 84 00 00 00", "00 C0 00 00 00", "62 00"},
          std::tuple{"00 84 00 00 00", "00 84 00 00 08", "6C 08"}}) {
        card_.expect(first, answer);
        for (int i = 0; i < 64; ++i)
            card_.expect(next, answer);
        const Output output = exchange("00 84 00 00 00");
        EXPECT_EQ(output.result, 0);
        EXPECT_EQ(output.bytes, hex(answer)) << "the last answer stands";
    }
}

TEST_P(Payment, ShortResponsesAreGivenAsTheyAre) {
    card_.expect("00 84 00 00 00", "61");
    EXPECT_EQ(exchange("00 84 00 00 00").text(), "61");
    card_.expect("00 84 00 00 00", "");
    const Output output = exchange("00 84 00 00 00");
    EXPECT_EQ(output.result, 0);
    EXPECT_EQ(output.length, 0);
}

TEST_P(Payment, ResponsesBeyond512BytesAreRefused) {
    if (GetParam().iccmd == 0) GTEST_SKIP() << "one IC frame carries less";
    card_.reader().expect(2, kit::union_frame(hex("32 26 00 00 84 00 00 00")),
                          kit::union_frame(kit::join({hex("00 00"), Bytes(512, 0x90)})));
    EXPECT_EQ(exchange("00 84 00 00 00").length, 512);
    card_.reader().expect(2, kit::union_frame(hex("32 26 00 00 84 00 00 00")),
                          kit::union_frame(kit::join({hex("00 00"), Bytes(600, 0x90)})));
    const Output output = exchange("00 84 00 00 00");
    EXPECT_EQ(output.result, -74);
    EXPECT_EQ(output.length, 0);
}

TEST_P(Payment, EmptyCommandIsRefused) {
    unsigned char buffer[512];
    int length = 7;
    EXPECT_EQ(PBOC_IcAPDU(&context, 0, buffer, 0, buffer, &length), -22);
    EXPECT_EQ(length, 0);
}

// Commands that carry data and bring nothing: each is sent, and its status word decides.
struct DataRow {
    const char* name;
    int (*send)(const unsigned char* data, int length);
    const char* header;
};

constexpr DataRow data_commands[] = {
    {"ExternalAuth",
     [](const unsigned char* data, int length) {
         return PBOC_ExternalAuth(&context, 0, data, length);
     },
     "00 82 00 00"},
    {"ExternalAuth_Sh",
     [](const unsigned char* data, int length) {
         return PBOC_ExternalAuth_Sh(&context, 0, data, length);
     },
     "00 82 00 06"},
    {"DeliveryKey",
     [](const unsigned char* data, int length) {
         return PBOC_DeliveryKey(&context, 0, 0x12, 0x34, data, length);
     },
     "BF DE 12 34"},
    {"ChangePin",
     [](const unsigned char* data, int length) {
         return PBOC_ChangePin(&context, 0, 0x02, data, length);
     },
     "84 24 00 02"},
};

TEST_P(Payment, DataCommandsGoByTheStatusWord) {
    const Bytes data = hex("11 22 33");
    for (const DataRow& row : data_commands) {
        SCOPED_TRACE(row.name);
        const std::string command = std::string(row.header) + " 03 11 22 33";
        for (const auto& [response, result] :
             {std::pair{"90 00", 0}, std::pair{"11 90 00", 0}, std::pair{"6A 82", -99},
              std::pair{"62 83", 100}, std::pair{"", -99}, std::pair{"90", -99}}) {
            card_.expect(command.c_str(), response);
            EXPECT_EQ(row.send(data.data(), 3), result) << response;
        }
        card_.expect_failed(command.c_str());
        EXPECT_EQ(row.send(data.data(), 3), -4006);
        EXPECT_EQ(row.send(data.data(), -1), -22);
        const Bytes too_long(256, 0);
        EXPECT_EQ(row.send(too_long.data(), 256), -22);
        card_.verify();
    }
}

TEST_P(Payment, DirectorySelectionGivesItsFile) {
    const Bytes name = kit::ascii("1PAY.SYS.DDF01");
    const auto select = [&] {
        return kit::output_of([&](auto* out, int* length) {
            return PBOC_SelectPSE(&context, 0, name.data(), 14, out, length);
        });
    };
    constexpr char command[] = "00 A4 04 00 0E 31 50 41 59 2E 53 59 53 2E 44 44 46 30 31";
    card_.expect(command, "6F 07 84 02 31 50 A5 03 88 01 01 90 00");
    Output output = select();
    EXPECT_EQ(output.result, 0);
    EXPECT_EQ(output.text(), "01");
    card_.expect(command, "6F 02 84 00 90 00");
    EXPECT_EQ(select().result, -99) << "no tag 88";
    card_.expect(command, "93 03");
    EXPECT_EQ(select().result, 100);
    card_.expect(command, "6F 07 84 02 31 50 A5 03 88 01 01 62 83");
    EXPECT_EQ(select().result, 100);
    card_.expect(command, "6A 82");
    output = select();
    EXPECT_EQ(output.result, -99);
    EXPECT_EQ(output.length, -7);
}

TEST_P(Payment, RecordsAreGivenWithoutStatusWord) {
    const auto read = [&](int record, int sfi) {
        return kit::output_of([&](auto* out, int* length) {
            return PBOC_ReadRecord(&context, 0, record, sfi, out, length);
        });
    };
    card_.expect("00 B2 03 0C 00", "70 03 5A 01 11 90 00");
    EXPECT_EQ(read(3, 1).text(), "70035A0111");
    card_.expect("00 B2 01 04 00", "11 90 00");
    EXPECT_EQ(read(1, 0).text(), "11") << "the current file";
    card_.expect("00 B2 01 FC 00", "6A 83");
    EXPECT_EQ(read(1, 31).result, -99);
    card_.expect("00 B2 01 0C 00", "22 90 00");
    EXPECT_EQ(read(1, 0x7FFFFF01).text(), "22") << "a number too large to be multiplied";
}

TEST_P(Payment, ApplicationsAreReadUntilARecordIsMissing) {
    const Bytes sfis = hex("01 02");
    card_.expect("00 B2 01 0C 00", "70 04 61 02 4F 00 90 00");
    card_.expect("00 B2 02 0C 00", "70 07 61 05 4F 03 A0 00 01 90 00");
    card_.expect("00 B2 03 0C 00", "6A 83");
    card_.expect("00 B2 03 14 00", "70 07 61 05 4F 03 A0 00 02 90 00");
    card_.expect("00 B2 04 14 00", "6A 83");
    Output output = kit::output_of([&](auto* out, int* length) {
        return PBOC_GetAID(&context, 0, sfis.data(), 2, out, length);
    });
    EXPECT_EQ(output.result, 0);
    EXPECT_EQ(output.text(), "A00002") << "the last one, and record numbers that run on";
    card_.expect("00 B2 01 0C 00", "70 07 61 05 4F 03 A0 00 01 90 00");
    card_.expect("00 B2 02 0C 00", "70 00 90 00");
    card_.expect("00 B2 03 0C 00", "6A 83");
    output = kit::output_of([&](auto* out, int* length) {
        return PBOC_GetAID(&context, 0, sfis.data(), 1, out, length);
    });
    EXPECT_EQ(output.length, 0) << "a record without one clears it";
}

TEST_P(Payment, ApplicationsOfAnEndlessDirectoryEnd) {
    char command[] = "00 B2 00 0C 00";
    for (int record = 1; record <= 255; ++record) {
        std::snprintf(command, sizeof command, "00 B2 %02X 0C 00", record);
        card_.expect(command, "4F 01 11 90 00");
    }
    const Bytes sfis = hex("01");
    EXPECT_EQ(kit::output_of([&](auto* out, int* length) {
                  return PBOC_GetAID(&context, 0, sfis.data(), 1, out, length);
              }).text(),
              "11");
}

TEST_P(Payment, SelectionsGiveTheWholeResponse) {
    const Bytes aid = hex("A0 00 03");
    card_.expect("00 A4 04 00 03 A0 00 03", "6F 00 90 00");
    EXPECT_EQ(kit::output_of([&](auto* out, int* length) {
                  return PBOC_SelectAID(&context, 0, aid.data(), 3, out, length);
              }).text(),
              "6F009000");
    card_.expect("00 A4 02 00 03 A0 00 03", "6F 00 90 00");
    EXPECT_EQ(kit::output_of([&](auto* out, int* length) {
                  return PBOC_SelectFile(&context, 0, 2, aid.data(), 3, out, length);
              }).text(),
              "6F009000");
    card_.expect("00 A4 04 00 03 A0 00 03", "6A 82");
    EXPECT_EQ(kit::output_of([&](auto* out, int* length) {
                  return PBOC_SelectAID(&context, 0, aid.data(), 3, out, length);
              }).result,
              -99);
}

struct Options {
    int result;
    std::string aip, afl;
};

Options processing_options(const char* pdol) {
    const Bytes data = hex(pdol);
    Bytes aip(2);
    Bytes afl(512);
    int aip_length = -7;
    int afl_length = -7;
    Options options{0, {}, {}};
    options.result = PBOC_GetProcOptions(&context, 0, data.data(), static_cast<int>(data.size()),
                                         aip.data(), &aip_length, afl.data(), &afl_length);
    if (aip_length >= 0) aip.resize(static_cast<std::size_t>(aip_length));
    if (afl_length >= 0) afl.resize(static_cast<std::size_t>(afl_length));
    options.aip = kit::to_hex(aip);
    options.afl = kit::to_hex(afl);
    return options;
}

TEST_P(Payment, ProcessingOptionsInFormat1) {
    card_.expect("80 A8 00 00 04 83 02 11 22", "80 06 7C 00 08 01 01 00 90 00");
    const Options options = processing_options("11 22");
    EXPECT_EQ(options.result, 0);
    EXPECT_EQ(options.aip, "7C00");
    EXPECT_EQ(options.afl, "08010100");
    card_.expect("80 A8 00 00 02 83 00", "80 01 7C 90 00");
    EXPECT_EQ(processing_options("").result, -99);
}

TEST_P(Payment, ProcessingOptionsInFormat2) {
    card_.expect("80 A8 00 00 02 83 00", "77 0A 82 02 7C 00 94 04 08 01 01 00 90 00");
    Options options = processing_options("");
    EXPECT_EQ(options.aip, "7C00");
    EXPECT_EQ(options.afl, "08010100");
    card_.expect("80 A8 00 00 02 83 00", "77 07 82 02 7C 00 9F 36 00 90 00");
    options = processing_options("");
    EXPECT_EQ(options.afl, "770782027C009F3600") << "without tag 94 the whole response";
    card_.expect("80 A8 00 00 02 83 00", "77 06 94 04 08 01 01 00 90 00");
    EXPECT_EQ(processing_options("").result, -99) << "no tag 82";
    card_.expect("80 A8 00 00 02 83 00", "82 02 7C 00 90 00");
    EXPECT_EQ(processing_options("").result, -99) << "neither form";
    card_.expect("80 A8 00 00 02 83 00", "77 06 82 04 11 22 33 44 90 00");
    EXPECT_EQ(processing_options("").aip, "1122") << "two bytes of a longer one";
}

TEST_P(Payment, RefusedProcessingOptionsAreEmpty) {
    card_.expect("80 A8 00 00 02 83 00", "69 85");
    const Options options = processing_options("");
    EXPECT_EQ(options.result, 0);
    EXPECT_EQ(options.aip, "");
    EXPECT_EQ(options.afl, "");
    card_.expect_failed("80 A8 00 00 02 83 00");
    EXPECT_EQ(processing_options("").result, 0);
    const Bytes too_long(254, 0);
    int length = 0;
    unsigned char out[512];
    EXPECT_EQ(PBOC_GetProcOptions(&context, 0, too_long.data(), 254, out, &length, out, &length),
              -22);
}

Output app_data(const char* afl) {
    const Bytes locator = hex(afl);
    return kit::output_of(
        [&](auto* out, int* length) {
            return PBOC_GetAppData(&context, 0, locator.data(), static_cast<int>(locator.size()),
                                   out, length);
        },
        8000);
}

TEST_P(Payment, ApplicationDataAreTheRecordsOfTheLocator) {
    card_.expect("00 B2 01 0C 00", "11 11 90 00");
    card_.expect("00 B2 02 0C 00", "6A 83");
    card_.expect("00 B2 03 0C 00", "33 90 00");
    card_.expect("00 B2 05 14 00", "55 90 00");
    const Output output = app_data("08 01 03 00 10 05 05 FF 18 01");
    EXPECT_EQ(output.result, 0);
    EXPECT_EQ(output.text(), "11113355") << "failed reads are skipped, and so is half an entry";
    EXPECT_EQ(app_data("08 03 01 00").length, 0) << "no records from 3 to 1";
    EXPECT_EQ(app_data("").length, 0);
}

TEST_P(Payment, ApplicationDataEndAt8000Bytes) {
    const std::string record = kit::to_hex(Bytes(250, 0x5A)) + "9000";
    char command[] = "00 B2 00 0C 00";
    for (int number = 1; number <= 40; ++number) {
        std::snprintf(command, sizeof command, "00 B2 %02X 0C 00", number);
        card_.expect(command, record.c_str());
    }
    EXPECT_EQ(app_data("08 01 28 00").length, 8000 / 250 * 250);
}

TEST_P(Payment, DataObjectsByTheirTag) {
    const auto get = [](const char* tag) {
        const Bytes name = hex(tag);
        return kit::output_of([&](auto* out, int* length) {
            return PBOC_GetData(&context, 0, name.data(), static_cast<int>(name.size()), out,
                                length);
        });
    };
    card_.expect("80 CA 9F 79", "9F 79 06 00 00 00 00 10 00 90 00");
    EXPECT_EQ(get("9F79").text(), "000000001000");
    card_.expect("80 CA 9F 79", "9F 78 01 11 90 00");
    EXPECT_EQ(get("9F79").result, -99);
    card_.expect("80 CA 9F 79", "6A 88");
    EXPECT_EQ(get("9F79").result, -99);
    card_.expect("80 CA 00 5A", "5A 01 11 90 00");
    EXPECT_EQ(get("5A").text(), "11");
    EXPECT_EQ(get("9F7901").result, -22);
}

TEST_P(Payment, CryptogramInBothFormats) {
    const auto generate = [](int p1) {
        const Bytes data = hex("AA BB");
        return kit::output_of([&](auto* out, int* length) {
            return PBOC_GenerateAC(&context, 0, p1, data.data(), 2, out, length);
        });
    };
    card_.expect("80 AE 80 00 02 AA BB", "80 0B 80 00 01 11 22 33 44 55 66 77 88 90 00");
    EXPECT_EQ(generate(0x80).text(), "8000011122334455667788");
    card_.expect("80 AE 40 00 02 AA BB", "77 06 9F 27 01 40 9F 36 00 90 00");
    const Output template_answer = generate(0x40);
    EXPECT_EQ(template_answer.result, 0);
    EXPECT_EQ(template_answer.length, 0);
    card_.expect("80 AE 00 00 02 AA BB", "9F 27 01 00 90 00");
    EXPECT_EQ(generate(0x00).result, -99);
    card_.expect("80 AE 00 00 02 AA BB", "69 85");
    EXPECT_EQ(generate(0x00).result, -99);
}

TEST_P(Payment, CiphersData) {
    const Bytes data = hex("AA BB");
    card_.expect("80 FA 07 00 02 AA BB", "11 22 90 00");
    EXPECT_EQ(kit::output_of([&](auto* out, int* length) {
                  return PBOC_CryptData(&context, 0, 7, data.data(), 2, out, length);
              }).text(),
              "1122");
}

int script(const char* text) {
    const Bytes bytes = hex(text);
    return PBOC_ExeScript(&context, 0, bytes.data(), static_cast<int>(bytes.size()));
}

TEST_P(Payment, ScriptRunsItsCommand) {
    card_.expect("84 1E 00 00 00", "90 00");
    EXPECT_EQ(script("72 0D 9F 18 04 11 22 33 44 86 05 84 1E 00 00 00"), 0);
    card_.expect("84 1E 00 00 00", "6A 82");
    EXPECT_EQ(script("86 05 84 1E 00 00 00"), 2) << "its number plus one";
    card_.expect_absent("84 1E 00 00 00");
    EXPECT_EQ(script("86 05 84 1E 00 00 00"), -4005);
    EXPECT_EQ(script("9F 18 04 11 22 33 44"), -99) << "no command";
    EXPECT_EQ(script(""), 0);
}

TEST_P(Payment, ScriptFindsItsSecondCommandFromTheRemainder) {
    // The search position after the first command is 7; the second one stands there and is the
    // last.
    card_.expect("84 1E 00 00 01", "90 00");
    EXPECT_EQ(script("86 05 84 1E 00 00 01 99 00"), 0);
}

TEST_P(Payment, FlatScriptOfTwoCommandsRepeatsTheSecondForEver) {
    const kit::ChildEnd end = kit::run_in_child(300ms, [this] {
        card_.expect("84 1E 00 00 01", "90 00");
        for (int i = 0; i < 1'000'000; ++i)
            card_.expect("84 1E 00 00 02", "90 00");
        script("86 05 84 1E 00 00 01 86 05 84 1E 00 00 02");
    });
    EXPECT_TRUE(end.timed_out);
}

TEST_P(Payment, ScriptCommandBeyondTheBufferIsRefused) {
    EXPECT_EQ(script(("86 82 02 58 " + kit::to_hex(Bytes(600, 0x11))).c_str()), -22);
}

}  // namespace
