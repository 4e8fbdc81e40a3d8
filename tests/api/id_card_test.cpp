#include <deskreader.h>

#include <algorithm>

#include "api/id_reads.h"

namespace {

using kit::Link;
using namespace id_reads;

class IdCardApi : public testing::TestWithParam<Link> {
  protected:
    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::ScriptedDesk desk_{GetParam()};
    kit::IdModule module_{*desk_, GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, IdCardApi, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(IdCardApi, ResetSwitchesIntoIdModeAndBack) {
    module_.expect_id_mode();
    module_.expect_reset();
    module_.expect_normal_mode();
    EXPECT_EQ(RD_IdReset(), 0);
    desk_->verify();
    EXPECT_TRUE(own_messages(log_).empty());
}

TEST_P(IdCardApi, FailedResetIsLoggedAndSwitchedBack) {
    module_.expect_id_mode();
    module_.expect("10 FF", "00 00 60");
    module_.expect_normal_mode();
    EXPECT_EQ(RD_IdReset(), -3000);
    EXPECT_EQ(own_messages(log_),
              (Messages{"Error:ID_ResetCard Error!\r\n", "Error:iErrorCode = -3000\r\n"}));
}

TEST_P(IdCardApi, BaudRateOfTheModule) {
    const std::pair<int, const char*> rates[] = {
        {9600, "60 04"}, {19200, "60 03"}, {38400, "60 02"}, {57600, "60 01"}, {115200, "60 00"}};
    for (const auto& [rate, command] : rates) {
        module_.expect_id_mode();
        module_.expect(command, "00 00 90");
        module_.expect_normal_mode();
        EXPECT_EQ(RD_SetIdBaud(rate), 0);
        desk_->verify();
    }
    module_.expect_id_mode();
    module_.expect("60 04", "00 00 91");
    module_.expect_normal_mode();
    EXPECT_EQ(RD_SetIdBaud(9600), -3004);
    EXPECT_EQ(own_messages(log_), Messages{"Error:iErrorCode = -3004\r\n"});
}

TEST_P(IdCardApi, UnknownBaudRateIsNotSent) {
    module_.expect_id_mode();
    module_.expect_normal_mode();
    EXPECT_EQ(RD_SetIdBaud(4800), -1007);
}

TEST_P(IdCardApi, RawDataIsReadAndNotHandedOut) {
    module_.expect_card(kit::resident_card().bytes());
    Bytes data(16, 0x77);
    int length = -7;
    EXPECT_EQ(RD_GetIdRawData(data.data(), &length, 5), 0);
    EXPECT_EQ(data, Bytes(16, 0x77));
    EXPECT_EQ(length, -7);
    module_.expect_card(kit::resident_card().bytes());
    EXPECT_EQ(RD_GetIdRawData(nullptr, nullptr, 5), 0);
    EXPECT_EQ(RD_GetIdRawData(nullptr, nullptr, -1), -1007);
}

struct KindRow {
    const char* name;
    kit::IdRecord record;
    std::string all_fields;
    std::string fields_of_kind;
};

const KindRow kinds[] = {
    {"resident", kit::resident_card(), resident_fields + "||", resident_fields},
    {"GAT", kit::gat_card(), gat_fields, gat_fields},
    {"foreign", kit::foreign_card(), foreign_fields + "||", foreign_fields},
};

TEST_P(IdCardApi, FieldsOfEveryKindOfCard) {
    for (const KindRow& kind : kinds) {
        module_.expect_card(kind.record.bytes());
        const Read info = read_info();
        EXPECT_EQ(info.result, 0) << kind.name;
        EXPECT_EQ(info.text(), kind.all_fields);
        EXPECT_EQ(info.length, static_cast<int>(kind.all_fields.size()));

        module_.expect_card(kind.record.bytes());
        const Read pic = read_pic("/nowhere/photo.bmp");
        EXPECT_EQ(pic.result, 0) << kind.name;
        EXPECT_EQ(pic.text(), kind.fields_of_kind);
        EXPECT_EQ(pic.length, static_cast<int>(kind.fields_of_kind.size()));

        module_.expect_card(kind.record.bytes());
        const Read images = read_images("");
        EXPECT_EQ(images.result, 0) << kind.name;
        EXPECT_EQ(images.text(), kind.fields_of_kind);
        EXPECT_EQ(images.length, static_cast<int>(kind.fields_of_kind.size()));
        desk_->verify();
    }
    EXPECT_TRUE(own_messages(log_).empty());
}

TEST_P(IdCardApi, ImagesMayBeNull) {
    module_.expect_card(kit::gat_card().bytes());
    Read read;
    EXPECT_EQ(
        RD_ReadIdInfo_Pic_FB(nullptr, 0, read.buffer.data(), &read.length, nullptr, nullptr, 5), 0);
    EXPECT_EQ(read.text(), gat_fields);
}

TEST_P(IdCardApi, CardWithoutFingerprintIsReadPlainly) {
    module_.expect_approach();
    module_.expect("30 10", "00 00 41");
    Bytes blocks = kit::resident_card().bytes();
    blocks.resize(1280);
    module_.expect("30 01", kit::join({hex("00 00 90 0100 0400"), blocks}));
    module_.expect_normal_mode();
    const Read read = read_info();
    EXPECT_EQ(read.result, 0);
    EXPECT_EQ(read.text(), resident_fields + "||");
    EXPECT_TRUE(own_messages(log_).empty());
}

TEST_P(IdCardApi, FailedReadIsLoggedAfterTheSwitchBack) {
    for (const auto& [status, number] : {std::pair{"00 00 41", -3001}, {"00 00 40", -3002}}) {
        module_.expect_approach();
        module_.expect("30 10", "00 00 41");
        module_.expect("30 01", status);
        module_.expect_normal_mode();
        const Read read = read_info();
        EXPECT_EQ(read.result, number);
        EXPECT_TRUE(read.is_untouched());
        desk_->verify();
        const Messages messages = log_.messages();
        ASSERT_GE(messages.size(), 3u);
        EXPECT_TRUE(messages[messages.size() - 3].starts_with("Info:iBaud = 9600"));
        EXPECT_EQ(messages[messages.size() - 2], "Error:ID_ReadCard Error!\r\n");
        EXPECT_EQ(messages.back(), "Error:iErrorCode = " + std::to_string(number) + "\r\n");
    }
}

TEST_P(IdCardApi, FailedResetEndsARead) {
    module_.expect_id_mode();
    module_.expect("10 FF", "00 00 60");
    module_.expect_normal_mode();
    const Read read = read_pic();
    EXPECT_EQ(read.result, -3000);
    EXPECT_TRUE(read.is_untouched());
    EXPECT_EQ(own_messages(log_),
              (Messages{"Error:ID_ResetCard Error!\r\n", "Error:iErrorCode = -3000\r\n"}));
}

TEST_P(IdCardApi, FailedSelectionEndsARead) {
    for (const auto& [status, number] : {std::pair{"00 00 81", -3001}, {"00 00 80", -3002}}) {
        module_.expect_id_mode();
        module_.expect_reset();
        module_.expect_card_found();
        module_.expect("20 02", status);
        module_.expect_normal_mode();
        const Read read = read_images();
        EXPECT_EQ(read.result, number);
        EXPECT_TRUE(read.is_untouched());
        desk_->verify();
    }
    EXPECT_EQ(own_messages(log_),
              (Messages{"Error:ID_SelectCard Error!\r\n", "Error:iErrorCode = -3001\r\n",
                        "Error:ID_SelectCard Error!\r\n", "Error:iErrorCode = -3002\r\n"}));
}

TEST_P(IdCardApi, BadArgumentsAreRefusedWithoutTraffic) {
    const std::string long_path(261, 'p');
    EXPECT_EQ(read_info(nullptr, -1).result, -1007);
    EXPECT_EQ(read_pic(long_path.c_str(), -1).result, -1007) << "the time limit comes first";
    EXPECT_EQ(read_images(nullptr, -1).result, -1007);
    EXPECT_EQ(RD_GetIdRawData(nullptr, nullptr, -1), -1007);
    EXPECT_EQ(log_.messages(), Messages(4, "Error:Timeout Error!\r\n"));

    EXPECT_TRUE(read_info(long_path.c_str()).is_untouched());
    EXPECT_EQ(read_info(long_path.c_str()).result, -1007);
    EXPECT_EQ(read_pic(long_path.c_str()).result, -1007);
    EXPECT_EQ(read_images(long_path.c_str()).result, -1007);
    const Messages messages = log_.messages();
    EXPECT_EQ(Messages(messages.begin() + 4, messages.end()),
              (Messages{"Error:szBmpPath Error!\r\n", "Error:szBmpPath Error!\r\n",
                        "Error:szPicPath Error!\r\n", "Error:szPicPath Error!\r\n"}));

    Read read;
    EXPECT_EQ(RD_ReadIdInfo(nullptr, 0, nullptr, &read.length, nullptr, 0, nullptr, nullptr, 5),
              -1007);
    EXPECT_EQ(
        RD_ReadIdInfo(nullptr, 0, read.buffer.data(), nullptr, nullptr, 0, nullptr, nullptr, 5),
        -1007);
    EXPECT_EQ(RD_ReadIdInfo_Pic(nullptr, 0, nullptr, &read.length, 5), -1007);
    EXPECT_EQ(RD_ReadIdInfo_Pic(nullptr, 0, read.buffer.data(), nullptr, 5), -1007);
    EXPECT_EQ(RD_ReadIdInfo_Pic_FB(nullptr, 0, nullptr, &read.length, nullptr, nullptr, 5), -1007);
    EXPECT_EQ(RD_ReadIdInfo_Pic_FB(nullptr, 0, read.buffer.data(), nullptr, nullptr, nullptr, 5),
              -1007);
    EXPECT_TRUE(read.is_untouched());
    EXPECT_EQ(log_.messages().size(), 8u);
}

TEST_P(IdCardApi, PathOf260BytesIsNotTooLong) {
    module_.expect_card(kit::resident_card().bytes());
    EXPECT_EQ(read_pic(std::string(260, 'p').c_str()).result, 0);
}

TEST_P(IdCardApi, ModeIsLeftAloneWhereItIsNotChangedByCommand) {
    config_.write("[devcfg]\nIdChange=0\n");
    module_.expect_reset();
    EXPECT_EQ(RD_IdReset(), 0);
    config_.write("[devcfg]\nIdChange=2\n");
    module_.expect_reset();
    EXPECT_EQ(RD_IdReset(), 0);
}

TEST_P(IdCardApi, ModeCommandTellsTheConfiguredRate) {
    config_.write("[devcfg]\nIdBaud=19200\nIcBaud=115200\n");
    module_.expect_mode(hex("1B 24 53 34"), hex("53 00"));
    module_.expect_reset();
    module_.expect_mode(hex("1B 24 42 34"), hex("42 00"));
    EXPECT_EQ(RD_IdReset(), 0);
}

TEST_P(IdCardApi, HostsOwnIdLibraryBypassesTheModule) {
    int library = 0;
    g_hSdtDll = &library;
    module_.expect_id_mode();
    module_.expect_normal_mode();
    const Read read = read_info();
    g_hSdtDll = nullptr;
    EXPECT_EQ(read.result, 0) << "a record of zeros";
    EXPECT_EQ(read.text(), "|" + gb("CEB4D6AA") + "||||||||N||||");
}

TEST_P(IdCardApi, ExpiryFlagStays) {
    int expired = 42;
    Read read;
    const auto call = [&] {
        return RD_ReadIdInfo(nullptr, 0, read.buffer.data(), &read.length, &expired, 0, nullptr,
                             nullptr, 5);
    };
    module_.expect_card(kit::resident_card().bytes());
    EXPECT_EQ(call(), 0);
    EXPECT_EQ(expired, 42);

    // "Long-term", as cards have it.
    kit::IdRecord record = kit::resident_card();
    module_.expect_card(record.put(204, u"\u957F\u671F      ").bytes());
    EXPECT_EQ(call(), 0);
    EXPECT_NE(read.text().find(gb("B3A4C6DA") + "|N"), std::string::npos);
    EXPECT_EQ(expired, 42);
}

TEST_P(IdCardApi, ExpiryFlagIsClearedForTheWordInUtf8) {
    // Three characters whose GB 18030 form are the UTF-8 bytes of "long-term".
    kit::IdRecord record = kit::resident_card();
    module_.expect_card(record.put(204, u"\u95C0\u630E\u6E61     ").bytes());
    int expired = 42;
    Read read;
    EXPECT_EQ(RD_ReadIdInfo(nullptr, 0, read.buffer.data(), &read.length, &expired, 0, nullptr,
                            nullptr, 5),
              0);
    EXPECT_NE(read.text().find("\xE9\x95\xBF\xE6\x9C\x9F|N"), std::string::npos);
    EXPECT_EQ(expired, 0);
}

TEST_P(IdCardApi, PhotoDataIsAskedForInTheLogOnly) {
    Bytes data(16, 0x77);
    int length = -7;
    Read read;
    const auto call = [&](unsigned char* photo, int* photo_length) {
        module_.expect_card(kit::resident_card().bytes());
        return RD_ReadIdInfo("", 0, read.buffer.data(), &read.length, nullptr, 0, photo,
                             photo_length, 5);
    };
    EXPECT_EQ(call(data.data(), nullptr), 0);
    EXPECT_EQ(call(nullptr, &length), 0);
    EXPECT_TRUE(own_messages(log_).empty());
    EXPECT_EQ(call(data.data(), &length), 0);
    EXPECT_EQ(own_messages(log_), (Messages{"Info:ID_GetBmpData start\r\n",
                                            "Info:ID_GetBmpData end, iPbLen = 0, ret = 0\r\n"}));
    EXPECT_EQ(data, Bytes(16, 0x77));
    EXPECT_EQ(length, -7);
}

TEST_P(IdCardApi, LongestFieldsFitTheDocumentedRoom) {
    // Characters that take four bytes in GB 18030, everywhere.
    Bytes blocks(2304, 0);
    for (std::size_t i = 0; i < 256; i += 2) {
        blocks[i] = 0x80;
        blocks[i + 1] = 0x0C;
    }
    for (const auto& [type, length] : {std::pair{'N', 446}, {'J', 490}, {'I', 510}}) {
        blocks[248] = static_cast<std::uint8_t>(type);
        blocks[249] = 0;
        module_.expect_card(blocks);
        const Read read = read_info();
        EXPECT_EQ(read.result, 0);
        EXPECT_EQ(read.length, length);
        EXPECT_EQ(read.text().size(), static_cast<std::size_t>(length));
        EXPECT_EQ(std::ranges::count(read.text(), '|'), 13);
    }
}

}  // namespace
