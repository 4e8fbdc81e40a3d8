#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "deck.h"
#include "kit/frames.h"
#include "links/serial_reader.h"
#include "links/usb_port.h"
#include "options.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using namespace std::chrono_literals;
using namespace virtual_reader;

Bytes output_report(std::uint8_t mode_id, const Bytes& payload) {
    Bytes report = kit::join({{0x00, mode_id, static_cast<std::uint8_t>(payload.size())}, payload});
    report.resize(65);
    return report;
}

class Usb : public testing::Test {
  protected:
    std::unique_ptr<Reader> reader_ = reader_from_deck(default_deck(), "built-in");
    UsbPort port_{*reader_};
};

TEST_F(Usb, AnswersInReportsOf64Bytes) {
    EXPECT_EQ(port_.write_report(output_report(2, ic_frame(hex("E1 01")))), 65);
    const auto report = port_.read_report(100ms);
    ASSERT_TRUE(report);
    Bytes answer = ic_frame(hex("00 3B 04 44 45 53 48"));
    Bytes expected = kit::join({{0x02, static_cast<std::uint8_t>(answer.size())}, answer});
    expected.resize(64);
    EXPECT_EQ(*report, expected);
    EXPECT_FALSE(port_.read_report(1ms));
}

TEST_F(Usb, GathersARequestAndSplitsAnAnswer) {
    const Bytes request = ic_frame(kit::join({{0xF2}, Bytes(32, 'S')}));
    ASSERT_EQ(request.size(), 73u);
    port_.write_report(output_report(2, Bytes(request.begin(), request.begin() + 62)));
    EXPECT_FALSE(port_.read_report(1ms));
    port_.write_report(output_report(2, Bytes(request.begin() + 62, request.end())));
    EXPECT_TRUE(port_.read_report(100ms));
    port_.write_report(output_report(2, ic_frame(hex("F1"))));
    int reports = 0;
    std::size_t bytes = 0;
    while (const auto report = port_.read_report(1ms)) {
        ++reports;
        bytes += (*report)[1];
    }
    EXPECT_EQ(reports, 3);
    EXPECT_EQ(bytes, 2u * (65 + 3) + 1);
}

TEST_F(Usb, UnpluggingEndsWaitingAndLosesWhatWaited) {
    port_.write_report(output_report(2, ic_frame(hex("E1 01"))));
    port_.unplug();
    EXPECT_FALSE(port_.is_plugged());
    EXPECT_FALSE(port_.read_report(10s));
    EXPECT_EQ(port_.write_report(output_report(2, ic_frame(hex("E1 01")))), -1);
    port_.plug();
    EXPECT_FALSE(port_.read_report(1ms));
    EXPECT_EQ(port_.write_report(output_report(2, ic_frame(hex("E1 01")))), 65);
    EXPECT_TRUE(port_.read_report(100ms));
}

TEST_F(Usb, UnpluggingLosesHalfARequest) {
    const Bytes request = ic_frame(hex("E1 01"));
    port_.write_report(output_report(2, Bytes(request.begin(), request.begin() + 6)));
    port_.unplug();
    port_.plug();
    port_.write_report(output_report(2, Bytes(request.begin() + 6, request.end())));
    EXPECT_FALSE(port_.read_report(1ms));
    port_.write_report(output_report(2, request));
    EXPECT_TRUE(port_.read_report(100ms));
}

TEST_F(Usb, AnswersLateWhenACardIsSwiped) {
    port_.with_reader([](Reader& reader) {
        reader.magnetic().add(std::make_unique<MagneticCard>(
            "stripe", std::array<Track, 3>{{{}, {"1=2", false}, {}}}));
    });
    port_.write_report(output_report(1, hex("1B 5D")));
    EXPECT_FALSE(port_.read_report(1ms));
    std::jthread desk([this] {
        std::this_thread::sleep_for(10ms);
        port_.with_reader([](Reader& reader) { reader.insert("stripe"); });
    });
    const auto report = port_.read_report(10s);
    ASSERT_TRUE(report);
    Bytes expected = hex("01 07 1B 73 31 3D 32 3F 1C");
    expected.resize(64);
    EXPECT_EQ(*report, expected);
    EXPECT_FALSE(port_.read_report(1ms));
}

TEST_F(Usb, UnpluggingLosesALateAnswer) {
    reader_->magnetic().add(std::make_unique<MagneticCard>("stripe", std::array<Track, 3>{}));
    port_.write_report(output_report(1, hex("1B 5D")));
    port_.unplug();
    port_.with_reader([](Reader& reader) { reader.insert("stripe"); });
    port_.plug();
    EXPECT_FALSE(port_.read_report(1ms));
}

TEST_F(Usb, SplitsTheBlocksOfAnIdentityCard) {
    IdentityCardSettings settings;
    settings.name = "identity";
    reader_->id().add(std::make_unique<IdentityCard>(std::move(settings)));
    reader_->insert("identity");
    port_.write_report(output_report(1, hex("1B 24 53 34")));
    EXPECT_EQ(port_.read_report(100ms)->at(2), 'S');
    for (const char* request : {"AA AA AA 96 69 00 03 20 01 22", "AA AA AA 96 69 00 03 20 02 21"}) {
        port_.write_report(output_report(2, hex(request)));
        EXPECT_TRUE(port_.read_report(100ms));
    }
    port_.write_report(output_report(2, hex("AA AA AA 96 69 00 03 30 01 32")));
    std::vector<int> sizes;
    while (const auto report = port_.read_report(1ms))
        sizes.push_back((*report)[1]);
    std::vector<int> expected(20, 62);
    expected.push_back(1295 - 20 * 62);
    EXPECT_EQ(sizes, expected);
}

TEST_F(Usb, SendsWhatFaultsLeave) {
    reader_->faults().add(fault_from_words({"split", "count", "8"}));
    reader_->faults().add(fault_from_words({"report"}));
    reader_->faults().add(fault_from_words({"truncate", "at", "9"}));
    port_.write_report(output_report(2, ic_frame(hex("E1 01"))));
    EXPECT_EQ(port_.read_report(100ms), Bytes{}) << "an empty report";
    Bytes expected = kit::join({{0x02, 0x08}, kit::ascii("6007003B")});
    expected.resize(64);
    EXPECT_EQ(port_.read_report(100ms), expected);
    expected = kit::join({{0x02, 0x01}, kit::ascii("0")});
    expected.resize(64);
    EXPECT_EQ(port_.read_report(100ms), expected);
    EXPECT_FALSE(port_.read_report(1ms));
}

TEST_F(Usb, RefusesAReportOnce) {
    reader_->faults().add(fault_from_words({"stall"}));
    EXPECT_EQ(port_.write_report(output_report(2, ic_frame(hex("E1 01")))), -1);
    EXPECT_TRUE(port_.is_plugged());
    EXPECT_FALSE(port_.read_report(1ms));
    EXPECT_EQ(port_.write_report(output_report(2, ic_frame(hex("E1 01")))), 65);
    EXPECT_TRUE(port_.read_report(100ms));
}

TEST_F(Usb, ADelayedAnswerComesByTheClockOfThePort) {
    std::chrono::milliseconds time{0};
    UsbPort port(*reader_, [&time] { return time; });
    reader_->faults().add(fault_from_words({"delay", "ms", "700"}));
    reader_->faults().add(fault_from_words({"split", "count", "10", "ms", "200"}));
    EXPECT_FALSE(port.next_report_in());
    port.write_report(output_report(2, ic_frame(hex("E1 01"))));
    EXPECT_EQ(port.next_report_in(), 700ms);
    time = 699ms;
    EXPECT_FALSE(port.take_report());
    time = 700ms;
    EXPECT_TRUE(port.take_report());
    EXPECT_EQ(port.next_report_in(), 200ms);
    EXPECT_FALSE(port.take_report());
    time = 900ms;
    EXPECT_TRUE(port.take_report());
}

TEST_F(Usb, AReportTakesAMillisecondEachWayOnATrueWire) {
    Time time{0};
    UsbPort port(
        *reader_, [&time] { return time; }, Timing::true_to_wire);
    port.write_report(output_report(2, ic_frame(hex("F1"))));
    EXPECT_EQ(port.next_report_in(), 2ms) << "the request and the first report of three";
    time = 2ms - 1ns;
    EXPECT_FALSE(port.take_report());
    for (const Time due : {2ms, 3ms, 4ms}) {
        time = due;
        EXPECT_TRUE(port.take_report());
        EXPECT_FALSE(port.take_report());
    }
}

TEST_F(Usb, ARequestOfTwoReportsTakesTwoMillisecondsOnATrueWire) {
    Time time{0};
    UsbPort port(
        *reader_, [&time] { return time; }, Timing::true_to_wire);
    const Bytes request = ic_frame(kit::join({{0xF2}, Bytes(32, 'S')}));
    port.write_report(output_report(2, Bytes(request.begin(), request.begin() + 62)));
    port.write_report(output_report(2, Bytes(request.begin() + 62, request.end())));
    EXPECT_EQ(port.next_report_in(), 3ms);
    reader_->faults().add(fault_from_words({"delay", "ms", "700"}));
    port.write_report(output_report(2, ic_frame(hex("E1 01"))));
    time = 3ms;
    EXPECT_TRUE(port.take_report());
    EXPECT_EQ(port.next_report_in(), 701ms) << "behind the answer before";
}

TEST_F(Usb, ADelayedAnswerEndsAWait) {
    reader_->faults().add(fault_from_words({"delay", "ms", "20"}));
    port_.write_report(output_report(2, ic_frame(hex("E1 01"))));
    EXPECT_FALSE(port_.read_report(1ms));
    EXPECT_TRUE(port_.read_report(10s));
}

TEST_F(Usb, UnplugsItselfInTheMiddleOfAnAnswer) {
    reader_->faults().add(fault_from_words({"unplug", "at", "3"}));
    port_.write_report(output_report(2, ic_frame(hex("E1 01"))));
    EXPECT_FALSE(port_.is_plugged());
    EXPECT_EQ(port_.read_report(10s)->at(1), 3) << "what came before can be read";
    EXPECT_FALSE(port_.read_report(10s));
    EXPECT_EQ(port_.write_report(output_report(2, ic_frame(hex("E1 01")))), -1);
    port_.plug();
    port_.write_report(output_report(2, ic_frame(hex("E1 01"))));
    EXPECT_TRUE(port_.read_report(100ms));
}

// A host that has the line's other end open as a raw port.
class Host {
  public:
    Host(const std::string& device, speed_t rate) : file_(open(device.c_str(), O_RDWR | O_NOCTTY)) {
        termios settings{};
        tcgetattr(file_, &settings);
        cfmakeraw(&settings);
        cfsetspeed(&settings, rate);
        tcsetattr(file_, TCSANOW, &settings);
    }
    ~Host() { close(file_); }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void set_rate(speed_t rate) const {
        termios settings{};
        tcgetattr(file_, &settings);
        cfsetspeed(&settings, rate);
        tcsetattr(file_, TCSANOW, &settings);
    }

    void say(const Bytes& request) const {
        EXPECT_EQ(write(file_, request.data(), request.size()),
                  static_cast<ssize_t>(request.size()));
    }

    // What comes, up to `last`, or until nothing has come for so long.
    Bytes hear(std::uint8_t last, std::chrono::milliseconds limit) const {
        Bytes reply;
        pollfd line{file_, POLLIN, 0};
        while (poll(&line, 1, static_cast<int>(limit.count())) > 0) {
            std::uint8_t byte = 0;
            if (read(file_, &byte, 1) != 1) break;
            reply.push_back(byte);
            if (byte == last) break;
        }
        return reply;
    }

    Bytes exchange(const Bytes& request, std::chrono::milliseconds limit) const {
        say(request);
        return hear(0x03, limit);
    }

  private:
    int file_;
};

TEST(SerialLink, AnswersOnItsLineAgainAndAgain) {
    SerialReader reader(reader_from_deck(default_deck(), "built-in"));
    for (int round = 0; round < 3; ++round) {
        const Host host(reader.device(), B9600);
        EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 2s), ic_frame(hex("00 3B 04 44 45 53 48")));
    }
}

TEST(SerialLink, HearsNothingAtAnotherRate) {
    SerialReader reader(reader_from_deck(default_deck(), "built-in"));
    const Host host(reader.device(), B19200);
    EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 50ms), Bytes{});
    EXPECT_EQ(reader.with_reader([](Reader& one) { return one.counts().requests; }), 0);
}

TEST(SerialLink, ChangesItsRateBehindTheAnswer) {
    SerialReader reader(reader_from_deck(default_deck(), "built-in"));
    {
        const Host host(reader.device(), B9600);
        EXPECT_EQ(host.exchange(ic_frame(hex("BB 04")), 2s), ic_frame(hex("00")));
        EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 50ms), Bytes{});
    }
    const Host host(reader.device(), B115200);
    EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 2s), ic_frame(hex("00 3B 04 44 45 53 48")));
}

// Between two looks of the reader at its line.
TEST(SerialLink, ARateThatWasJustChangedIsNotTakenForTheOneBefore) {
    const auto reader = reader_from_deck(default_deck(), "built-in");
    SerialLine line;
    const Host host(line.device(), B9600);
    line.serve(*reader);
    const Bytes request = ic_frame(hex("E1 01"));
    host.set_rate(B115200);
    host.say(request);
    line.serve(*reader);
    EXPECT_EQ(host.hear(0x03, 20ms), Bytes{});
    EXPECT_EQ(line.misread(), request.size());
    EXPECT_EQ(reader->counts().requests, 0);
    host.set_rate(B9600);
    host.say(request);
    line.serve(*reader);
    EXPECT_EQ(host.hear(0x03, 2s), ic_frame(hex("00 3B 04 44 45 53 48")));
}

TEST(SerialLink, AModeCommandMayGoAheadOfAChangeOfRate) {
    const auto reader = reader_from_deck(default_deck(), "built-in");
    SerialLine line;
    const Host host(line.device(), B9600);
    line.serve(*reader);
    host.say(hex("1B 24 53 34"));
    host.set_rate(B115200);
    host.say(kit::id_frame(hex("10 FF")));
    line.serve(*reader);
    EXPECT_EQ(host.hear(0xFF, 50ms), kit::id_frame(hex("00 00 90")));
    host.say(hex("1B 24 42 30"));
    host.set_rate(B9600);
    host.say(ic_frame(hex("E1 01")));
    line.serve(*reader);
    EXPECT_EQ(host.hear(0x03, 2s), ic_frame(hex("00 3B 04 44 45 53 48")));
    EXPECT_EQ(line.misread(), 0u);
}

TEST(SerialLink, CardsCanBeMovedWhileItServes) {
    SerialReader reader(reader_from_deck(default_deck(), "built-in"));
    const Host host(reader.device(), B9600);
    reader.with_reader([](Reader& one) { one.ic().remove("member"); });
    EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 2s), ic_frame(hex("FB")));
}

TEST(SerialLink, AnswersLateWhenACardIsSwiped) {
    auto own = std::make_unique<Reader>();
    own->magnetic().add(
        std::make_unique<MagneticCard>("stripe", std::array<Track, 3>{{{}, {"1=2", false}, {}}}));
    SerialReader reader(std::move(own));
    const Host host(reader.device(), B9600);
    host.say(hex("1B 5D"));
    EXPECT_EQ(host.hear(0x1C, 50ms), Bytes{});
    reader.with_reader([](Reader& one) { one.insert("stripe"); });
    EXPECT_EQ(host.hear(0x1C, 2s), hex("1B 73 31 3D 32 3F 1C"));
    reader.with_reader([](Reader& one) { one.remove("stripe"); });
    host.say(hex("1B 5D"));
    EXPECT_EQ(host.hear(0x1C, 50ms), Bytes{});
    host.say(hex("1B 30"));
    EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 2s), ic_frame(hex("FB")));
    reader.with_reader([](Reader& one) { one.insert("stripe"); });
    EXPECT_EQ(host.hear(0x1C, 50ms), Bytes{}) << "given up by the reset";
}

TEST(SerialLink, ALateAnswerThatNobodyHearsIsLost) {
    auto own = std::make_unique<Reader>();
    own->magnetic().add(std::make_unique<MagneticCard>("stripe", std::array<Track, 3>{}));
    SerialReader reader(std::move(own));
    {
        const Host host(reader.device(), B9600);
        host.say(hex("1B 5D"));
        EXPECT_EQ(host.hear(0x1C, 50ms), Bytes{});
    }
    reader.with_reader([](Reader& one) { one.insert("stripe"); });
    std::this_thread::sleep_for(50ms);
    const Host host(reader.device(), B9600);
    EXPECT_EQ(host.hear(0x1C, 50ms), Bytes{});
    host.say(hex("1B 5D"));
    EXPECT_EQ(host.hear(0x1C, 2s), hex("1B 73 7F 3F 1C"));
}

TEST(SerialLink, SendsWhatFaultsLeave) {
    SerialReader reader(reader_from_deck(default_deck(), "built-in"));
    const Host host(reader.device(), B9600);
    reader.with_reader([](Reader& one) {
        one.faults().add(fault_from_words({"split", "ms", "2"}));
        one.faults().add(fault_from_words({"report"}));
        one.faults().add(fault_from_words({"noise", "bytes", "FE"}));
        one.faults().add(fault_from_words({"delay", "ms", "60"}));
    });
    EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 10ms), Bytes{});
    EXPECT_EQ(host.hear(0x03, 2s),
              kit::join({hex("FE"), kit::ascii("6007003B044445534842"), hex("03")}));
}

TEST(SerialLink, WhatIsLateIsLostWhenItIsPluggedInAgain) {
    SerialReader reader(reader_from_deck(default_deck(), "built-in"));
    const Host host(reader.device(), B9600);
    reader.with_reader([](Reader& one) {
        one.faults().add(fault_from_words({"delay", "ms", "300"}));
    });
    EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 10ms), Bytes{});
    reader.with_reader([](Reader& one) { one.plug_in(); });
    EXPECT_EQ(host.hear(0x03, 600ms), Bytes{});
    EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 2s), ic_frame(hex("00 3B 04 44 45 53 48")));
}

TEST(SerialLink, AnUnpluggedReaderTakesTheLineAway) {
    SerialReader reader(reader_from_deck(default_deck(), "built-in"));
    {
        const Host host(reader.device(), B9600);
        reader.with_reader([](Reader& one) { one.faults().add(fault_from_words({"unplug"})); });
        EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 2s), Bytes{}) << "the line hangs up";
        EXPECT_FALSE(reader.with_reader([](Reader& one) { return one.faults().is_plugged(); }));
    }
    EXPECT_EQ(reader.with_reader([](Reader& one) { return one.counts().requests; }), 1);
    const auto is_there = [&] { return access(reader.device().c_str(), F_OK) == 0; };
    EXPECT_FALSE(is_there());
    const std::string before = reader.device();
    reader.with_reader([](Reader& one) { one.plug_in(); });
    for (int wait = 0; wait < 1000 && reader.device() == before; ++wait)
        std::this_thread::sleep_for(2ms);
    EXPECT_NE(reader.device(), before) << "nobody else had the name meanwhile";
    const Host host(reader.device(), B9600);
    EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 2s), ic_frame(hex("00 3B 04 44 45 53 48")));
}

// A line served by hand, at a time of the test's own.
class TrueLine : public testing::Test {
  protected:
    // A request that the reader has got.
    void say(const Host& host, const Bytes& request) {
        host.say(request);
        pollfd line{line_.descriptor(), POLLIN, 0};
        ASSERT_EQ(poll(&line, 1, 2000), 1);
        line_.serve(*reader_);
    }

    Bytes heard_at(const Host& host, Time time) {
        time_ = time;
        line_.serve(*reader_);
        return host.hear(0x03, 50ms);
    }

    std::unique_ptr<Reader> reader_ = reader_from_deck(default_deck(), "built-in");
    Time time_{0};
    SerialLine line_{Timing::true_to_wire, [this] { return time_; }};
};

TEST_F(TrueLine, AnAnswerComesWhenItsLastByteWould) {
    const Host host(line_.device(), B9600);
    EXPECT_FALSE(line_.next_output_in());
    say(host, ic_frame(hex("E1 01")));
    // 11 bytes there and 21 bytes back, ten bits each, at 9600 baud.
    ASSERT_TRUE(line_.next_output_in());
    EXPECT_EQ(std::chrono::round<std::chrono::microseconds>(*line_.next_output_in()), 33333us);
    EXPECT_EQ(heard_at(host, 33'300us), Bytes{});
    EXPECT_EQ(heard_at(host, 33'334us), ic_frame(hex("00 3B 04 44 45 53 48")));
    EXPECT_FALSE(line_.next_output_in());
}

TEST_F(TrueLine, AtAHigherRateItComesSooner) {
    {
        const Host host(line_.device(), B9600);
        say(host, ic_frame(hex("BB 04")));
        EXPECT_EQ(heard_at(host, 1s), ic_frame(hex("00")));
    }
    const Host host(line_.device(), B115200);
    say(host, ic_frame(hex("E1 01")));
    ASSERT_TRUE(line_.next_output_in());
    EXPECT_EQ(std::chrono::round<std::chrono::microseconds>(*line_.next_output_in()), 2778us);
}

TEST_F(TrueLine, AFaultsDelayComesOnTop) {
    const Host host(line_.device(), B9600);
    reader_->faults().add(fault_from_words({"delay", "ms", "60"}));
    say(host, ic_frame(hex("E1 01")));
    ASSERT_TRUE(line_.next_output_in());
    EXPECT_EQ(std::chrono::round<std::chrono::microseconds>(*line_.next_output_in()), 93333us);
}

TEST(Options, TrueTimingIsAskedFor) {
    std::ostringstream output;
    int status = -1;
    const char* const plain[] = {"virtual-reader"};
    EXPECT_FALSE(read_options(1, plain, output, output, status)->true_timing);
    const char* const timed[] = {"virtual-reader", "--true-timing"};
    EXPECT_TRUE(read_options(2, timed, output, output, status)->true_timing);
}

TEST(SerialLink, GoesToTheIdRateAndBack) {
    SerialReader reader(std::make_unique<Reader>());
    {
        const Host host(reader.device(), B9600);
        host.say(hex("1B 24 53 34"));
        EXPECT_EQ(host.hear(0x00, 50ms), Bytes{});
    }
    {
        const Host host(reader.device(), B115200);
        host.say(hex("AA AA AA 96 69 00 03 10 FF EC"));
        EXPECT_EQ(host.hear(0x94, 2s), hex("AA AA AA 96 69 00 04 00 00 90 94"));
        host.say(hex("1B 24 42 30"));
        EXPECT_EQ(host.hear(0x00, 50ms), Bytes{});
    }
    const Host host(reader.device(), B9600);
    EXPECT_EQ(host.exchange(ic_frame(hex("E1 01")), 2s), ic_frame(hex("FB")));
}

}  // namespace
