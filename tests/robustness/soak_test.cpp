// Exchanges without end, one in fifty with a fault, and nothing that grows. DESKREADER_SOAK in the
// environment tells how many; the ordinary run has a few.
#include <deskreader.h>

#include <cstdlib>
#include <fstream>
#include <iostream>

#include <malloc.h>
#include <unistd.h>

#include "kit/scratch.h"
#include "robustness/bench.h"

namespace {

using kit::Link;
using robustness::Bench;

constexpr int fault_every = 50;

const char* const faults[] = {
    "drop at 4 count 3",    "delay ms 40", "duplicate",       "truncate at 5",
    "corrupt at 3 count 2", "reorder",     "split count 1",   "noise bytes 6060FF03",
    "trail bytes 363003",   "preamble",    "length bytes FF", "check",
    "status bytes 7E",      "mute",        "mute at 6",       "unplug at 3",
    "report count 3",
};

int exchanges_wanted() {
    const char* text = std::getenv("DESKREADER_SOAK");
    return text == nullptr ? 3000 : std::atoi(text);
}

// What must not grow.
struct Held {
    int descriptors;
    std::size_t heap;      // bytes in use
    std::size_t resident;  // bytes of memory

    static Held now() {
        std::size_t pages = 0;
        std::size_t resident = 0;
        std::ifstream("/proc/self/statm") >> pages >> resident;
        return {robustness::open_descriptors(), mallinfo2().uordblks,
                resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE))};
    }
};

class Soak : public testing::TestWithParam<Link> {
  protected:
    // With a card that is powered.
    void open() {
        ASSERT_EQ(RD_Open(bench_.port(), 9600, 0), 0);
        char atr[512] = "";
        int length = 0;
        int kind = 0;
        ASSERT_EQ(RD_IcPowerOn(0, sizeof atr, atr, &length, &kind, 2), 0);
    }

    static int exchange() {
        char response[2048] = "";
        int length = 0;
        return RD_IcAPDU(0, "00A404000E315041592E5359532E4444463031", 38, 0, response, &length);
    }

    void exchange_with(const char* fault) {
        bench_.add_fault(fault);
        bench_.hurry();
        exchange();
        RD_Close();
        bench_.heal();
        open();
    }

    // Begins and ends in the same state, with every fault at least as often as the others.
    void work(int exchanges) {
        for (int i = 1; i <= exchanges && !HasFatalFailure(); ++i) {
            if (i % fault_every == 0) {
                exchange_with(
                    faults[static_cast<std::size_t>(i / fault_every) % std::size(faults)]);
                ++spoiled_;
            } else {
                ASSERT_EQ(exchange(), 0) << "exchange " << i;
            }
        }
    }

    kit::ConfigFile config_;
    kit::LogFile log_{1};
    Bench bench_{GetParam()};
    int spoiled_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Links, Soak, testing::Values(Link::hid, Link::serial), kit::link_name);

TEST_P(Soak, MemoryAndDescriptorsStayFlat) {
    open();
    work(static_cast<int>(std::size(faults)) * fault_every);  // what is allocated once is there now
    const Held before = Held::now();
    spoiled_ = 0;
    const int exchanges = exchanges_wanted();
    work(exchanges);
    const Held after = Held::now();
    RD_Close();
    std::cout << exchanges << " exchanges, " << spoiled_ << " with a fault: descriptors "
              << before.descriptors << " and " << after.descriptors << ", heap " << before.heap
              << " and " << after.heap << " bytes, resident " << before.resident / 1024 << " and "
              << after.resident / 1024 << " KiB\n";
    EXPECT_EQ(after.descriptors, before.descriptors);
    // Buffers of the virtual reader may find their final size late.
    EXPECT_LT(after.heap, before.heap + 4096) << "however long it runs";
    EXPECT_LT(after.resident, before.resident + 1024 * 1024);
}

}  // namespace
