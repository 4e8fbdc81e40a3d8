#include <deskreader.h>

#include "port_desk.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::Link;

class TerminalMagneticCard : public PortDesk {
  protected:
    void expect_read(const char* command, std::string_view characters) {
        reader_->expect(1, hex(command),
                        kit::join({hex("1B 73"), kit::ascii(characters), hex("3F 1C")}));
        reader_->expect_silence(1, hex("1B 30"));
    }
    void expect_write(const char* command, const char* reply) {
        reader_->expect(1, hex(command), hex(reply));
        reader_->expect_silence(1, hex("1B 30"));
    }

    struct Read {
        int result;
        std::string two = std::string(512, '#');
        std::string three = std::string(512, '#');
    };

    Read read(int mode, const char* extend_port = nullptr, int timeout_s = 5) const {
        Read out;
        out.result = MS_ReadCard(port_.c_str(), extend_port, 9600, timeout_s, mode, 4,
                                 out.two.data(), out.three.data());
        out.two.resize(std::min(out.two.size(), out.two.find('\0')));
        out.three.resize(std::min(out.three.size(), out.three.find('\0')));
        EXPECT_EQ(DC_IsOpen(&context), 0);
        return out;
    }

    int write(int mode, const char* two, const char* three, int timeout_s = 5) const {
        const int result = MS_WriteCard(port_.c_str(), "", 9600, timeout_s, mode, 4, two, three);
        EXPECT_EQ(DC_IsOpen(&context), 0);
        return result;
    }

    std::string call(const char* name, int timeout_s, int mode) const {
        return "Info:Enter " + std::string(name) + "\r\n|Info:pszPort = " + port_ +
               ", nBaudRate = 9600, nTimeout = " + std::to_string(timeout_s) +
               ", iMode = " + std::to_string(mode) + ", iCharSet = 4\r\n";
    }
};

std::string joined(const Messages& messages) {
    std::string out;
    for (const std::string& message : messages)
        out += (out.empty() ? "" : "|") + message;
    return out;
}

INSTANTIATE_TEST_SUITE_P(Links, TerminalMagneticCard, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

TEST_P(TerminalMagneticCard, ReadsBothTracks) {
    expect_read("1B 42 5D", "12=3A456");
    const Read given = read(23);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.two, "12=3");
    EXPECT_EQ(given.three, "456");
    EXPECT_EQ(joined(messages()),
              call("MS_ReadCard", 5, 23) +
                  "|Info:Exit vexo_ReadMagCard, ret = 0, szTrack2data = 12=3, szTrack3data = "
                  "456\r\n");
}

TEST_P(TerminalMagneticCard, ReadsOneTrackIntoItsBufferOnly) {
    expect_read("1B 5D", "12");
    Read given = read(2);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.two, "12");
    EXPECT_EQ(given.three, std::string(512, '#'));
    expect_read("1B 54 5D", "A34");
    given = read(3);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.two, std::string(512, '#'));
    EXPECT_EQ(given.three, "34");
}

TEST_P(TerminalMagneticCard, OtherTrackMayBeNull) {
    char out[512] = "#";
    expect_read("1B 5D", "12");
    EXPECT_EQ(MS_ReadCard(port_.c_str(), nullptr, 9600, 5, 2, 0, out, nullptr), 0);
    EXPECT_STREQ(out, "12");
    expect_read("1B 54 5D", "A34");
    EXPECT_EQ(MS_ReadCard(port_.c_str(), nullptr, 9600, 5, 3, 0, nullptr, out), 0);
    EXPECT_STREQ(out, "34");
}

TEST_P(TerminalMagneticCard, OneTrackOfTwoIsEnough) {
    expect_read("1B 42 5D", "12A00000");
    Read given = read(23);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.two, "12");
    EXPECT_EQ(given.three, "");
    EXPECT_EQ(messages().back(),
              "Info:Exit vexo_ReadMagCard, ret = 0, szTrack2data = 12, szTrack3data = \r\n");
    expect_read("1B 42 5D",
                "\x7F"
                "A34");
    given = read(23);
    EXPECT_EQ(given.result, 0);
    EXPECT_EQ(given.two, "");
    EXPECT_EQ(given.three, "34");
}

TEST_P(TerminalMagneticCard, TheOneTrackThatIsNamedMustBeRead) {
    expect_read("1B 5D", "00000");
    const Read given = read(2);
    EXPECT_EQ(given.result, -11);
    EXPECT_EQ(given.two, "");
    EXPECT_EQ(messages().back(),
              "Info:Exit vexo_ReadMagCard, ret = -2002, szTrack2data = , szTrack3data = \r\n");
    expect_read("1B 54 5D", "A\x7F");
    EXPECT_EQ(read(3).result, -11);
}

TEST_P(TerminalMagneticCard, BothTracksFailed) {
    expect_read("1B 42 5D", "00000A00000");
    const Read given = read(23);
    EXPECT_EQ(given.result, -11);
    EXPECT_EQ(given.two, "");
    EXPECT_EQ(given.three, "");
}

TEST_P(TerminalMagneticCard, SilentReaderIsAFailedRead) {
    reader_->expect_silence(1, hex("1B 42 5D"));
    reader_->expect_silence(1, hex("1B 30"));
    const Read given = read(23, nullptr, 1);
    EXPECT_EQ(given.result, -11);
    EXPECT_EQ(given.two, "");
    EXPECT_EQ(given.three, "");
}

TEST_P(TerminalMagneticCard, OtherModesCannotBeRead) {
    for (const int mode : {1, 12, 13, 123, 0, -1}) {
        const Read given = read(mode);
        EXPECT_EQ(given.result, -1) << mode;
        EXPECT_EQ(given.two, "");
        EXPECT_EQ(given.three, "");
        EXPECT_EQ(messages().back(),
                  "Info:Exit vexo_ReadMagCard, ret = -1007, szTrack2data = , szTrack3data = \r\n");
    }
    EXPECT_TRUE(log_.has("Error:Track Error!\r\n"));
}

TEST_P(TerminalMagneticCard, PassThroughPortIsSelectedAndReleased) {
    reader_->expect_silence(GetParam() == Link::hid ? 0 : 1, hex("1B 25 35"));
    expect_read("1B 5D", "12");
    reader_->expect_silence(1, hex("1B 25 41"));
    EXPECT_EQ(read(2, "5 and more").result, 0);
    EXPECT_EQ(messages()[2], "Info:extendPort = 5 and more\r\n");
}

TEST_P(TerminalMagneticCard, EmptyPassThroughPortIsNone) {
    for (const char* none : {"", "0", "Z"}) {
        expect_read("1B 5D", "12");
        EXPECT_EQ(read(2, none).result, 0);
    }
    EXPECT_FALSE(log_.has("Info:extendPort = \r\n"));
    EXPECT_TRUE(log_.has("Info:extendPort = 0\r\n"));
    EXPECT_TRUE(log_.has("Info:extendPort = Z\r\n"));
}

TEST_P(TerminalMagneticCard, ReadRefusesBadArgumentsBeforeOpening) {
    char out[512] = "#";
    const char* port = port_.c_str();
    EXPECT_EQ(read(23, nullptr, -1).result, -1);
    EXPECT_EQ(joined(messages()), call("MS_ReadCard", -1, 23)) << "and no exit";
    EXPECT_EQ(MS_ReadCard(port, nullptr, 9600, 5, 2, 0, nullptr, out), -1);
    EXPECT_EQ(MS_ReadCard(port, nullptr, 9600, 5, 3, 0, out, nullptr), -1);
    EXPECT_EQ(MS_ReadCard(port, nullptr, 9600, 5, 23, 0, nullptr, out), -1);
    EXPECT_EQ(MS_ReadCard(port, nullptr, 9600, 5, 23, 0, out, nullptr), -1);
    EXPECT_EQ(MS_ReadCard(port, "7", 9600, 5, 1, 0, out, nullptr), -1);
    EXPECT_EQ(messages().back(), "Info:extendPort = 7\r\n");
    EXPECT_EQ(MS_ReadCard(nullptr, nullptr, 9600, 5, 2, 0, out, nullptr), -1);
    EXPECT_EQ(out[0], '#');
    EXPECT_STREQ(DC_GetInterfaceType(&context), "") << "nothing was opened";
}

TEST_P(TerminalMagneticCard, WritesBothTracks) {
    expect_write("1B 74 31 32 3D 33 41 34 35 1D 1B 5C 1B 6A", "1B 42 72 70");
    EXPECT_EQ(write(23, "12=3", "45"), 0);
    EXPECT_EQ(joined(messages()), call("MS_WriteCard", 5, 23) +
                                      "|Info:szTrack2data = 12=3, szTrack3data = 45\r\n"
                                      "|Info:Exit MS_WriteCard, ret = 0\r\n");
    for (const int other_mode : {0, 1, 12, 123, -1}) {
        expect_write("1B 74 31 32 3D 33 41 34 35 1D 1B 5C 1B 6A", "1B 42 72 70");
        EXPECT_EQ(write(other_mode, "12=3", "45"), 0);
    }
}

TEST_P(TerminalMagneticCard, WritesTheNamedTrackAlone) {
    expect_write("1B 74 31 32 1D 1B 5C 1B 6A", "1B 72 70");
    EXPECT_EQ(write(2, "12", nullptr), 0);
    EXPECT_TRUE(log_.has("Info:szTrack2data = 12\r\n"));
    expect_write("1B 74 31 32 1D 1B 5C 1B 6A", "1B 72 70");
    EXPECT_EQ(write(2, "12", "45"), 0) << "the other text is not looked at";
    expect_write("1B 74 41 34 35 1D 1B 5C 1B 6A", "1B 54 72 70");
    EXPECT_EQ(write(3, nullptr, "45"), 0);
    EXPECT_TRUE(log_.has("Info:szTrack3data = 45\r\n"));
    expect_write("1B 74 41 34 35 1D 1B 5C 1B 6A", "1B 54 72 70");
    EXPECT_EQ(write(3, "12", "45"), 0);
}

TEST_P(TerminalMagneticCard, WritesTheGoodOneOfTwoTexts) {
    expect_write("1B 74 31 32 1D 1B 5C 1B 6A", "1B 72 70");
    EXPECT_EQ(write(23, "12", "abc"), 0);
}

TEST_P(TerminalMagneticCard, TextsThatCannotBeWrittenAreRefused) {
    for (const std::string& text :
         {std::string("abc"), std::string(), std::string(121, '1'), std::string(5000, '1')}) {
        EXPECT_EQ(write(2, text.c_str(), nullptr), -1);
        EXPECT_EQ(write(23, text.c_str(), text.c_str()), -1);
        EXPECT_EQ(messages().back(), "Info:Exit MS_WriteCard, ret = -1007\r\n");
    }
    EXPECT_TRUE(log_.has("Error:TrackData Error!\r\n"));
}

TEST_P(TerminalMagneticCard, FailedWrites) {
    constexpr std::pair<const char*, int> replies[] = {
        {"1B 72 71", -2102}, {"1B 54 72 71", -2103}, {"1B 72 70", -2104}};
    for (const auto& [reply, number] : replies) {
        expect_write("1B 74 31 32 41 34 35 1D 1B 5C 1B 6A", reply);
        EXPECT_EQ(write(23, "12", "45"), -10);
        EXPECT_EQ(messages().back(),
                  "Info:Exit MS_WriteCard, ret = " + std::to_string(number) + "\r\n");
    }
}

TEST_P(TerminalMagneticCard, WriteRefusesBadArgumentsBeforeOpening) {
    const char* port = port_.c_str();
    EXPECT_EQ(write(23, "1", "2", -1), -1);
    EXPECT_EQ(joined(messages()), call("MS_WriteCard", -1, 23));
    EXPECT_EQ(MS_WriteCard(port, nullptr, 9600, 5, 2, 0, nullptr, "2"), -1);
    EXPECT_EQ(MS_WriteCard(port, nullptr, 9600, 5, 3, 0, "1", nullptr), -1);
    EXPECT_EQ(MS_WriteCard(port, nullptr, 9600, 5, 23, 0, nullptr, "2"), -1);
    EXPECT_EQ(MS_WriteCard(port, nullptr, 9600, 5, 23, 0, "1", nullptr), -1);
    EXPECT_EQ(MS_WriteCard(nullptr, nullptr, 9600, 5, 2, 0, "1", nullptr), -1);
    EXPECT_STREQ(DC_GetInterfaceType(&context), "");
}

TEST(TerminalPort, ThatIsNotThereCannotBeOpened) {
    const kit::ConfigFile config;
    const kit::LogFile log;
    DC_Init(&context);
    char out[512] = "#";
    EXPECT_EQ(MS_ReadCard("USB", nullptr, 9600, 5, 2, 0, out, nullptr), -3);
    EXPECT_EQ(out[0], '#');
    EXPECT_EQ(log.messages().back(), "Info:Exit MS_ReadCard, ret = -1000\r\n");
    EXPECT_EQ(MS_ReadCard("no-such-port", nullptr, 9600, 5, 2, 0, out, nullptr), -3);
    EXPECT_EQ(MS_WriteCard("no-such-port", nullptr, 9600, 5, 2, 0, "1", nullptr), -3);
    EXPECT_EQ(log.messages().back(), "Info:Exit MS_WriteCard, ret = -1000\r\n");
    EXPECT_EQ(MS_ReadCard("", nullptr, 9600, 5, 2, 0, out, nullptr), -3) << "a directory";
    EXPECT_EQ(out[0], '#');
}

TEST(TerminalPort, TakesABaudRateUpTo115200) {
    const kit::ConfigFile config;
    DC_Init(&context);
    char out[512];
    EXPECT_EQ(MS_ReadCard("ttyS0", nullptr, 115201, 5, 2, 0, out, nullptr), -1);
}

TEST(TerminalPort, WithANameThatDoesNotFitIsNotOpened) {
    const kit::ConfigFile config;
    kit::ScriptedSerial reader;
    const std::string device = reader.device().substr(std::string_view("/dev/").size());
    const std::string longest = std::string(58 - device.size(), '/') + device;
    char out[512];
    reader.expect(1, hex("1B 5D"), hex("1B 73 31 3F 1C"));
    reader.expect_silence(1, hex("1B 30"));
    EXPECT_EQ(MS_ReadCard(longest.c_str(), nullptr, 9600, 5, 2, 0, out, nullptr), 0);
    EXPECT_STREQ(out, "1");
    // One character more: cut, it would be the name of this reader again.
    EXPECT_EQ(MS_ReadCard((longest + "0").c_str(), nullptr, 9600, 5, 2, 0, out, nullptr), -3);
    EXPECT_EQ(MS_ReadCard(std::string(5000, 'x').c_str(), nullptr, 9600, 5, 2, 0, out, nullptr),
              -3);
}

}  // namespace
