// Every function against every trouble on both links: a defined result, nothing written outside of
// the documented buffers, the references to the device as they must be, no descriptor left open,
// and a reader that works once the trouble is over.
#include <deskreader.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>

#include <unistd.h>

#include "kit/working_directory.h"
#include "robustness/bench.h"
#include "robustness/calls.h"
#include "robustness/results.h"

namespace {

using kit::Link;
using namespace robustness;

// A trouble: a fault, or a card in the place of the one that the call expects.
struct Trouble {
    const char* fault;
    const char* card = nullptr;
    bool is_long = false;  // thousands of exchanges
};

constexpr Trouble troubles[] = {
    {"drop at 3"},
    {"drop count 0"},
    {"delay ms 500"},
    {"delay ms 5000"},
    {"duplicate"},
    {"duplicate at 2 count 2"},
    {"truncate at 1"},
    {"truncate at 7"},
    {"corrupt at 4 bytes 01"},
    {"corrupt at 5 count 0"},
    {"reorder"},
    {"split"},
    {"split ms 40"},
    {"merge"},
    {"noise bytes 03"},
    {"noise bytes 6002FF3F1C"},
    {"noise bytes AAAAAA9669"},
    {"trail bytes 0303AAFF"},
    {"preamble"},
    {"length bytes 00"},
    {"length bytes 0000"},
    {"length bytes FF"},
    {"length bytes FFB0"},
    {"length bytes FF00"},
    {"length bytes FFFF"},
    {"length"},
    {"check"},
    {"status bytes C3"},
    {"status bytes 7777"},
    {"status bytes FFFFFF"},
    {"report"},
    {"report count 3 bytes 02"},
    {"report bytes 023E"},
    {"mute"},
    {"mute at 5"},
    {"unplug"},
    {"unplug at 4"},
    {nullptr, "sizes"},
    {nullptr, "lengths"},
    {nullptr, "endless-61"},
    {nullptr, "endless-62"},
    {nullptr, "endless-6C"},
    {nullptr, "records", true},
    {nullptr, "logs", true},
    {nullptr, "names"},
    {nullptr, "lists"},
};

// Which answers a fault spoils.
constexpr const char* occasions[] = {"", " after 2", " times 0"};

// The combination under test, for the case that the program does not survive it.
char current[256];
struct sigaction before_us;

void report_and_die(int, siginfo_t*, void*) {
    [[maybe_unused]] const auto told = write(STDERR_FILENO, current, std::strlen(current));
    sigaction(SIGSEGV, &before_us, nullptr);
}

class Matrix : public testing::TestWithParam<Link> {
  protected:
    void SetUp() override {
        GSetLogLevel(0);
        struct sigaction action {};
        action.sa_sigaction = report_and_die;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, &before_us);
        RD_Close();
    }
    void TearDown() override {
        sigaction(SIGSEGV, &before_us, nullptr);
        std::printf("%d combinations of a call and a trouble\n", combinations_);
        RecordProperty("combinations", combinations_);
    }

    // The reader as a call expects it.
    void prepare(const Call& call, int frame) {
        config_.write("[devcfg]\nIccmd=" + std::to_string(frame) + "\nIdChange=1\n");
        bench_.insert("bank");
        bench_.insert("locker");
        bench_.insert(call.card);
        // Ends a wait that an earlier call gave up, and the mode in which it was.
        g_Bp = 0;
    }

    // What a host has done before: the card powered, selected, authenticated.
    void approach(const Call& call) {
        const std::string_view card = call.card;
        unsigned char answer[512];
        int length = 0;
        if (card == "bank" || card == "purse") {
            const auto name =
                card == "bank" ? kit::hex("A000000333010101") : kit::hex("F04445534B50");
            IC_PowerOn(&context, answer, &length, 1000);
            PBOC_SelectAID(&context, 0, name.data(), static_cast<int>(name.size()), answer,
                           &length);
        } else if (card == "visitor") {
            IC_RFPowerOn(&context, answer, &length, 1000);
        } else if (card == "locker") {
            constexpr unsigned char key[] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0x00};
            M1_PowerOn(&context, answer, &length, 1000);
            M1_Verify(&context, 2, 0, key, 1000);
        } else if (card == "resident" && std::string_view(call.name).starts_with("ID_")) {
            Ovan_ChangeMode(&context, 2);
            ID_FindCard(&context, 1000);
            ID_SelectCard(&context, 1000);
        }
    }

    void open_for(const Call& call) {
        if (call.leaves == Leaves::opened_and_closed) return;
        ASSERT_EQ(RD_Open(bench_.port(), 9600, 0), 0);
        approach(call);
    }

    void set_trouble(const Trouble& trouble, const char* occasion) {
        if (trouble.fault != nullptr) {
            bench_.add_fault(std::string(trouble.fault) + occasion);
        } else {
            bench_.insert(trouble.card);
            bench_.with_reader([](auto& reader) { reader.ic().power_on({false, 0}); });
        }
        bench_.hurry();
    }

    int run(const Call& call) {
        const std::string name = bench_.port_name();
        Surroundings surroundings{buffers_, bench_.port(), name.c_str()};
        return call.run(surroundings);
    }

    void expect_references(const Call& call) {
        const unsigned expected = call.leaves == Leaves::as_it_was ? 1 : 0;
        EXPECT_EQ(context.nRefCnt, expected);
    }

    // The reader works.
    void expect_health() {
        char info[256] = "";
        int length = 0;
        EXPECT_EQ(RD_Open(bench_.port(), 9600, 0), 0);
        int result = RD_GetDevInfo(0, info, &length);
        // Beside other work on the machine the reader's thread may have been too late.
        for (int tries = 0; tries < 2 && result == -1013; ++tries)
            result = RD_GetDevInfo(0, info, &length);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(std::string(info), "DESK READER VIRTUAL 1.0");
        EXPECT_EQ(RD_Close(), 0);
        EXPECT_EQ(context.nRefCnt, 0u);
    }

    void try_out(const Call& call, const Trouble& trouble, const char* occasion, int frame) {
        const char* what = trouble.fault != nullptr ? trouble.fault : trouble.card;
        std::snprintf(current, sizeof current, "in %s with %s%s, Iccmd %d\n", call.name, what,
                      occasion, frame);
        SCOPED_TRACE(current);
        ++combinations_;
        prepare(call, frame);
        const int files = open_descriptors();
        open_for(call);
        const DEVCONTEXT opened = context;
        set_trouble(trouble, occasion);
        const int result = run(call);
        EXPECT_TRUE(is_defined(result, call.is_terminal)) << result;
        EXPECT_TRUE(buffers_.reset()) << "written before a buffer";
        expect_references(call);
        if (call.leaves == Leaves::forgotten) opened.pOps->close(opened.pDevice);
        RD_Close();
        bench_.heal();
        expect_health();
        EXPECT_EQ(open_descriptors(), files);
        EXPECT_EQ(kit::hid_bus::counts().opens, kit::hid_bus::counts().closes);
    }

    kit::WorkingDirectory directory_;
    kit::ConfigFile config_;
    Bench bench_{GetParam()};
    GuardedBuffers buffers_;
    int combinations_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Links, Matrix, testing::Values(Link::hid, Link::serial), kit::link_name);

// All of them with DESKREADER_FULL_MATRIX; otherwise a share that reaches each call and each
// trouble.
TEST_P(Matrix, EveryCallSurvivesEveryTrouble) {
    const bool all = std::getenv("DESKREADER_FULL_MATRIX") != nullptr;
    const std::size_t share = all ? 1 : GetParam() == Link::hid ? 11 : 53;
    std::size_t number = 0;
    for (const Call& call : all_calls()) {
        for (const Trouble& trouble : troubles) {
            for (const char* occasion : occasions) {
                if (trouble.fault == nullptr && occasion != occasions[0]) continue;
                for (const int frame : {0, 1}) {
                    if (number++ % share != 0) continue;
                    if (trouble.is_long && GetParam() == Link::serial && !all) continue;
                    try_out(call, trouble, occasion, frame);
                    ASSERT_FALSE(HasFatalFailure());
                }
            }
        }
    }
}

// Calls that a working reader or card refuses: commands that the IC frame does not have, functions
// of another library, cryptograms that nobody made, and a card without a fingerprint.
struct Refusal {
    std::string_view name;
    int result;
};

constexpr Refusal refusals[] = {
    {"RD_Beep", -1008},
    {"RD_CardDetect", -1008},
    {"RD_ICExeScript_TC", -4109},
    {"RD_ICExeScript", -4109},
    {"RD_M0PowerOn", -1008},
    {"RD_M0PowerOff", -1008},
    {"RD_M0Read", -1008},
    {"RD_M0Write", -1008},
    {"RD_M0VerifyKey", -1008},
    {"RD_M0DownKey", -1008},
    {"PBOC_GenerateAC", -99},
    {"PBOC_ExternalAuth", -99},
    {"PBOC_ExternalAuth_Sh", -99},
    {"PBOC_DeliveryKey", -99},
    {"PBOC_CryptData", -99},
    {"PBOC_ChangePin", -99},
    {"EPED_Verify", -99},
    {"EPED_UpdateBinary", -99},
    {"EPED_InitForLoad", -99},
    {"EPED_Load", -99},
    {"EPED_InitForPurchase", -99},
    {"EPED_Purchase", -99},
    {"M1_ReadValue", -5006},
    {"IC_Beep", -1008},
    {"IC_CardDetect", -1008},
    {"ID_ReadCard_FP", -3001},
    {"ID_GetBmpFile", -1},
    {"RD_ICExeScript_KP", -4109},
    {"IC_CtlScriptData", -30},
};

// Without a trouble nearly all calls succeed, so that the matrix is about more than refusals.
TEST_P(Matrix, CallsSucceedOnAWorkingReader) {
    for (const Call& call : all_calls()) {
        SCOPED_TRACE(call.name);
        prepare(call, 0);
        open_for(call);
        const DEVCONTEXT opened = context;
        const auto refused =
            std::ranges::find(refusals, std::string_view(call.name), &Refusal::name);
        const int result = run(call);
        if (refused == std::end(refusals)) {
            EXPECT_GE(result, 0);
        } else {
            EXPECT_EQ(result, refused->result);
        }
        EXPECT_TRUE(buffers_.reset());
        expect_references(call);
        if (call.leaves == Leaves::forgotten) opened.pOps->close(opened.pDevice);
        RD_Close();
        bench_.heal();
    }
}

// The functions that the matrix is about are those of the list of exports.
TEST(MatrixTable, HasEveryFunction) {
    std::set<std::string> names;
    for (const Call& call : all_calls()) {
        const std::string name = call.name;
        names.insert(name.substr(0, name.find(' ')));
    }
    std::ifstream exports(EXPORTS);
    int counted = 0;
    for (std::string name; std::getline(exports, name);) {
        const bool is_meant = std::ranges::any_of(
            std::vector{"RD_", "PBOC_", "EPED_", "MSR_", "M1_", "ID_", "IC_", "MS_"},
            [&](const char* family) { return name.starts_with(family); });
        if (!is_meant) continue;
        ++counted;
        EXPECT_TRUE(names.contains(name)) << name;
    }
    EXPECT_GE(counted, 150);
}

}  // namespace
