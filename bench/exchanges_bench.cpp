// exchanges_bench DIRECTORY ROUNDS CALLS [PORT DAEMON]: exchanges and whole flows beside the bare
// links, and beside a card behind pcscd where the port of its vpcd and the daemon's process are
// given. One JSON object a line goes out.
#include <deskreader.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "deck.h"
#include "issuer_host.h"
#include "kit/allocations.h"
#include "kit/bytes.h"
#include "kit/canned_reader.h"
#include "kit/frames.h"
#include "kit/system_calls.h"
#include "links/serial_reader.h"
#include "links/usb_port.h"
#include "measure.h"
#include "peers.h"

namespace {

using kit::Bytes;
using virtual_reader::Timing;

constexpr char read_record[] = "00B2010C00";
constexpr int serial_port = 3;
constexpr int true_rate = 115200;
constexpr std::size_t response_size = 64;

void require(bool holds, const std::string& what) {
    if (!holds) throw std::runtime_error(what);
}

struct Plan {
    std::string directory;
    int rounds = 0;
    int calls = 0;
    int port = 0;    // of vpcd, or 0
    int daemon = 0;  // process of pcscd
};

// One call, measured in rounds that it shares with others.
struct Subject {
    std::string row;
    std::function<void()> call;
    bool counts = true;  // allocations and system calls too
    bench::Series series{};
};

void print(const Subject& subject) {
    std::printf("{\"row\": \"%s\", \"median\": %lld, \"tail\": %lld, \"cpu\": %lld",
                subject.row.c_str(), static_cast<long long>(subject.series.median()),
                static_cast<long long>(subject.series.tail()),
                static_cast<long long>(subject.series.cpu()));
    if (subject.counts) {
        const unsigned long before = kit::allocations();
        subject.call();
        std::printf(", \"allocations\": %lu", kit::allocations() - before);
        if (const auto calls = kit::system_calls_of(subject.call))
            std::printf(", \"system_calls\": %zu", calls->size());
    }
    std::puts("}");
    std::fflush(stdout);
}

void measure(const Plan& plan, int calls, std::vector<Subject> subjects) {
    for (const Subject& subject : subjects)
        subject.call();
    for (int round = 0; round < plan.rounds; ++round) {
        for (Subject& subject : subjects)
            subject.series.round(calls, subject.call);
    }
    for (const Subject& subject : subjects)
        print(subject);
}

void configure(const Plan& plan, int iccmd, int rate = 9600) {
    const std::string path = plan.directory + "/config.ini";
    std::ofstream(path) << "[log]\nloglevel=1\nsaveday=15\n[devcfg]\nDevBaud=" << rate
                        << "\nIdChange=1\nIdBaud=" << rate << "\nIcBaud=" << rate
                        << "\nIccmd=" << iccmd << "\ndevtype=0\n";
    GSetConfigFilePath(path.c_str());
}

void read_config() {
    int value = 0;
    GGetConfigInt("devcfg", "Iccmd", 0, &value);
}

void exchange_here() {
    char response[1024];
    int length = 0;
    require(RD_IcAPDU(0, read_record, 10, 0, response, &length) == 0 &&
                length == static_cast<int>(2 * response_size),
            "RD_IcAPDU");
}

struct Frame {
    const char* name;
    int iccmd;
    Bytes request;
    Bytes answer;
};

Bytes response() {
    return kit::join({Bytes(response_size - 2, 0x5A), kit::hex("90 00")});
}

std::vector<Frame> frames() {
    const Bytes apdu = kit::hex(read_record);
    return {{"IC frame", 0, kit::ic_frame(kit::join({kit::hex("E3 01"), apdu})),
             kit::ic_frame(kit::join({kit::hex("00"), response()}))},
            {"Union frame", 1, kit::union_frame(kit::join({kit::hex("32 26 00"), apdu})),
             kit::union_frame(kit::join({kit::hex("00 00"), response()}))}};
}

// An open connection for as long as it is needed. Without delay the card is no matter.
class Connection {
  public:
    Connection(int port, int rate) {
        DC_Init(&context);
        require(Ovan_Open(&context, port, rate, 0) == 0, "the reader opens");
    }
    ~Connection() { Ovan_Close(&context); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
};

std::string row_of(const char* what, const char* link, const Frame& frame, const char* timing) {
    return std::string(what) + "/" + link + "/" + frame.name + "/" + timing;
}

constexpr char at_once[] = "at once";
constexpr char true_wire[] = "true wire";

void exchanges_at_once(const Plan& plan, const bench::PcscPeer* pcsc) {
    const Bytes apdu = kit::hex(read_record);
    for (const Frame& frame : frames()) {
        configure(plan, frame.iccmd);
        const auto beside = [&](const char* link, std::function<void()> floor,
                                std::function<void()> polling = nullptr) {
            std::vector<Subject> subjects = {
                {row_of("exchange", link, frame, at_once), exchange_here},
                {row_of("floor", link, frame, at_once), std::move(floor)},
                {row_of("config", link, frame, at_once), read_config}};
            if (polling) {
                subjects.push_back(
                    {row_of("polled floor", link, frame, at_once), std::move(polling), false});
            }
            if (pcsc != nullptr) {
                subjects.push_back({row_of("pcscd", link, frame, at_once),
                                    [pcsc, &apdu] { pcsc->transmit(apdu); }});
            }
            measure(plan, plan.calls, std::move(subjects));
        };
        {
            kit::CannedUsb reader(frame.answer);
            const Connection connection(0, 0);
            const bench::BareUsb bare;
            beside("USB", [&] { bare.exchange(frame.request, frame.answer.size()); });
        }
        kit::CannedLine reader(frame.answer);
        GSetComName(serial_port, reader.device().c_str());
        const Connection connection(serial_port, 9600);
        const bench::BareLine bare(reader.device());
        beside(
            "serial", [&] { bare.exchange(frame.request, frame.answer.size()); },
            [&] { bare.exchange_polling(frame.request, frame.answer.size()); });
    }
}

// The virtual reader with a card that answers with as many bytes.
std::string deck() {
    return R"({ "reader": { "baud": )" + std::to_string(true_rate) + R"( }, "cards": [
      { "type": "iso", "name": "records", "inserted": true, "files": [
        { "id": "EF01", "sfi": 1, "records": [{"hex": ")" +
           kit::to_hex(Bytes(response_size - 2, 0x5A)) + R"("}] } ] } ] })";
}

void power_card() {
    char answer[512];
    int length = 0;
    int kind = 0;
    require(RD_IcPowerOn(0, sizeof answer, answer, &length, &kind, 2) == 0, "the card answers");
}

// What goes over the bus in a flow: the reports there, then how many came back, and the bytes in
// all of them.
struct Step {
    std::vector<Bytes> reports;
    Bytes request;
    int answers = 0;
    std::size_t answer_size = 0;
};

class VirtualUsb final : public kit::HidDevice {
  public:
    VirtualUsb(std::string_view deck, Timing timing)
        : reader_(virtual_reader::reader_from_deck(deck, "deck of the benchmark")),
          port_(*reader_, virtual_reader::steady_now, timing) {
        kit::hid_bus::plug(*this);
    }
    ~VirtualUsb() override { kit::hid_bus::unplug(*this); }
    VirtualUsb(const VirtualUsb&) = delete;
    VirtualUsb& operator=(const VirtualUsb&) = delete;

    int write(std::span<const std::uint8_t> report) override {
        if (recording_) {
            if (steps_.empty() || steps_.back().answers > 0) steps_.emplace_back();
            Step& step = steps_.back();
            step.reports.emplace_back(report.begin(), report.end());
            const auto payload = report.subspan(3, report[2]);
            step.request.insert(step.request.end(), payload.begin(), payload.end());
        }
        return port_.write_report(report);
    }
    int read(std::span<std::uint8_t> out, int timeout_ms) override {
        const auto report = port_.read_report(std::chrono::milliseconds(timeout_ms));
        if (!report) return 0;
        if (recording_ && !steps_.empty()) {
            ++steps_.back().answers;
            steps_.back().answer_size += (*report)[1];
        }
        std::copy(report->begin(), report->end(), out.begin());
        return static_cast<int>(report->size());
    }

    std::vector<Step> record(const std::function<void()>& flow) {
        steps_.clear();
        recording_ = true;
        flow();
        recording_ = false;
        return steps_;
    }

    virtual_reader::UsbPort& port() { return port_; }

  private:
    std::unique_ptr<virtual_reader::Reader> reader_;
    virtual_reader::UsbPort port_;
    std::vector<Step> steps_;
    bool recording_ = false;
};

// The same exchange, answered by the virtual reader.
void exchanges_of_the_virtual_reader(const Plan& plan) {
    for (const Frame& frame : frames()) {
        configure(plan, frame.iccmd);
        const VirtualUsb reader(deck(), Timing::at_once);
        const Connection connection(0, 0);
        power_card();
        const bench::BareUsb bare;
        const char* link = "USB, virtual reader";
        measure(plan, plan.calls,
                {{row_of("exchange", link, frame, at_once), exchange_here, false},
                 {row_of("floor", link, frame, at_once),
                  [&] { bare.exchange(frame.request, frame.answer.size()); }, false},
                 {row_of("config", link, frame, at_once), read_config, false}});
    }
}

void exchanges_on_a_true_wire(const Plan& plan) {
    constexpr int calls = 20;
    for (const Frame& frame : frames()) {
        configure(plan, frame.iccmd);
        const auto beside = [&](const char* link, std::function<void()> floor) {
            power_card();
            measure(plan, calls,
                    {{row_of("exchange", link, frame, true_wire), exchange_here, false},
                     {row_of("floor", link, frame, true_wire), std::move(floor), false}});
        };
        {
            const VirtualUsb reader(deck(), Timing::true_to_wire);
            const Connection connection(0, 0);
            const bench::BareUsb bare;
            beside("USB", [&] { bare.exchange(frame.request, frame.answer.size()); });
        }
        virtual_reader::SerialReader reader(virtual_reader::reader_from_deck(deck(), "benchmark"),
                                            Timing::true_to_wire);
        GSetComName(serial_port, reader.device().c_str());
        const Connection connection(serial_port, true_rate);
        const bench::BareLine bare(reader.device());
        beside("serial", [&] { bare.exchange(frame.request, frame.answer.size()); });
    }
}

// Flows

void read_information() {
    char information[3627];
    require(RD_ICGetInfo(0, "ABCDEFGHIJKLMN", 0, information, 2) == 0, "RD_ICGetInfo");
}

void read_identity() {
    char information[545];
    int length = 0;
    require(RD_ReadIdInfo_Pic(nullptr, 0, information, &length, 2) == 0, "RD_ReadIdInfo_Pic");
}

constexpr char transaction[] =
    "P012000000001250Q012000000000000R0040156S006261121T00200U006120000V020DESKREADER          ";

// With the issuer behind the card, whose time is in it.
void purchase() {
    char information[3627];
    char request[2401] = "";
    int kind = 0;
    require(RD_ICGetInfo(0, "AJ", 0, information, 2) == 0, "RD_ICGetInfo");
    require(RD_ICGenARQC(0, transaction, 2400, request, &kind, 2) == 0, "RD_ICGenARQC");
    const auto answer = virtual_reader::IssuerHost().authorise(request);
    char result[65] = "";
    char cryptogram[1025] = "";
    require(
        RD_ICExeScript_TC(kind, transaction, answer.text.c_str(), 64, result, 0, cryptogram) == 0,
        "RD_ICExeScript_TC");
}

void replay(const bench::BareUsb& bare, const std::vector<Step>& steps) {
    for (const Step& step : steps) {
        for (const Bytes& report : step.reports)
            bare.write(report);
        for (int answer = 0; answer < step.answers; ++answer)
            bare.read();
    }
}

// Over a serial line nobody answers to a change of the mode.
void replay(const bench::BareLine& bare, const std::vector<Step>& steps) {
    constexpr std::uint8_t escape = 0x1B;
    for (const Step& step : steps)
        bare.exchange(step.request, step.request.front() == escape ? 0 : step.answer_size);
}

struct Flow {
    const char* name;
    const char* card;
    std::function<void()> call;
    std::vector<Step> steps{};
};

std::vector<Flow> all_flows() {
    return {{"RD_ICGetInfo", "bank", read_information},
            {"purchase", "bank", purchase},
            {"RD_ReadIdInfo_Pic", "resident", read_identity}};
}

const char* name_of(Timing timing) {
    return timing == Timing::at_once ? at_once : true_wire;
}

template <class Bare>
void measure_flow(const Plan& plan, const Flow& flow, const char* link, Timing timing,
                  const Bare& bare) {
    const std::string where = std::string("/") + flow.name + "/" + link + "/" + name_of(timing);
    measure(plan, timing == Timing::at_once ? 20 : 2,
            {{"flow" + where, flow.call, false},
             {"flow floor" + where, [&] { replay(bare, flow.steps); }, false}});
    std::printf("{\"row\": \"flow steps%s\", \"exchanges\": %zu}\n", where.c_str(),
                flow.steps.size());
}

// The purchase is with the card that is put in, not with the one that the deck begins with.
void put_in(virtual_reader::Reader& reader, const char* card) {
    reader.remove_all();
    reader.insert(card);
}

// Also notes what goes over the link, the rates among it.
void flows_over_usb(const Plan& plan, std::vector<Flow>& flows, Timing timing) {
    configure(plan, 0, true_rate);
    VirtualUsb reader(virtual_reader::default_deck(), timing);
    const Connection connection(0, 0);
    const bench::BareUsb bare;
    for (Flow& flow : flows) {
        reader.port().with_reader([&](auto& one) { put_in(one, flow.card); });
        flow.call();
        flow.steps = reader.record(flow.call);
        measure_flow(plan, flow, "USB", timing, bare);
    }
}

// With the same bytes.
void flows_over_serial(const Plan& plan, const std::vector<Flow>& flows, Timing timing) {
    configure(plan, 0, true_rate);
    virtual_reader::SerialReader reader(
        virtual_reader::reader_from_deck(virtual_reader::default_deck(), "built-in deck"), timing);
    GSetComName(serial_port, reader.device().c_str());
    require(RD_Open(serial_port, 9600, 0) == 0, "the reader opens");
    const bench::BareLine bare(reader.device());
    for (const Flow& flow : flows) {
        reader.with_reader([&](auto& one) { put_in(one, flow.card); });
        measure_flow(plan, flow, "serial", timing, bare);
    }
    RD_Close();
}

void flows(const Plan& plan, Timing timing) {
    std::vector<Flow> flows = all_flows();
    flows_over_usb(plan, flows, timing);
    flows_over_serial(plan, flows, timing);
}

// Processor time that a process had so far, of all its threads.
long long cpu_of(int process) {
    long long sum = 0;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        long long spent = 0;
        std::ifstream(thread.path() / "schedstat") >> spent;
        sum += spent;
    }
    return sum;
}

void daemon_cpu(const Plan& plan, const bench::PcscPeer& pcsc) {
    const Bytes apdu = kit::hex(read_record);
    const long long before = cpu_of(plan.daemon);
    for (int i = 0; i < plan.calls; ++i)
        pcsc.transmit(apdu);
    std::printf("{\"row\": \"pcscd daemon\", \"cpu\": %lld}\n",
                (cpu_of(plan.daemon) - before) / plan.calls);
}

void run(const Plan& plan) {
    GSetLogLevel(1);
    GSetLogFilePath((plan.directory + "/desk.log").c_str());
    std::unique_ptr<bench::PcscPeer> pcsc;
    if (plan.port != 0) pcsc = std::make_unique<bench::PcscPeer>(plan.port, response());
    exchanges_at_once(plan, pcsc.get());
    if (pcsc) daemon_cpu(plan, *pcsc);
    exchanges_of_the_virtual_reader(plan);
    flows(plan, Timing::at_once);
    exchanges_on_a_true_wire(plan);
    flows(plan, Timing::true_to_wire);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) return 2;
    try {
        run({argv[1], std::atoi(argv[2]), std::atoi(argv[3]), argc > 4 ? std::atoi(argv[4]) : 0,
             argc > 5 ? std::atoi(argv[5]) : 0});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "exchanges_bench: %s\n", error.what());
        return 1;
    }
}
