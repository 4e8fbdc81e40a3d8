#include <deskreader.h>

#include "kit/id_desk.h"
#include "kit/id_text.h"
#include "kit/working_directory.h"
#include "port_desk.h"

namespace {

using kit::gb;
using kit::hex;
using kit::Link;
using kit::resident_fields;

class TerminalIdCard : public PortDesk {
  protected:
    TerminalIdCard() { module_.emplace(*reader_, GetParam()); }

    void expect_resident() {
        module_->expect_card(kit::with_photo(kit::resident_card(), kit::striped_picture()));
    }

    int get_info(const char* head_path = nullptr, int timeout_s = 5) {
        const int result = ID_GetInfo(port_.c_str(), nullptr, 0, timeout_s, head_path, nullptr,
                                      nullptr, nullptr, info_.data());
        EXPECT_EQ(DC_IsOpen(&context), 0);
        EXPECT_EQ(info_[4096], '#') << "written past the documented room";
        return result;
    }

    std::string info() const { return info_.c_str(); }

    std::string entry(int timeout_s) const {
        return "Info:pszPort = " + port_ +
               ", nBaudRate = 0, nTimeout = " + std::to_string(timeout_s) + "\r\n";
    }

    kit::WorkingDirectory here_;
    std::optional<kit::IdModule> module_;
    std::string info_ = std::string(4097, '#');
};

INSTANTIATE_TEST_SUITE_P(Links, TerminalIdCard, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(TerminalIdCard, IsReadInOneCall) {
    expect_resident();
    EXPECT_EQ(get_info(), 0);
    EXPECT_EQ(info(), resident_fields);
    EXPECT_EQ(
        messages(),
        (Messages{"Info:Enter ID_GetInfo \r\n", entry(5),
                  "Info:Exit ID_GetInfo, ret = 0, szIdentityInfo = " + resident_fields + "\r\n"}));
    if (GetParam() == Link::hid) {
        EXPECT_EQ(kit::hid_bus::counts().opens, 1);
        EXPECT_EQ(kit::hid_bus::counts().closes, 1);
    }
}

TEST_P(TerminalIdCard, OtherKindsOfCard) {
    module_->expect_card(kit::gat_card().bytes());
    EXPECT_EQ(get_info(), 0);
    EXPECT_TRUE(info().ends_with("|20190102|20240102|J|||H0123456|02")) << info();
    module_->expect_card(kit::foreign_card().bytes());
    EXPECT_EQ(get_info(), 0);
    EXPECT_TRUE(info().ends_with("|20180706|20280706|I|" + gb("CAB7C3DCCBB9") + "|01")) << info();
}

TEST_P(TerminalIdCard, ModeIsSwitchedByCommandFromThenOn) {
    config_.write("[devcfg]\nIdChange=2\n");
    expect_resident();
    EXPECT_EQ(get_info(), 0);
    EXPECT_EQ(config_.content(), "[devcfg]\nIdChange=1\n");
}

TEST_P(TerminalIdCard, ArgumentsAreLogged) {
    expect_resident();
    EXPECT_EQ(ID_GetInfo(port_.c_str(), "0x", 9600, 5, "h", "f", "b", "c", info_.data()), -13);
    const Messages logged = messages();
    ASSERT_GE(logged.size(), 7u);
    EXPECT_EQ(Messages(logged.begin(), logged.begin() + 7),
              (Messages{"Info:Enter ID_GetInfo \r\n",
                        "Info:pszPort = " + port_ + ", nBaudRate = 9600, nTimeout = 5\r\n",
                        "Info:extendPort = 0x\r\n", "Info:szPhotoHead = h\r\n",
                        "Info:szPhotoFace = f\r\n", "Info:szPhotoBack = b\r\n",
                        "Info:szPhotoCard = c\r\n"}));
}

TEST_P(TerminalIdCard, PassThroughPortIsSelectedAndReleased) {
    reader_->expect_silence(0, hex("1B 25 32"));
    expect_resident();
    reader_->expect_silence(1, hex("1B 25 41"));
    EXPECT_EQ(ID_GetInfo(port_.c_str(), "2", 9600, 5, "", "", "", "", info_.data()), 0);
    EXPECT_EQ(info(), resident_fields);
}

TEST_P(TerminalIdCard, BadArgumentsOpenNothing) {
    EXPECT_EQ(get_info(nullptr, -1), -1);
    EXPECT_EQ(messages(), (Messages{"Info:Enter ID_GetInfo \r\n", entry(-1)}));
    EXPECT_EQ(ID_GetInfo(port_.c_str(), nullptr, 0, 5, nullptr, nullptr, nullptr, nullptr, nullptr),
              -1);
    EXPECT_EQ(ID_GetInfo(nullptr, nullptr, 0, 5, nullptr, nullptr, nullptr, nullptr, info_.data()),
              -1);
    EXPECT_EQ(info_, std::string(4097, '#'));
    EXPECT_EQ(kit::hid_bus::counts().opens, 0);
}

TEST_P(TerminalIdCard, FailureIsATerminalNumberAndAnEmptyText) {
    module_->expect_id_mode();
    module_->expect("10 FF", "00 00 60");
    module_->expect_normal_mode();
    EXPECT_EQ(get_info(), -11);
    EXPECT_EQ(info(), "");
    EXPECT_EQ(messages().back(), "Info:Exit ID_GetInfo, ret = -3000, szIdentityInfo = \r\n");

    module_->expect_id_mode();
    module_->expect_reset();
    module_->expect_card_found();
    module_->expect("20 02", "00 00 81");
    module_->expect_normal_mode();
    EXPECT_EQ(get_info(), -2);
}

TEST_P(TerminalIdCard, HeadPhotoIsWrittenUnderTheCardsNumber) {
    here_.put_decoder();
    expect_resident();
    EXPECT_EQ(get_info("faces"), 0);
    EXPECT_EQ(kit::bytes_of_file(here_ / R"(faces\11010119800229001X.bmp)"), kit::striped_bmp());
    expect_resident();
    EXPECT_EQ(get_info(R"(heads\any.bmp)"), 0);
    EXPECT_EQ(kit::bytes_of_file(here_ / R"(heads\11010119800229001X.bmp)"), kit::striped_bmp());
}

TEST_P(TerminalIdCard, HeadPhotoIsConverted) {
    here_.put_decoder();
    here_.put_converter();
    std::filesystem::create_directory(here_ / "photos");
    expect_resident();
    EXPECT_EQ(get_info(R"(photos/a\any.png)"), 0);
    EXPECT_EQ(
        kit::to_hex(kit::bytes_of_file(here_ / R"(photos/a\11010119800229001X.png)")).substr(0, 16),
        "89504E470D0A1A0A");
    EXPECT_FALSE(std::filesystem::exists(here_ / "photos/temp.bmp"));
}

TEST_P(TerminalIdCard, OtherPhotosAreNotWritten) {
    here_.put_decoder();
    expect_resident();
    EXPECT_EQ(ID_GetInfo(port_.c_str(), "", 9600, 5, "", "face", "back", "card", info_.data()), 0);
    expect_resident();
    EXPECT_EQ(get_info("photo.bmp"), 0) << "no name can be derived from it";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(here_.path()), {}), 1);
}

TEST_P(TerminalIdCard, PhotoThatCannotBeWrittenLeavesTheText) {
    expect_resident();
    EXPECT_EQ(get_info("faces"), -13);
    EXPECT_EQ(info(), resident_fields);
    here_.put_decoder();
    expect_resident();
    EXPECT_EQ(get_info(R"(a\x.jpg)"), -12) << "no converter";
    EXPECT_EQ(info(), resident_fields);

    kit::IdRecord record = kit::resident_card();
    record.put(122, u"/../escaped       ");
    module_->expect_card(kit::with_photo(record, kit::striped_picture()));
    EXPECT_EQ(get_info("faces"), -13) << "a number that leads elsewhere";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(here_.path()), {}), 1);
}

TEST_P(TerminalIdCard, ConversionThatFails) {
    expect_resident();
    EXPECT_EQ(get_info(R"(a\x.jpg)"), -13) << "no decoder";
    here_.put_decoder();
    here_.put_empty("libPicConvert.so");
    expect_resident();
    EXPECT_EQ(get_info(R"(a\x.jpg)"), -15) << "no function in the converter";
    std::filesystem::remove(here_ / "libPicConvert.so");
    here_.put_converter();
    std::filesystem::create_directory(here_ / R"(a\11010119800229001X.jpg)");
    expect_resident();
    EXPECT_EQ(get_info(R"(a\x.jpg)"), -13) << "the converter cannot write there";
    EXPECT_EQ(info(), resident_fields);
}

TEST_P(TerminalIdCard, TextIsCutToTheRoom) {
    expect_resident();
    expect_resident();
    expect_resident();
    ASSERT_EQ(RD_Open(0, 9600, 0), GetParam() == Link::hid ? 0 : -1000);
    if (GetParam() == Link::serial) {
        DC_Init(&context);
        GSetComName(3, ("/dev/" + port_).c_str());
        ASSERT_EQ(RD_Open(3, 9600, 0), 0);
    }
    const auto read = [&](int size) {
        int state[2] = {42, 43};
        const int result =
            RD_ReadIdInfo_Pic_KP(nullptr, nullptr, nullptr, nullptr, size, info_.data(), state, 5);
        EXPECT_EQ(state[0], 42);
        EXPECT_EQ(state[1], 43);
        return result;
    };
    const int whole = static_cast<int>(resident_fields.size()) + 1;
    EXPECT_EQ(read(whole), 0);
    EXPECT_EQ(info(), resident_fields);
    EXPECT_EQ(read(whole - 1), 0);
    EXPECT_EQ(info(), resident_fields.substr(0, resident_fields.size() - 1));
    EXPECT_EQ(read(1), 0);
    EXPECT_EQ(info(), "");
    EXPECT_EQ(read(0), -1007);
    EXPECT_EQ(read(-1), -1007);
    EXPECT_EQ(RD_Close(), 0);
}

TEST(TerminalIdCardArguments, AreRefused) {
    kit::LogFile log;
    DC_Init(&context);
    char info[64] = "before";
    const std::string long_path(261, 'p');
    const char* path = long_path.c_str();
    EXPECT_EQ(RD_ReadIdInfo_Pic_KP(path, nullptr, nullptr, nullptr, 64, info, nullptr, -1), -1007);
    EXPECT_EQ(RD_ReadIdInfo_Pic_KP(path, nullptr, nullptr, nullptr, 64, info, nullptr, 5), -1007);
    EXPECT_EQ(RD_ReadIdInfo_Pic_KP("h", path, nullptr, nullptr, 64, info, nullptr, 5), -1007);
    EXPECT_EQ(RD_ReadIdInfo_Pic_KP("h", nullptr, path, nullptr, 64, info, nullptr, 5), -1007);
    EXPECT_EQ(RD_ReadIdInfo_Pic_KP("h", "f", "b", path, 64, info, nullptr, 5), -1007);
    EXPECT_EQ(RD_ReadIdInfo_Pic_KP("h", nullptr, nullptr, nullptr, 64, nullptr, nullptr, 5), -1007);
    EXPECT_STREQ(info, "before");
    EXPECT_EQ(log.messages(), (Messages{"Error:Timeout Error!\r\n", "Error:szPicPath Error!\r\n",
                                        "Error:szPicPath Error!\r\n", "Error:szPicPath Error!\r\n",
                                        "Error:szPicPath Error!\r\n"}));
}

TEST(TerminalIdCardPorts, AreNamedUnderDev) {
    kit::ConfigFile config;
    kit::LogFile log;
    DC_Init(&context);
    char info[4096] = "before";
    const auto get_info = [&](const char* port) {
        return ID_GetInfo(port, nullptr, 9600, 5, nullptr, nullptr, nullptr, nullptr, info);
    };
    EXPECT_EQ(get_info("no-such-port"), -3);
    EXPECT_EQ(log.messages().back(), "Info:Exit ID_GetInfo, ret = -1000\r\n");
    EXPECT_EQ(get_info("USB"), -3) << "nothing is plugged in";
    EXPECT_EQ(get_info("usb"), -3) << "a device of that name";
    EXPECT_EQ(get_info(std::string(300, 'p').c_str()), -3);
    EXPECT_STREQ(info, "before");
}

}  // namespace
