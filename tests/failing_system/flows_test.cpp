// Every flow with every call to the system failing once: a stated result, nothing kept that should
// have been given back, and the same flow works right after.
//
// The normal run takes a share of the calls that a flow makes very often, and one manner of failing
// for each; with DESKREADER_FULL_MATRIX=1 in the environment all of them. A single one runs with
// what a failed test names, for example DESKREADER_FAILURE="apdu HidIcFrame read 3 EIO"
// --gtest_filter=*IsSurvived*.
#include "failing_system/flows.h"

#include <deskreader.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>

#include <unistd.h>

#include "failing_system/system.h"
#include "kit/child.h"
#include "kit/scratch.h"
#include "robustness/results.h"

extern "C" void __sanitizer_set_death_callback(void (*callback)()) __attribute__((weak));

namespace {

using namespace failing_system;

// The failure under test, for the case that the program does not survive it.
char trouble[256];

void say_trouble() {
    [[maybe_unused]] const auto told = write(STDERR_FILENO, trouble, std::strlen(trouble));
}

void say_trouble_and_die(int signal_number) {
    say_trouble();
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
}

std::string name_of(const kit::Way& way) {
    return kit::way_name({way, 0});
}

struct Wanted {
    std::string flow, way, function, manner;
    int number = 0;
};

std::optional<Wanted> wanted_failure() {
    const char* text = std::getenv("DESKREADER_FAILURE");
    if (text == nullptr) return std::nullopt;
    Wanted wanted;
    std::istringstream(text) >> wanted.flow >> wanted.way >> wanted.function >> wanted.number >>
        wanted.manner;
    return wanted;
}

class FailingSystem : public testing::TestWithParam<std::tuple<kit::Way, Flow>> {
  protected:
    void SetUp() override {
        for (const int signal_number : {SIGSEGV, SIGABRT, SIGALRM})
            std::signal(signal_number, say_trouble_and_die);
        if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(say_trouble);
    }
    void TearDown() override {
        alarm(0);
        for (const int signal_number : {SIGSEGV, SIGABRT, SIGALRM})
            std::signal(signal_number, SIG_DFL);
        std::printf("%d combinations of a flow and a failing call\n", combinations_);
        RecordProperty("combinations", combinations_);
    }

    static kit::Way way() { return std::get<0>(GetParam()); }
    static const Flow& flow() { return std::get<1>(GetParam()); }
    static bool is_serial() { return way().link == kit::Link::serial; }

    struct Run {
        Watched watched;
        std::vector<Result> results;
    };

    Run run(const Failure& failure = {}) {
        DC_Init(&context);
        g_Bp = 0;
        Desk desk(way());
        desk.insert(flow().card);
        const int files = robustness::open_descriptors();
        Run done;
        constexpr unsigned longest = 50;  // seconds
        alarm(longest);
        done.watched = watch([&] { flow().run(desk); }, failure, [&] { desk.hurry(); });
        alarm(0);
        done.results = desk.results();
        EXPECT_TRUE(desk.buffers_are_intact()) << "written before a buffer";
        EXPECT_EQ(context.nRefCnt, 0u);
        EXPECT_EQ(context.iOpen, 0);
        EXPECT_EQ(kit::hid_bus::counts().opens, kit::hid_bus::counts().closes);
        EXPECT_EQ(robustness::open_descriptors(), files);
        return done;
    }

    // What the flow brings while nothing fails. Beside other work on the machine a reader on a
    // line may answer too late.
    Run clean_run(const std::vector<Result>* expected = nullptr) {
        Run clean = run();
        for (int tries = 0; tries < 3 && expected != nullptr && clean.results != *expected; ++tries)
            clean = run();
        EXPECT_EQ(clean.watched.held, Held{});
        EXPECT_FALSE(clean.watched.would_stop);
        return clean;
    }

    void try_out(const Failure& failure, const std::vector<Result>& expected) {
        std::snprintf(trouble, sizeof trouble, "DESKREADER_FAILURE=\"%s %s %.*s %d %.*s\"\n",
                      flow().name, name_of(way()).c_str(),
                      static_cast<int>(failure.function.size()), failure.function.data(),
                      failure.number, static_cast<int>(failure.manner.name.size()),
                      failure.manner.name.data());
        SCOPED_TRACE(trouble);
        ++combinations_;
        const Run failed = run(failure);
        // On a line what is read in one piece is a matter of time.
        EXPECT_TRUE(failed.watched.failed || is_serial()) << "the call was not made";
        for (const auto& [number, is_terminal] : failed.results)
            EXPECT_TRUE(robustness::is_defined(number, is_terminal)) << number;
        Held held = failed.watched.held;
        // Kept: a decoder that failed stays loaded.
        if (failure.function == "dlsym" && held.libraries == 1) held.libraries = 0;
        EXPECT_EQ(held, Held{}) << held.allocations << " allocations, " << held.descriptors
                                << " descriptors, " << held.streams << " streams, "
                                << held.directories << " directories, " << held.libraries
                                << " libraries";
        // Kept: a log that cannot be opened stops the host at its next message.
        EXPECT_FALSE(failed.watched.would_stop && failure.function != "fopen");
        EXPECT_EQ(clean_run(&expected).results, expected);
    }

    // Of calls that are made very often a share.
    bool is_in_share(int number, int count) const {
        const int most = is_serial() ? 4 : 12;
        return count <= most || number <= most / 2 || number % (count / (most / 2) + 1) == 0;
    }

    void try_all(const Run& clean, bool all) {
        for (const auto& [name, manners] : functions()) {
            const auto counted = clean.watched.calls.find(name);
            const int count = counted == clean.watched.calls.end() ? 0 : counted->second;
            for (int number = 1; number <= count; ++number) {
                if (!all && !is_in_share(number, count)) continue;
                for (std::size_t manner = 0; manner < manners.size(); ++manner) {
                    const bool is_due = all || count <= 2 ||
                                        manner == static_cast<std::size_t>(number) % manners.size();
                    if (is_due) try_out({name, number, manners[manner]}, clean.results);
                }
            }
        }
    }

    void try_one(const Run& clean, const Wanted& wanted) {
        for (const auto& [name, manners] : functions()) {
            if (name != wanted.function) continue;
            for (const Manner& manner : manners) {
                if (manner.name == wanted.manner)
                    try_out({name, wanted.number, manner}, clean.results);
            }
        }
    }

    int combinations_ = 0;
};

std::string test_name(const testing::TestParamInfo<std::tuple<kit::Way, Flow>>& info) {
    std::string name = std::get<1>(info.param).name;
    std::ranges::replace(name, '-', '_');
    return name_of(std::get<0>(info.param)) + "_" + name;
}

std::vector<Flow> flows_that(bool need_a_reader) {
    std::vector<Flow> some;
    std::ranges::copy_if(flows(), std::back_inserter(some), [need_a_reader](const Flow& flow) {
        return flow.needs_reader == need_a_reader;
    });
    return some;
}

INSTANTIATE_TEST_SUITE_P(Flows, FailingSystem,
                         testing::Combine(kit::every_way, testing::ValuesIn(flows_that(true))),
                         test_name);
INSTANTIATE_TEST_SUITE_P(FlowsWithoutReader, FailingSystem,
                         testing::Combine(testing::Values(kit::Way{kit::Link::hid, 0}),
                                          testing::ValuesIn(flows_that(false))),
                         test_name);

TEST_P(FailingSystem, IsSurvived) {
    const bool all = std::getenv("DESKREADER_FULL_MATRIX") != nullptr;
    const auto wanted = wanted_failure();
    if (wanted) {
        if (wanted->way != name_of(way()) || wanted->flow != flow().name)
            GTEST_SKIP() << "not asked for";
        try_one(clean_run(), *wanted);
        return;
    }
    // On either link one of the frames, unless all are asked for.
    if (!all && (way().iccmd == 1) != is_serial()) GTEST_SKIP() << "not in this share";
    try_all(clean_run(), all);
}

// Without a failure the flows succeed, so that the rest is about more than refusals.
TEST_P(FailingSystem, IsAbsent) {
    const Run clean = clean_run();
    EXPECT_FALSE(clean.watched.calls.empty());
    const bool has_refusals = std::string_view(flow().name) == "messages";  // below its level
    for (const auto& [number, is_terminal] : clean.results)
        EXPECT_TRUE(number >= 0 || (has_refusals && number == -22)) << number;
}

// What is not given back is seen, and what a host would wait for.
TEST(FailingSystemWatch, SeesWhatIsKept) {
    const kit::ScratchDirectory directory;
    const kit::LogFile log(1);
    const std::string path = directory / "file";
    std::FILE* file = nullptr;
    int* memory = nullptr;
    const Watched watched = watch([&] {
        file = GOpenFile(path.c_str(), 4);
        memory = static_cast<int*>(std::malloc(sizeof(int)));
        GLogE("%s", "");
        GLogE("%s", "");
    });
    EXPECT_EQ(watched.held, (Held{.allocations = 1, .streams = 1}));
    EXPECT_TRUE(watched.would_stop) << "kept: an empty message leaves the lock taken";
    EXPECT_EQ(watched.calls.at("fopen"), 3);
    EXPECT_FALSE(watched.failed);
    std::free(memory);
    GCloseFile(file);
    EXPECT_EQ(GLogE("the lock is free again"), 0);
}

std::set<std::string> names_of_objects(const std::string& which) {
    const std::string command = "nm -P " + which + " @" OBJECTS;
    std::set<std::string> names;
    std::FILE* pipe = popen(command.c_str(), "r");
    char line[1024];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        const std::string_view text = line;
        names.emplace(text.substr(0, text.find(' ')));
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return names;
}

// Whatever the library calls either fails here or never does.
TEST(FailingSystemWatch, StandsInTheWayOfEveryCall) {
    std::set<std::string> known;
    std::istringstream words(
        WRAPPED_FUNCTIONS
        " atoi clock_gettime context difftime dirfd dlerror exit fileno localtime_r memchr memcmp"
        " memcpy memmove memset mktime pthread_mutex_trylock rand snprintf sprintf srand sscanf "
        "strchr strcmp strcpy"
        " strlen strnlen strrchr strtol time usleep");
    for (std::string word; words >> word;)
        known.insert(word);
    const auto own = names_of_objects("--defined-only");
    const auto needed = names_of_objects("--undefined-only");
    EXPECT_TRUE(needed.contains("ppoll"));
    for (const std::string& name : needed) {
        if (name.starts_with('_') || own.contains(name)) continue;
        EXPECT_TRUE(known.contains(name)) << name;
    }
}

// Kept: no memory for base64 ends the host.
TEST(FailingMemory, EndsTheHostWhereBase64NeedsIt) {
    const auto end = kit::run_in_child(std::chrono::seconds(10), [] {
        unsigned char data[] = {1, 2, 3};
        watch([&] { std::free(base64_encode(data, sizeof data)); },
              {"malloc", 1, {"ENOMEM", ENOMEM}});
        kit::leave_child(1);
    });
    EXPECT_EQ(end.exit_status, 0);
}

}  // namespace
