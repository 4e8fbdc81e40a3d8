// The reader as a USB device: what it answers to a host, and its word over USB/IP, byte by byte.
#include <cerrno>
#include <fstream>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "deck.h"
#include "kit/bytes.h"
#include "kit/frames.h"
#include "links/usb_line.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using kit::join;
using kit::to_hex;
using namespace virtual_reader;

const Bytes power_on = ic_frame(hex("E1 01"));
const Bytes powered = ic_frame(hex("00 3B 04 44 45 53 48"));

// 64 bytes as they go over the pipes.
Bytes report(std::uint8_t mode_id, const Bytes& payload) {
    Bytes bytes = join({{mode_id, static_cast<std::uint8_t>(payload.size())}, payload});
    bytes.resize(64);
    return bytes;
}

class UsbDeviceTest : public testing::Test {
  protected:
    // A control transfer by its eight bytes, with data or room behind them.
    UsbResult control(const char* setup, const Bytes& data = {}) {
        UsbTransfer transfer;
        transfer.id = 7;
        transfer.setup = UsbSetup::parse(hex(setup));
        transfer.is_in = (transfer.setup.type & 0x80) != 0;
        transfer.data = data;
        transfer.room = transfer.setup.length;
        const auto result = device_.submit(transfer);
        EXPECT_TRUE(result);
        EXPECT_EQ(result->id, 7u);
        return result.value_or(UsbResult{});
    }
    std::string answer(const char* setup) {
        const UsbResult result = control(setup);
        EXPECT_EQ(result.count, result.data.size());
        return result.status == 0 ? to_hex(result.data) : std::to_string(result.status);
    }

    std::optional<UsbResult> read(std::uint64_t id, std::size_t room = 64) {
        return device_.submit({id, 1, true, {}, {}, room});
    }
    std::optional<UsbResult> write(const Bytes& data) {
        return device_.submit({8, 2, false, {}, data, 0});
    }

    std::unique_ptr<Reader> reader_ = reader_from_deck(default_deck(), "built-in");
    UsbPort port_{*reader_};
    UsbDevice device_{port_};
};

TEST_F(UsbDeviceTest, DescribesItself) {
    EXPECT_EQ(answer("80 06 00 01 00 00 12 00"),
              "12010002000000408B2E42010001010203"
              "01");
    EXPECT_EQ(answer("80 06 00 01 00 00 08 00"), "1201000200000040") << "as much as is asked for";
    EXPECT_EQ(answer("80 06 00 02 00 00 FF 00"),
              "0902290001010080320904000002030000000921110100012222000705810340000107050203400001");
    EXPECT_EQ(answer("81 06 00 22 00 00 22 00"),
              "0600FF0901A1010902150026FF00750895408102"
              "0903150026FF00750895409102C0");
    EXPECT_EQ(answer("81 06 00 21 00 00 09 00"), "092111010001222200");
    EXPECT_EQ(answer("80 06 00 03 00 00 FF 00"), "04030904");
    EXPECT_EQ(answer("80 06 01 03 09 04 FF 00"), "16036400650073006B00720065006100640065007200");
    EXPECT_EQ(answer("80 06 02 03 09 04 08 00"), "2803560069007200");
    EXPECT_EQ(answer("80 06 03 03 09 04 FF 00"),
              "1A034400520032003000320036003000300030003000300031"
              "00");
}

TEST_F(UsbDeviceTest, WithoutAnOutputEndpointItHasOneDescriptorLess) {
    const UsbDevice device(port_, false);
    EXPECT_EQ(to_hex(device.configuration_descriptor()),
              "0902220001010080320904000001030000000921110100012222000705810340"
              "0001");
}

TEST_F(UsbDeviceTest, RefusesWhatItDoesNotKnow) {
    for (const char* setup :
         {"80 06 00 06 00 00 0A 00", "80 06 04 03 09 04 FF 00", "80 06 01 02 00 00 09 00",
          "C0 01 00 00 00 00 01 00", "A1 01 00 01 00 00 40 00", "00 09 02 00 00 00 00 00",
          "01 0B 01 00 00 00 00 00", "40 01 00 00 00 00 00 00"}) {
        const UsbResult result = control(setup);
        EXPECT_EQ(result.status, -EPIPE) << setup;
        EXPECT_EQ(result.count, 0u);
    }
    EXPECT_EQ(device_.submit({1, 3, true, {}, {}, 64})->status, -EPIPE) << "no such pipe";
    EXPECT_EQ(device_.submit({1, 1, false, {}, {}, 0})->status, -EPIPE) << "not that way";
    EXPECT_EQ(device_.submit({1, 2, true, {}, {}, 64})->status, -EPIPE);
}

TEST_F(UsbDeviceTest, IsConfiguredAsAHostWants) {
    EXPECT_FALSE(device_.is_configured());
    EXPECT_EQ(answer("80 08 00 00 00 00 01 00"), "00");
    EXPECT_EQ(control("00 09 01 00 00 00 00 00").status, 0);
    EXPECT_TRUE(device_.is_configured());
    EXPECT_EQ(answer("80 08 00 00 00 00 01 00"), "01");
    EXPECT_EQ(answer("80 00 00 00 00 00 02 00"), "0000");
    EXPECT_EQ(answer("81 0A 00 00 00 00 01 00"), "00");
    EXPECT_EQ(control("01 0B 00 00 00 00 00 00").status, 0);
    EXPECT_EQ(control("21 0A 00 00 00 00 00 00").status, 0);
    EXPECT_EQ(control("02 01 00 00 81 00 00 00").status, 0);
}

TEST_F(UsbDeviceTest, AReadWaitsForItsReport) {
    EXPECT_FALSE(read(1));
    EXPECT_FALSE(read(2));
    EXPECT_TRUE(device_.take_finished().empty());
    const auto written = write(report(2, power_on));
    ASSERT_TRUE(written);
    EXPECT_EQ(written->status, 0);
    EXPECT_EQ(written->count, 64u);
    const auto finished = device_.take_finished();
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished[0].id, 1u);
    EXPECT_EQ(finished[0].count, 64u);
    EXPECT_EQ(finished[0].data, report(2, powered));
    EXPECT_TRUE(device_.cancel(2));
    EXPECT_FALSE(device_.cancel(2)) << "taken back already";
    EXPECT_FALSE(device_.cancel(1)) << "answered already";
}

TEST_F(UsbDeviceTest, AReportThatDoesNotFitIsAnError) {
    EXPECT_FALSE(read(1, 63));
    write(report(2, power_on));
    const auto finished = device_.take_finished();
    ASSERT_EQ(finished.size(), 1u);
    EXPECT_EQ(finished[0].status, -EOVERFLOW);
    EXPECT_TRUE(finished[0].data.empty());
}

TEST_F(UsbDeviceTest, TakesAReportByTheControlPipeToo) {
    EXPECT_EQ(control("21 09 00 02 00 00 40 00", report(2, power_on)).count, 64u);
    EXPECT_FALSE(read(1));
    EXPECT_EQ(device_.take_finished().at(0).data, report(2, powered));
    EXPECT_EQ(control("21 09 01 02 00 00 40 00", report(2, power_on)).status, -EPIPE)
        << "no report ids here";
}

TEST_F(UsbDeviceTest, AnEmptyReportIsNoRequest) {
    EXPECT_EQ(write({})->status, 0);
    EXPECT_EQ(write({0x02})->status, 0);
    EXPECT_EQ(reader_->counts().requests, 0);
}

TEST_F(UsbDeviceTest, StallsWhenAFaultSaysSo) {
    reader_->faults().add(fault_from_words({"stall", "times", "2"}));
    EXPECT_EQ(write(report(2, power_on))->status, -EPIPE);
    EXPECT_EQ(control("21 09 00 02 00 00 40 00", report(2, power_on)).status, -EPIPE);
    EXPECT_EQ(write(report(2, power_on))->status, 0);
}

TEST_F(UsbDeviceTest, ShutsDownWhenItIsUnplugged) {
    control("00 09 01 00 00 00 00 00");
    read(1);
    read(2);
    port_.unplug();
    EXPECT_EQ(write(report(2, power_on))->status, -ESHUTDOWN);
    EXPECT_EQ(read(3)->status, -ESHUTDOWN);
    const auto ended = device_.end_all(-ESHUTDOWN);
    ASSERT_EQ(ended.size(), 2u);
    EXPECT_EQ(ended[0].id, 1u);
    EXPECT_EQ(ended[1].id, 2u);
    EXPECT_EQ(ended[1].status, -ESHUTDOWN);
    EXPECT_FALSE(device_.is_configured());
}

// A controller's end of a USB/IP stream, and the reader's link on the other.
class Usbip : public UsbDeviceTest {
  protected:
    Usbip() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        controller_ = ends[0];
        link_.emplace(ends[1], device_);
    }
    ~Usbip() override {
        if (controller_ >= 0) close(controller_);
    }

    void say(const Bytes& bytes) const {
        EXPECT_EQ(::write(controller_, bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    std::string hear() const {
        Bytes bytes(4096);
        const ssize_t count = recv(controller_, bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return to_hex(bytes);
    }
    // What comes of bytes from the controller.
    std::string exchange(const Bytes& bytes) {
        say(bytes);
        EXPECT_TRUE(link_->serve());
        return hear();
    }

    int controller_ = -1;
    std::optional<UsbipLink> link_;
};

// Words: submit of number 0x01020304 for device 00010002, then direction, endpoint, flags, length.
const char* const get_device =
    "00000001 01020304 00010002 00000001 00000000 00000200 00000012 00000000 00000000 00000000"
    "80 06 00 01 00 00 12 00";
const char* const read_input =
    "00000001 00000005 00010002 00000001 00000001 00000200 00000040 00000000 FFFFFFFF 00000001"
    "00 00 00 00 00 00 00 00";
const char* const write_output =
    "00000001 00000006 00010002 00000000 00000002 00000000 00000040 00000000 00000000 00000001"
    "00 00 00 00 00 00 00 00";

TEST_F(Usbip, AnswersASubmit) {
    EXPECT_EQ(exchange(hex(get_device)),
              "00000003"
              "01020304"
              "000000000000000000000000"
              "00000000"
              "00000012"
              "00000000"
              "00000000"
              "00000000"
              "0000000000000000"
              "12010002000000408B2E4201000101020301");
}

TEST_F(Usbip, SaysWhyItRefuses) {
    EXPECT_EQ(exchange(hex("00000001 00000002 00010002 00000001 00000000 00000000 0000000A 00000000"
                           "00000000 00000000 80 06 00 06 00 00 0A 00")),
              "00000003"
              "00000002"
              "000000000000000000000000"
              "FFFFFFE0"
              "00000000"
              "00000000"
              "00000000"
              "00000000"
              "0000000000000000");
}

TEST_F(Usbip, AnswersAReadWhenAReportHasCome) {
    EXPECT_EQ(exchange(hex(read_input)), "");
    EXPECT_EQ(exchange(join({hex(write_output), report(2, power_on)})),
              "00000003"
              "00000006"
              "000000000000000000000000"
              "00000000"
              "00000040"
              "00000000"
              "00000000"
              "00000000"
              "0000000000000000"
              "00000003"
              "00000005"
              "000000000000000000000000"
              "00000000"
              "00000040"
              "00000000"
              "00000000"
              "00000000"
              "0000000000000000" +
                  to_hex(report(2, powered)));
}

TEST_F(Usbip, TakesWordsInPieces) {
    EXPECT_EQ(exchange(hex(read_input)), "");
    const Bytes request = join({hex(write_output), report(2, power_on)});
    std::string answers;
    for (const std::uint8_t byte : request)
        answers += exchange({byte});
    EXPECT_EQ(answers.size(), 2u * (48 + 48 + 64));
    EXPECT_EQ(link_->heard(), 2);
    EXPECT_TRUE(link_->serve()) << "nothing to do";
}

TEST_F(Usbip, TakesSeveralWordsAtOnce) {
    const std::string answers =
        exchange(join({hex(read_input), hex(get_device), hex(write_output), report(2, power_on)}));
    EXPECT_EQ(answers.size(), 2u * (48 + 18 + 48 + 48 + 64));
    EXPECT_EQ(answers.substr(0, 16), "0000000301020304");
}

TEST_F(Usbip, TakesAReadBack) {
    EXPECT_EQ(exchange(hex(read_input)), "");
    const Bytes unlink =
        hex("00000002 00000009 00010002 00000000 00000000 00000005"
            "000000000000000000000000000000000000000000000000");
    EXPECT_EQ(exchange(unlink),
              "00000004"
              "00000009"
              "000000000000000000000000"
              "FFFFFF98"
              "0000000000000000000000000000000000000000000000"
              "00");
    EXPECT_EQ(exchange(unlink),
              "00000004"
              "00000009"
              "000000000000000000000000"
              "00000000"
              "0000000000000000000000000000000000000000000000"
              "00")
        << "it was answered before";
}

TEST_F(Usbip, GivesUpAStreamThatMakesNoSense) {
    const Bytes good = hex(write_output);
    struct {
        const char* what;
        std::size_t at;
        Bytes bytes;
    } const cases[] = {
        {"no such command", 0, hex("00000000")},
        {"an answer", 0, hex("00000003")},
        {"no such direction", 12, hex("00000002")},
        {"no such endpoint", 16, hex("00000010")},
        {"a negative length", 24, hex("FFFFFFFF")},
        {"more data than there can be", 24, hex("00010001")},
        {"isochronous packets", 32, hex("00000001")},
    };
    for (const auto& one : cases) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        UsbipLink link(ends[1], device_);
        Bytes word = good;
        std::copy(one.bytes.begin(), one.bytes.end(),
                  word.begin() + static_cast<std::ptrdiff_t>(one.at));
        EXPECT_EQ(::write(ends[0], word.data(), word.size()), 48);
        EXPECT_FALSE(link.serve()) << one.what;
        close(ends[0]);
    }
    Bytes negative_room = hex(read_input);
    negative_room[24] = 0x80;
    say(negative_room);
    EXPECT_FALSE(link_->serve());
}

TEST_F(Usbip, EndsWithTheController) {
    exchange(hex(read_input));
    say(hex("00000001"));
    close(std::exchange(controller_, -1));
    EXPECT_TRUE(link_->serve()) << "half a word";
    EXPECT_FALSE(link_->serve());
}

TEST_F(Usbip, SurvivesAControllerThatNoLongerListens) {
    say(hex(get_device));
    close(std::exchange(controller_, -1));
    EXPECT_FALSE(link_->serve());
}

// A directory that looks like the controller's. What is written to `attach` can be read there.
class Vhci : public testing::Test {
  protected:
    Vhci() {
        std::string name = (std::filesystem::temp_directory_path() / "vhci-XXXXXX").string();
        directory_ = mkdtemp(name.data());
    }
    ~Vhci() override { std::filesystem::remove_all(directory_); }

    void put(const char* name, const std::string& text) const {
        std::ofstream(directory_ / name) << text;
    }
    std::string complaint() const {
        try {
            close(plug_into_vhci(directory_.string()));
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "none";
    }

    std::filesystem::path directory_;
};

const char* const ports =
    "hub port sta spd dev      sockfd local_busid\n"
    "hs  0000 006 002 00010002 000003 1-1\n"
    "hs  0001 004 000 00000000 000000 0-0\n"
    "hs  0002 004 000 00000000 000000 0-0\n"
    "ss  0008 004 000 00000000 000000 0-0\n";

TEST_F(Vhci, PlugsIntoTheFirstFreePort) {
    put("status", ports);
    put("attach", "");
    const int stream = plug_into_vhci(directory_.string());
    std::ifstream file(directory_ / "attach");
    int port = -1;
    int far_end = -1;
    int device = 0;
    int speed = 0;
    file >> port >> far_end >> device >> speed;
    EXPECT_EQ(port, 1);
    EXPECT_EQ(device, 65537);
    EXPECT_EQ(speed, 2);
    char byte = 0;
    EXPECT_EQ(recv(stream, &byte, 1, MSG_DONTWAIT), 0) << "nobody took the far end";
    EXPECT_NE(far_end, stream) << "which is the controller's";
    close(stream);
}

TEST_F(Vhci, SaysThatTheModuleIsMissing) {
    EXPECT_EQ(complaint(), "there is no " + directory_.string() +
                               ": a USB reader needs the kernel module vhci-hcd (modprobe "
                               "vhci-hcd, as root)");
}

TEST_F(Vhci, SaysThatAllPortsAreInUse) {
    put("status",
        "hub port sta spd dev      sockfd local_busid\n"
        "hs  0000 006 002 00010002 000003 1-1\n"
        "ss  0008 004 000 00000000 000000 0-0\n");
    EXPECT_EQ(complaint(), "all ports of " + directory_.string() + " are in use");
}

TEST_F(Vhci, SaysWhyItCannotAttach) {
    put("status", ports);
    EXPECT_EQ(complaint(), directory_.string() + "/attach: No such file or directory");
    if (geteuid() == 0) return;  // whom no file refuses
    put("attach", "");
    std::filesystem::permissions(directory_ / "attach", std::filesystem::perms::owner_read);
    EXPECT_EQ(complaint(), "only root may write to " + directory_.string() + "/attach");
}

// The whole line, with the test as the controller.
class UsbLineTest : public testing::Test {
  protected:
    ~UsbLineTest() override { pull(); }

    int plug() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        pull();
        controller_ = ends[0];
        ++plugs_;
        return ends[1];
    }
    void pull() {
        if (controller_ >= 0) close(std::exchange(controller_, -1));
    }
    void say(const Bytes& bytes) const {
        EXPECT_EQ(::write(controller_, bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    // Serves until the host has found the reader.
    void serve_until_found() {
        for (int i = 0; i < 1000 && line_->device().empty(); ++i) {
            line_->serve();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    bool hung_up() const {
        Bytes bytes(4096);
        ssize_t count = 1;
        while (count > 0)
            count = recv(controller_, bytes.data(), bytes.size(), MSG_DONTWAIT);
        return count == 0;
    }

    std::unique_ptr<Reader> reader_ = reader_from_deck(default_deck(), "built-in");
    int controller_ = -1;
    int plugs_ = 0;
    std::optional<UsbLine> line_;
};

const char* const configure =
    "00000001 00000001 00010002 00000000 00000000 00000000 00000000 00000000 00000000 00000000"
    "00 09 01 00 00 00 00 00";

TEST_F(UsbLineTest, IsThereOnceTheHostHasConfiguredIt) {
    line_.emplace(*reader_, [this] { return plug(); });
    EXPECT_EQ(plugs_, 1);
    EXPECT_FALSE(line_->serve());
    EXPECT_EQ(line_->device(), "");
    say(hex(configure));
    EXPECT_TRUE(line_->serve());
    EXPECT_EQ(line_->device(), "") << "the host may not be done with it";
    serve_until_found();
    EXPECT_EQ(line_->device(), "USB");
    EXPECT_FALSE(hung_up());
}

TEST_F(UsbLineTest, FollowsThePlugOfTheReader) {
    line_.emplace(*reader_, [this] { return plug(); });
    say(hex(configure));
    serve_until_found();
    say(join({hex(write_output), report(2, power_on)}));
    EXPECT_TRUE(line_->serve());
    reader_->faults().unplug();
    EXPECT_FALSE(line_->serve());
    EXPECT_EQ(line_->descriptor(), -1);
    EXPECT_EQ(line_->device(), "");
    EXPECT_TRUE(hung_up());
    reader_->plug_in();
    line_->serve();
    EXPECT_EQ(plugs_, 2);
    EXPECT_EQ(line_->device(), "") << "the host has to look at it again";
    say(hex(read_input));
    line_->serve();
    Bytes bytes(64);
    EXPECT_EQ(recv(controller_, bytes.data(), bytes.size(), MSG_DONTWAIT), -1)
        << "the answer of before is lost";
}

TEST_F(UsbLineTest, AReaderThatWasOutForAMomentIsPluggedInAnew) {
    line_.emplace(*reader_, [this] { return plug(); });
    reader_->faults().unplug();
    reader_->plug_in();
    line_->serve();
    EXPECT_EQ(plugs_, 2);
}

TEST_F(UsbLineTest, SaysThatItWasTakenOut) {
    line_.emplace(*reader_, [this] { return plug(); });
    pull();
    EXPECT_THROW(line_->serve(), std::runtime_error);
}

TEST_F(UsbLineTest, WaitsForThePlugOfAReaderThatIsOut) {
    reader_->faults().unplug();
    line_.emplace(*reader_, [this] { return plug(); });
    EXPECT_FALSE(line_->serve());
    EXPECT_EQ(plugs_, 0);
    reader_->plug_in();
    line_->serve();
    EXPECT_EQ(plugs_, 1);
}

}  // namespace
