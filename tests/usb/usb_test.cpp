// Hosts with the real hidapi and libusb, and the reader as a USB device: what goes well and what
// goes wrong between them. The hosts are processes of their own (host.cpp), also with the library
// under the sanitizers.
#include "bench.h"
#include "faults/script.h"
#include "tools/tool_process.h"

namespace usb_tests {
namespace {

using namespace std::chrono_literals;
using virtual_reader::fault_from_words;
using virtual_reader::Reader;

struct HostProgram {
    const char* name;
    const char* path;
};

void PrintTo(const HostProgram& program, std::ostream* stream) {
    *stream << program.name;
}

constexpr HostProgram programs[] = {USB_HOSTS};

// API numbers that hosts get here.
constexpr int no_answer = -1013;
constexpr int ended_wait = -1014;
constexpr int not_found = -1000;

// A host under way. What a sanitizer finds in it shows as its exit status.
class Host {
  public:
    explicit Host(const HostProgram& program) : process_(program.path, {}) {}
    ~Host() {
        if (!is_over_) end();
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    void begin(const std::string& order) {
        begin_ = std::chrono::steady_clock::now();
        process_.write_line(order);
    }
    std::string answer() {
        std::string line = process_.read_line();
        took_ = std::chrono::steady_clock::now() - begin_;
        return line;
    }
    std::string say(const std::string& order) {
        begin(order);
        return answer();
    }
    int result(const std::string& order) { return std::atoi(say(order).c_str()); }

    // Of the last order.
    std::chrono::nanoseconds took() const { return took_; }

    void end() {
        is_over_ = true;
        process_.write_line("quit");
        const tool_tests::Finished finished = process_.finish();
        EXPECT_EQ(finished.status, 0) << finished.errors;
        EXPECT_EQ(finished.errors, "");
    }

  private:
    tool_tests::Process process_;
    bool is_over_ = false;
    std::chrono::steady_clock::time_point begin_;
    std::chrono::nanoseconds took_{};
};

class Usb : public testing::TestWithParam<HostProgram> {
  protected:
    void set_up_bench(const BenchOptions& options = {}) {
        bench_.reset();
        bench_ = make_bench(options);
    }
    void SetUp() override { set_up_bench(); }

    Host host() const { return Host(GetParam()); }

    void fault(const std::vector<std::string>& words) {
        bench_->on_reader([&](Reader& reader) { reader.faults().add(fault_from_words(words)); });
    }
    void no_faults() {
        bench_->on_reader([](Reader& reader) { reader.faults().clear(); });
    }
    int requests() {
        return bench_->ask_reader<int>([](Reader& reader) { return reader.counts().requests; });
    }
    void wait_for_request(int before) {
        ASSERT_TRUE(Bench::comes_to([&] { return requests() > before; }));
    }
    void unplug() {
        bench_->on_reader([](Reader& reader) { reader.faults().unplug(); });
        ASSERT_TRUE(Bench::comes_to([&] { return !bench_->is_found(); }));
    }
    void plug() {
        bench_->on_reader([](Reader& reader) { reader.plug_in(); });
        ASSERT_TRUE(Bench::comes_to([&] { return bench_->is_found(); }));
    }

    // Lets a host find what has come meanwhile, if nobody tells it.
    void begin_anew(Host& host) const {
        if (bench_->tells_hosts()) return;
        EXPECT_EQ(host.say("release"), "0");
    }

    // The reader anew, for a host whose connection is dead.
    void reopen(Host& host) {
        EXPECT_EQ(host.say("close"), "0");
        begin_anew(host);
        EXPECT_EQ(host.say("open"), "0");
    }

    std::unique_ptr<Bench> bench_;
};

const char* const information = "0 DESK READER VIRTUAL 1.0";
const char* const select_application = "apdu 0 00A4040006F04445534B01";
const char* const selected = "0 6F088406F04445534B019000";

TEST_P(Usb, AHostTalksToTheReader) {
    Host host = this->host();
    EXPECT_TRUE(bench_->has_driver());
    EXPECT_EQ(host.say("open"), "0");
    EXPECT_FALSE(bench_->has_driver()) << "hidapi has taken it from the machine";
    EXPECT_EQ(host.say("info"), information);
    EXPECT_EQ(host.say("sn"), "0 DR2026000001");
    EXPECT_EQ(host.say("beep"), "0");
    EXPECT_EQ(bench_->ask_reader<int>([](Reader& reader) { return reader.counts().beeps; }), 1);
    EXPECT_EQ(host.say("close"), "0");
    EXPECT_TRUE(Bench::comes_to([&] { return bench_->has_driver(); })) << "and gives it back";
}

TEST_P(Usb, ACardAnswersAnApdu) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    EXPECT_EQ(host.say("atr 0 1"), "0 3B0444455348");
    EXPECT_EQ(host.say(select_application), selected);
    EXPECT_EQ(host.say("apdu 0 00B2010C00"), "0 4D454D42455220303030319000");
    EXPECT_EQ(host.say("off 0"), "0");
}

TEST_P(Usb, APaymentCardTellsItsInformation) {
    bench_->on_reader([](Reader& reader) { reader.insert("bank"); });
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    EXPECT_EQ(host.say("card 0 AB"), "0 A0169999990000000013B011EXAMPLE/ADA");
    EXPECT_GT(requests(), 6) << "of many exchanges";
    EXPECT_EQ(host.say("close"), "0");
}

TEST_P(Usb, AReaderWithoutAnOutputEndpointTakesItsReportsByControl) {
    set_up_bench({.has_output_endpoint = false});
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    EXPECT_EQ(host.say("info"), information);
    EXPECT_EQ(host.say("atr 0 1"), "0 3B0444455348");
    EXPECT_EQ(host.say(select_application), selected);
    EXPECT_EQ(host.say("close"), "0");
}

TEST_P(Usb, UnpluggingEndsARead) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    EXPECT_EQ(host.say("atr 0 1"), "0 3B0444455348");
    fault({"mute"});
    const int before = requests();
    host.begin(select_application);
    wait_for_request(before);
    unplug();
    EXPECT_EQ(host.answer(), std::to_string(no_answer));
    EXPECT_EQ(host.result("info"), no_answer) << "until it is opened again";
    plug();
    EXPECT_EQ(host.result("info"), no_answer) << "it is another device";
    reopen(host);
    EXPECT_EQ(host.say("info"), information);
    EXPECT_EQ(host.say("atr 0 1"), "0 3B0444455348");
    EXPECT_EQ(host.say("close"), "0");
}

TEST_P(Usb, UnpluggingEndsAWaitBeforeItsTime) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    const int before = requests();
    host.begin("track 50");
    wait_for_request(before);
    unplug();
    EXPECT_EQ(host.answer(), std::to_string(ended_wait));
    EXPECT_LT(host.took(), 40s);
    plug();
    reopen(host);
    bench_->on_reader([](Reader& reader) { reader.insert("loyalty"); });
    EXPECT_EQ(host.say("track 5"), "0 9999000000000003=3012");
}

TEST_P(Usb, UnpluggingInTheMiddleOfAnAnswerIsAFailure) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    fault({"unplug", "at", "4"});
    EXPECT_NE(host.result("atr 0 1"), 0);
    EXPECT_TRUE(Bench::comes_to([&] { return !bench_->is_found(); }));
    EXPECT_NE(host.result("beep"), 0);
    plug();
    reopen(host);
    EXPECT_EQ(host.say("beep"), "0");
}

TEST_P(Usb, WithoutAReaderNothingOpens) {
    unplug();
    Host host = this->host();
    EXPECT_EQ(host.result("open"), not_found);
    EXPECT_EQ(host.say("close"), "0");
    plug();
    begin_anew(host);
    EXPECT_EQ(host.say("open"), "0");
    EXPECT_EQ(host.say("info"), information);
}

TEST_P(Usb, ASecondHostHasToWaitForTheFirst) {
    Host first = host();
    Host second = host();
    EXPECT_EQ(first.say("open"), "0");
    EXPECT_EQ(second.result("open"), not_found);
    EXPECT_EQ(first.say("info"), information) << "the first one is not disturbed";
    EXPECT_EQ(second.result("info"), not_found);
    EXPECT_EQ(first.say("close"), "0");
    EXPECT_EQ(second.say("close"), "0");
    EXPECT_EQ(second.say("open"), "0");
    EXPECT_EQ(second.say("info"), information);
    EXPECT_EQ(first.result("open"), not_found);
}

TEST_P(Usb, AHostThatEndsLeavesTheReaderToOthers) {
    {
        Host first = host();
        EXPECT_EQ(first.say("open"), "0");
        EXPECT_EQ(first.say("info"), information);
    }
    Host second = host();
    EXPECT_EQ(second.say("open"), "0");
    EXPECT_EQ(second.say("info"), information);
}

TEST_P(Usb, WithoutRightsNothingOpens) {
    bench_->forbid();
    Host host = this->host();
    EXPECT_EQ(host.say("drop-powers"), "0");
    EXPECT_EQ(host.result("open"), not_found);
    EXPECT_EQ(host.result("info"), not_found);
    EXPECT_EQ(host.say("close"), "0");
    EXPECT_EQ(requests(), 0);
}

TEST_P(Usb, EmptyReportsAreNoAnswer) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    fault({"report", "count", "5"});
    EXPECT_EQ(host.say("info"), information);
    fault({"report", "count", "2", "times", "0"});
    EXPECT_EQ(host.say("atr 0 1"), "0 3B0444455348");
    EXPECT_EQ(host.say(select_application), selected);
    EXPECT_EQ(host.say("close"), "0");
}

TEST_P(Usb, AShortReportIsAFailure) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    fault({"report", "bytes", "02"});
    EXPECT_EQ(host.result("info"), no_answer);
}

TEST_P(Usb, AMuteReaderCostsTheTimeLimit) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    fault({"mute"});
    EXPECT_EQ(host.result("info"), no_answer);
    EXPECT_GE(host.took(), 1000ms);
    no_faults();
    EXPECT_EQ(host.say("info"), information);
}

TEST_P(Usb, ALateAnswerIsWaitedFor) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    fault({"delay", "ms", "300"});
    EXPECT_EQ(host.say("info"), information);
    EXPECT_GE(host.took(), 300ms);
}

TEST_P(Usb, AStalledReportIsAMissingAnswer) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    fault({"stall"});
    EXPECT_EQ(host.result("info"), no_answer);
    EXPECT_EQ(host.say("info"), information);
}

TEST_P(Usb, ASessionLeavesNothingOpen) {
    Host host = this->host();
    const auto session = [&] {
        EXPECT_EQ(host.say("open"), "0");
        EXPECT_EQ(host.say("info"), information);
        EXPECT_EQ(host.say("close"), "0");
    };
    session();
    const std::string files = host.say("files");
    const int threads = host.result("threads");
    for (int round = 0; round < 5; ++round)
        session();
    EXPECT_EQ(host.say("files"), files);
    EXPECT_EQ(host.result("threads"), threads);
    EXPECT_EQ(host.say("release"), "0");
    EXPECT_EQ(host.result("threads"), threads - 1) << "libusb's own has ended";
}

TEST_P(Usb, UnpluggingLeavesNothingOpen) {
    Host host = this->host();
    EXPECT_EQ(host.say("open"), "0");
    const std::string files = host.say("files");
    for (int round = 0; round < 3; ++round) {
        unplug();
        EXPECT_EQ(host.result("info"), no_answer);
        plug();
        reopen(host);
        EXPECT_EQ(host.say("info"), information);
    }
    EXPECT_EQ(host.say("files"), files);
}

INSTANTIATE_TEST_SUITE_P(Hosts, Usb, testing::ValuesIn(programs),
                         [](const auto& program) { return program.param.name; });

}  // namespace
}  // namespace usb_tests
