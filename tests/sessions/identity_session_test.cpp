// Identity cards with the virtual reader: the three kinds through every call that reads them, with
// and without a fingerprint, the photo by the stand-in for its decoder, and a reader that answers
// mode commands.
#include <deskreader.h>

#include <atomic>
#include <cstring>

#include "kit/id_record.h"
#include "kit/id_text.h"
#include "kit/scratch.h"
#include "kit/virtual_desk.h"
#include "kit/working_directory.h"

namespace {

using kit::Bytes;
using kit::Link;
using kit::VirtualDesk;
using namespace std::chrono_literals;

// The kit's people, in a deck. `more` goes into the settings of its reader.
std::string deck_of_kit(const std::string& more = "") {
    const std::string photo =
        R"("photo": {"hex": ")" + kit::to_hex(kit::striped_picture()) + R"("})";
    return R"({ "reader": {)" + more + R"(}, "cards": [
      { "type": "identity", "name": "resident", "kind": "resident", "inserted": true, )" +
           photo + R"(, "texts": {
          "name": "张三丰", "sex": "1", "nation": "01", "birth": "19800229",
          "address": "北京市东城区1号", "number": "11010119800229001X",
          "authority": "北京市公安局", "valid_from": "20150301", "valid_until": "20350301" } },
      { "type": "identity", "name": "residence", "kind": "residence", "texts": {
          "name": "李四", "sex": "2", "birth": "19910815", "address": "深圳市",
          "number": "810000199108150020", "authority": "深圳市公安局",
          "valid_from": "20190102", "valid_until": "20240102", "pass_number": "H0123456",
          "issues": "02" },
        "fingerprint": "LOOPS AND WHORLS", "chip_number": "0102030405060708",
        "card_number": "101112131415161718191A1B1C1D1E1F" },
      { "type": "identity", "name": "foreign", "kind": "foreign", "texts": {
          "english_name": "SMITH JOHN", "sex": "1", "number": "CAN110078051501",
          "nationality": "CAN", "chinese_name": "史密斯", "valid_from": "20180706",
          "valid_until": "20280706", "birth": "19780515", "version": "01",
          "authority": "1500" },
        "fingerprint": "ARCHES" } ] })";
}

struct Kind {
    const char* name;
    const std::string& fields;
    char letter;
};

const Kind kinds[] = {{"resident", kit::resident_fields, 'N'},
                      {"residence", kit::gat_fields, 'J'},
                      {"foreign", kit::foreign_fields, 'I'}};

// RD_ReadIdInfo always gives 14 fields.
std::string all_fields(const Kind& kind) {
    return kind.letter == 'J' ? kind.fields : kind.fields + "||";
}

class IdentityDesk : public testing::TestWithParam<Link> {
  protected:
    IdentityDesk() { DC_Init(&context); }

    void lay_on(const char* name) {
        desk_.with_reader([name](auto& reader) { reader.insert(name); });
    }
    void take_away(const char* name) {
        desk_.with_reader([name](auto& reader) { reader.remove(name); });
    }
    bool comes_to_mode(char mode) {
        return desk_.comes_to([mode](auto& reader) { return reader.mode() == mode; });
    }

    kit::WorkingDirectory directory_;
    kit::ConfigFile config_{"[devcfg]\nIdChange=1\n"};
    VirtualDesk desk_{GetParam(), deck_of_kit()};
};

class IdentitySession : public IdentityDesk {
  protected:
    void SetUp() override { ASSERT_EQ(RD_Open(desk_.port(), 9600, 0), 0); }
    void TearDown() override {
        EXPECT_TRUE(comes_to_mode('B')) << "the reader was left in ID mode";
        EXPECT_EQ(RD_Close(), 0);
    }

    // A text of the documented room, or the result.
    std::string text_of(const char* path = nullptr, int timeout_s = 5) {
        std::string text(545, '#');
        int length = -7;
        const int result =
            RD_ReadIdInfo(path, 0, text.data(), &length, nullptr, 0, nullptr, nullptr, timeout_s);
        return result == 0 ? checked(text, length) : std::to_string(result);
    }
    std::string text_with_pic() {
        std::string text(545, '#');
        int length = -7;
        const int result = RD_ReadIdInfo_Pic(nullptr, 0, text.data(), &length, 5);
        return result == 0 ? checked(text, length) : std::to_string(result);
    }
    std::string text_with_images() {
        std::string text(545, '#');
        int length = -7;
        char front[2] = "f";
        char back[2] = "b";
        const int result = RD_ReadIdInfo_Pic_FB(nullptr, 0, text.data(), &length, front, back, 5);
        EXPECT_STREQ(front, "");
        EXPECT_STREQ(back, "");
        return result == 0 ? checked(text, length) : std::to_string(result);
    }

  private:
    static std::string checked(const std::string& text, int length) {
        EXPECT_EQ(length, static_cast<int>(std::strlen(text.c_str())));
        return text.c_str();
    }
};

// The call that opens and closes the reader itself.
class IdentityTerminal : public IdentityDesk {
  protected:
    std::string text_of(const char* head_path = nullptr, int timeout_s = 5) {
        std::string text(4096, '#');
        const int result = ID_GetInfo(desk_.port_name().c_str(), nullptr, 0, timeout_s, head_path,
                                      nullptr, nullptr, nullptr, text.data());
        EXPECT_EQ(DC_IsOpen(&context), 0);
        EXPECT_TRUE(comes_to_mode('B')) << "the reader was left in ID mode";
        return result == 0 ? text.c_str() : std::to_string(result);
    }
};

INSTANTIATE_TEST_SUITE_P(Links, IdentitySession, testing::Values(Link::hid, Link::serial),
                         kit::link_name);
INSTANTIATE_TEST_SUITE_P(Links, IdentityTerminal, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(IdentitySession, ReadsTheThreeKinds) {
    for (const Kind& kind : kinds) {
        lay_on(kind.name);
        EXPECT_EQ(RD_GetIdRawData(nullptr, nullptr, 5), 0) << kind.name;
        EXPECT_EQ(text_of(), all_fields(kind)) << kind.name;
        EXPECT_EQ(text_with_pic(), kind.fields) << kind.name;
        EXPECT_EQ(text_with_images(), kind.fields) << kind.name;
    }
}

TEST_P(IdentitySession, MissesACardThatIsNotThere) {
    take_away("resident");
    EXPECT_EQ(text_of(nullptr, 1), "-3001") << "what the selection says";
    EXPECT_EQ(RD_GetIdRawData(nullptr, nullptr, 1), -3001);
}

TEST_P(IdentitySession, WaitsForACardToCome) {
    take_away("resident");
    std::jthread later([this] {
        std::this_thread::sleep_for(300ms);
        lay_on("foreign");
    });
    EXPECT_EQ(text_of(nullptr, 0), all_fields(kinds[2]));
}

TEST_P(IdentitySession, StopsWaitingWhenItIsCancelled) {
    take_away("resident");
    std::jthread later([] {
        std::this_thread::sleep_for(300ms);
        RD_CancelWait();
    });
    EXPECT_EQ(text_of(nullptr, 0), "-1006");
    lay_on("resident");
    EXPECT_EQ(text_of(), all_fields(kinds[0]));
}

TEST_P(IdentitySession, WritesThePhoto) {
    directory_.put_decoder();
    EXPECT_EQ(text_of("me.bmp"), all_fields(kinds[0]));
    EXPECT_EQ(kit::bytes_of_file(directory_ / "me.bmp"), kit::striped_bmp());
    directory_.put_converter();
    EXPECT_EQ(text_of("me.gif"), all_fields(kinds[0]));
    EXPECT_EQ(kit::read_file(directory_ / "me.gif").substr(0, 6), "GIF89a");
    EXPECT_FALSE(std::filesystem::exists(directory_ / "temp.bmp"));
}

TEST_P(IdentitySession, SaysThatNobodyCanDecodeThePhoto) {
    EXPECT_EQ(text_of("me.bmp"), "-3003");
    EXPECT_FALSE(std::filesystem::exists(directory_ / "me.bmp"));
}

TEST_P(IdentitySession, ServesTheModule) {
    EXPECT_EQ(RD_IdReset(), 0);
    EXPECT_EQ(RD_SetIdBaud(57600), 0);
    EXPECT_EQ(desk_.with_reader([](auto& reader) { return reader.id().baud(); }), 57600);
    EXPECT_EQ(RD_SetIdBaud(14400), -1007);
    EXPECT_EQ(text_of(), all_fields(kinds[0]));
    char serial_number[33] = "";
    int length = 0;
    EXPECT_EQ(RD_GetDevSn(serial_number, &length), 0) << "the base unit answers again";
}

// The module's own commands, as the calls above put them together.
TEST_P(IdentitySession, GivesTheRecordWithItsFingerprint) {
    lay_on("residence");
    EXPECT_EQ(RD_ChangeMode(2), 0);
    EXPECT_TRUE(comes_to_mode('S'));
    EXPECT_EQ(ID_ResetCard(&context, 1000), 0);
    EXPECT_EQ(ID_SelectCard(&context, 1000), -3001) << "nothing was searched for";
    EXPECT_EQ(ID_FindCard(&context, 1000), 0);
    EXPECT_EQ(ID_SelectCard(&context, 1000), 0);
    Bytes record(4096);
    int length = 0;
    EXPECT_EQ(ID_ReadCard_FP(&context, record.data(), &length, 3000), 0);

    Bytes print(1024);
    EXPECT_EQ(ID_GetFPInfo(record.data(), print.data()), 1024);
    Bytes expected = kit::ascii("LOOPS AND WHORLS");
    expected.resize(1024);
    EXPECT_EQ(print, expected);
    Bytes chip(8);
    EXPECT_EQ(ID_GetASICSerialNumber_GAT(record.data(), chip.data()), 8);
    EXPECT_EQ(kit::to_hex(chip), "0102030405060708");
    Bytes number(16);
    EXPECT_EQ(ID_GetSerialCardNumber_GAT(record.data(), number.data()), 16);
    EXPECT_EQ(kit::to_hex(number), "101112131415161718191A1B1C1D1E1F");
    EXPECT_EQ(RD_ChangeMode(0), 0);
}

TEST_P(IdentitySession, GivesTheRecordWithoutAFingerprint) {
    EXPECT_EQ(RD_ChangeMode(2), 0);
    EXPECT_EQ(ID_FindCard(&context, 1000), 0);
    EXPECT_EQ(ID_SelectCard(&context, 1000), 0);
    Bytes record(4096);
    int length = 0;
    EXPECT_EQ(ID_ReadCard_FP(&context, record.data(), &length, 3000), -3001);
    EXPECT_EQ(ID_ReadCard(&context, record.data(), &length, 3000), 0)
        << "the card is still selected";
    Bytes text = kit::resident_card().bytes();
    text.resize(256);
    EXPECT_EQ(Bytes(record.begin(), record.begin() + 256), text);
    Bytes photo(1024);
    EXPECT_EQ(ID_GetPhotoInfo(record.data(), photo.data()), 1024);
    EXPECT_EQ(photo, kit::striped_picture());
    Bytes print(1024, '#');
    EXPECT_EQ(ID_GetFPInfo(record.data(), print.data()), 1024);
    EXPECT_EQ(RD_ChangeMode(0), 0);
}

TEST_P(IdentityTerminal, ReadsTheThreeKinds) {
    for (const Kind& kind : kinds) {
        lay_on(kind.name);
        EXPECT_EQ(text_of(), kind.fields) << kind.name;
    }
    take_away("foreign");
    EXPECT_EQ(text_of(nullptr, 1), "-2");
}

TEST_P(IdentityTerminal, WritesThePhotoOfTheHead) {
    directory_.put_decoder();
    EXPECT_EQ(text_of(directory_.path().c_str()), kinds[0].fields);
    const std::string name = directory_.path().string() + "\\11010119800229001X.bmp";
    EXPECT_EQ(kit::bytes_of_file(name), kit::striped_bmp());
    std::filesystem::remove(name);
}

// A reader that answers mode commands on its serial line, where nobody waits for the answer.
class AnsweredMode : public testing::Test {
  protected:
    // Reads a card. The reader begins to answer only when the host has gone on to its next command,
    // as it does on a real line.
    int read(const char* config) {
        const kit::ConfigFile file(config);
        VirtualDesk desk(Link::serial, deck_of_kit(R"("answer_mode_on_serial": true)"));
        EXPECT_EQ(RD_Open(desk.port(), 9600, 0), 0);
        char serial_number[33] = "";
        int length = 0;
        EXPECT_EQ(RD_GetDevSn(serial_number, &length), 0);
        std::atomic<bool> is_busy = false;
        const std::jthread busy([&] {
            desk.with_reader([&](auto&) {
                is_busy = true;
                std::this_thread::sleep_for(100ms);
            });
        });
        while (!is_busy)
            std::this_thread::sleep_for(1ms);
        const int result = RD_GetIdRawData(nullptr, nullptr, 1);
        EXPECT_TRUE(desk.comes_to([](auto& reader) { return reader.mode() == 'B'; }));
        EXPECT_EQ(RD_Close(), 0);
        return result;
    }
};

TEST_F(AnsweredMode, HidesTheFirstAnswerOfTheModule) {
    EXPECT_EQ(read("[devcfg]\nIdChange=1\n"), -3000);
}

TEST_F(AnsweredMode, IsLostWhenThePortIsOpenedAnew) {
    EXPECT_EQ(read("[devcfg]\nIdChange=1\nIdBaud=115200\n"), 0);
}

}  // namespace
