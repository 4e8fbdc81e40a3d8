// A host whose second thread cancels, resets, closes and disconnects at random moments while the
// first one works, over USB HID and over a serial line. Run plainly and under the thread sanitizer.
// Every call must end within its limit, none may harm another, and a healthy session works after
// all of it.
//
//   restless_host ROUNDS [SEED]
#include <deskreader.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <hidapi.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

std::atomic<int> failures{0};

void check(bool holds, const std::string& what) {
    if (holds) return;
    std::printf("not so: %s\n", what.c_str());
    ++failures;
}

// The reader's answers, whole frames as they stand on the wire. It does not answer a contactless
// power-on or a track read: they wait until their limit, or for a cancel.
const std::map<std::string, std::string> answers = {
    {"6002E10182\x03", "6005003B02145018\x03"},        // power on: 3B 02 14 50
    {"6007E30100A404000025\x03", "6003009000F3\x03"},  // SELECT: 90 00
    {"6002E20181\x03", "60010061\x03"},                // power off
};

std::string answer_to(const std::string& request) {
    const auto answer = answers.find(request);
    return answer == answers.end() ? "" : answer->second;
}

class SerialReader {
  public:
    SerialReader() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
        grantpt(master_);
        unlockpt(master_);
        thread_ = std::jthread([this](const std::stop_token& stop) { serve(stop); });
    }
    std::string device() const { return ptsname(master_); }

  private:
    void serve(const std::stop_token& stop) const {
        std::string request;
        while (!stop.stop_requested()) {
            pollfd line{master_, POLLIN, 0};
            char byte = 0;
            if (poll(&line, 1, 1) <= 0 || (line.revents & POLLIN) == 0 ||
                read(master_, &byte, 1) != 1) {
                continue;
            }
            request += byte;
            if (byte != '\x03') continue;
            // What an ended exchange left of itself does not count.
            const std::string answer = answer_to(
                request.substr(std::min(request.rfind("60", request.size() - 1), request.size())));
            const std::string whole = answer.empty() ? answer_to(request) : answer;
            request.clear();
            if (!whole.empty() && write(master_, whole.data(), whole.size()) < 0) ++failures;
        }
    }

    int master_;
    std::jthread thread_;
};

// The USB bus: one device, and how many have it open.
struct Bus {
    std::mutex mutex;
    std::string request;
    std::deque<std::string> reports;
    std::atomic<int> open{0};
} bus;

// Names its use of a device after the device was closed.
void check_open(const hid_device* device) {
    check(device == reinterpret_cast<hid_device*>(&bus) && bus.open > 0, "the device is open");
}

}  // namespace

// The bus in the place of hidapi's.
extern "C" hid_device* hid_open(unsigned short, unsigned short, const wchar_t*) {
    const std::lock_guard lock(bus.mutex);
    bus.request.clear();
    bus.reports.clear();
    ++bus.open;
    return reinterpret_cast<hid_device*>(&bus);
}

extern "C" void hid_close(hid_device* device) {
    check_open(device);
    --bus.open;
}

extern "C" int hid_write(hid_device* device, const unsigned char* report, std::size_t size) {
    check_open(device);
    const std::lock_guard lock(bus.mutex);
    bus.request.append(reinterpret_cast<const char*>(report) + 3, report[2]);
    if (!bus.request.ends_with('\x03')) return static_cast<int>(size);
    const std::string answer = answer_to(bus.request);
    if (!answer.empty()) {
        std::string input(64, '\0');
        answer.copy(input.data() + 2, 62);
        bus.reports.push_back(input);
    }
    bus.request.clear();
    return static_cast<int>(size);
}

extern "C" int hid_read_timeout(hid_device* device, unsigned char* out, std::size_t size,
                                int timeout_ms) {
    check_open(device);
    const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
    do {
        {
            const std::lock_guard lock(bus.mutex);
            if (!bus.reports.empty()) {
                const std::size_t length =
                    bus.reports.front().copy(reinterpret_cast<char*>(out), size);
                bus.reports.pop_front();
                return static_cast<int>(length);
            }
        }
        std::this_thread::sleep_for(200us);
    } while (Clock::now() < end);
    return 0;
}

// The library pauses for 200 ms after a cancel and 100 ms between looks for a card. Here such a
// pause is one of milliseconds, so that thousands of rounds take seconds.
extern "C" int usleep(useconds_t duration) {
    std::this_thread::sleep_for(std::chrono::microseconds(duration / 100));
    return 0;
}

namespace {

// Runs a call and holds it to its limit and one second more, for a busy machine.
template <class Call>
int timed(const char* name, std::chrono::milliseconds limit, Call call) {
    const auto begin = Clock::now();
    const int result = call();
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    check(took < limit + 1s,
          std::string(name) + " ends in time, not after " + std::to_string(took.count()) + " ms");
    return result;
}

int power_on(int slot, int timeout_s) {
    char atr[512] = "";
    int length = 0;
    int kind = 0;
    return RD_IcPowerOn(slot, sizeof atr, atr, &length, &kind, timeout_s);
}

int select() {
    char response[2048] = "";
    int length = 0;
    return RD_IcAPDU(0, "00A4040000", 10, 0, response, &length);
}

int read_tracks() {
    char two[512] = "";
    char three[512] = "";
    int length2 = 0;
    int length3 = 0;
    return RD_ReadMagCard(0, 23, 0, nullptr, nullptr, sizeof two, two, &length2, sizeof three,
                          three, &length3, 1);
}

// What the first thread does; any result is right, but each call has to end.
void work(int port, std::mt19937& random) {
    timed("RD_Open", 3s, [&] { return RD_Open(port, 9600, 0); });
    switch (random() % 4) {
        case 0:
            timed("RD_IcPowerOn", 2s, [] { return power_on(0, 1); });
            timed("RD_IcAPDU", 3s, select);
            timed("RD_IcPowerOff", 1s, [] { return RD_IcPowerOff(0); });
            break;
        case 1:
            timed("RD_IcPowerOn", 2s, [] { return power_on(1, 1); });
            break;
        case 2:
            timed("RD_ReadMagCard", 1s, read_tracks);
            break;
        default:
            timed("RD_Beep", 1s, [] { return RD_Beep(5, 1, 1); });
    }
    timed("RD_Close", 3s, RD_Close);
}

void interfere(std::mt19937& random, bool disconnects) {
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
    switch (random() % 8) {
        case 0:
            timed("RD_CancelWait", 0s, RD_CancelWait);
            break;
        case 1:
            timed("RD_Cancel", 200ms, RD_Cancel);
            break;
        case 2:
            COMM_cancle();
            break;
        case 3:
            timed("Ovan_Cancel", 200ms, Ovan_Cancel);
            break;
        case 4:
            timed("RD_Reset", 1s, RD_Reset);
            break;
        case 5:
            // Forgets an open device without closing it, which costs a descriptor each time.
            if (disconnects) timed("RD_DisConnect", 1s, RD_DisConnect);
            break;
        default:
            timed("RD_Close", 3s, RD_Close);
    }
}

int open_descriptors() {
    int count = 0;
    for (int file = 0; file < 4096; ++file)
        count += fcntl(file, F_GETFD) >= 0 ? 1 : 0;
    return count;
}

void be_restless(int port, int rounds, unsigned seed, bool disconnects) {
    std::atomic<int> interferences{0};
    std::jthread second([&](const std::stop_token& stop) {
        std::mt19937 random(seed + 1);
        for (; !stop.stop_requested(); ++interferences)
            interfere(random, disconnects);
    });
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round)
        work(port, random);
    second = {};
    std::printf("%s: %d rounds, %d times cancelled, reset or closed\n",
                port == 0 ? "USB HID" : "serial", rounds, interferences.load());
}

void be_calm(int port) {
    RD_Close();
    check(RD_Open(port, 9600, 0) == 0, "the reader opens");
    check(power_on(0, 1) == 0, "the card powers on");
    check(select() == 0, "the APDU is answered");
    check(RD_Close() == 0, "the reader closes");
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 100;
    const auto seed = static_cast<unsigned>(argc > 2 ? std::atoi(argv[2]) : 1);
    const SerialReader reader;
    GSetComName(2, reader.device().c_str());
    for (const int port : {0, 2}) {
        be_calm(port);
        const int before = open_descriptors();
        be_restless(port, rounds, seed, false);
        be_calm(port);
        check(open_descriptors() == before, "no descriptor is left open");
        check(bus.open == 0, "no device is left open");
    }
    be_restless(0, rounds / 4, seed, true);
    std::puts(failures == 0 ? "all as expected" : "failed");
    return failures == 0 ? 0 : 1;
}
