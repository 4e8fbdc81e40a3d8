// A host at work: it opens the reader on a pseudo-terminal, powers a card, exchanges APDUs, waits
// for a card that never comes and is cancelled from a second thread, and closes. Run plainly, under
// valgrind and under each sanitizer; any finding there or any result here ends it with a failure.
#include <deskreader.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

std::atomic<int> failures{0};

void check(bool holds, const char* what) {
    if (holds) return;
    std::printf("not so: %s\n", what);
    ++failures;
}

// The reader's answers, whole frames as they stand on the wire.
const std::map<std::string, std::string> answers = {
    {"6002E10182\x03", "6005003B02145018\x03"},        // power on: 3B 02 14 50
    {"6007E30100A404000025\x03", "6003009000F3\x03"},  // SELECT: 90 00
    {"6002E20181\x03", "60010061\x03"},                // power off
};

class Reader {
  public:
    Reader() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
        grantpt(master_);
        unlockpt(master_);
        thread_ = std::thread([this] { serve(); });
    }
    ~Reader() {
        stopping_ = true;
        thread_.join();
        close(master_);
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    std::string device() const { return ptsname(master_); }
    int unanswered() const { return unanswered_; }

  private:
    void serve() {
        std::string request;
        while (!stopping_) {
            pollfd line{master_, POLLIN, 0};
            char byte = 0;
            if (poll(&line, 1, 1) <= 0 || (line.revents & POLLIN) == 0 ||
                read(master_, &byte, 1) != 1) {
                usleep(200);
                continue;
            }
            request += byte;
            if (byte != '\x03') continue;
            const auto answer = answers.find(request);
            request.clear();
            if (answer == answers.end()) {
                ++unanswered_;
            } else if (write(master_, answer->second.data(), answer->second.size()) < 0) {
                ++failures;
            }
        }
    }

    int master_;
    std::atomic<bool> stopping_{false};
    std::atomic<int> unanswered_{0};
    std::thread thread_;
};

void use_a_card() {
    char atr[64] = "";
    int length = 0;
    int kind = -1;
    check(RD_IcPowerOn(0, sizeof atr, atr, &length, &kind, 1) == 0, "card powers on");
    check(std::string(atr) == "3B021450" && length == 8 && kind == 0,
          "answer to reset is the card's");
    char response[520] = "";
    check(RD_IcAPDU(0, "00A4040000", 10, 0, response, &length) == 0, "APDU is answered");
    check(std::string(response) == "9000" && length == 4, "status word is the card's");
    check(RD_IcAPDU(0, "00a4", 4, 0, response, &length) == -1007, "lower case is refused");
    check(RD_IcPowerOff(0) == 0, "card powers off");
}

// The contactless power-on is never answered: only a cancel ends the read before its second is
// over.
void cancel_a_wait() {
    std::thread canceller([] {
        for (int round = 0; round < 20; ++round) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            RD_CancelWait();
            COMM_cancle();
        }
    });
    char atr[64] = "";
    int length = 0;
    int kind = -1;
    const auto begin = std::chrono::steady_clock::now();
    const int result = RD_IcPowerOn(1, sizeof atr, atr, &length, &kind, 5);
    check(result != 0, "no card is found");
    check(std::chrono::steady_clock::now() - begin < std::chrono::seconds(3),
          "the wait ends early");
    canceller.join();
}

}  // namespace

int main() {
    Reader reader;
    check(GSetComName(2, reader.device().c_str()) == 0, "port is named");
    check(RD_Open(2, 9600, 0) == 0, "reader opens");
    use_a_card();
    cancel_a_wait();
    check(reader.unanswered() >= 1, "the contactless wait reached the reader");
    check(RD_Close() == 0, "reader closes");
    std::puts(failures == 0 ? "all as expected" : "failed");
    return failures == 0 ? 0 : 1;
}
