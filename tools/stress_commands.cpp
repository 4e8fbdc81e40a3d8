// stress: one exchange, again and again, counted and timed.
#include <deskreader.h>

#include <chrono>
#include <map>

#include <fmt/core.h>

#include "calls.h"
#include "commands.h"
#include "connection.h"
#include "exit_status.h"
#include "live_line.h"
#include "text.h"
#include "timings.h"
#include "waiting.h"

namespace desk_tool {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto repaint_after = 100ms;
constexpr int beep_duration = 1;

// What is repeated. A card that it needs is powered on before the first time, and again after a
// failure.
class Work {
  public:
    explicit Work(const Options& options) : options_(options) {
        if (is_on_card() && options.apdus.empty())
            throw MisuseError("--what apdu needs at least one APDU");
        if (!is_on_card() && !options.apdus.empty()) throw MisuseError("an APDU needs --what apdu");
    }
    ~Work() {
        if (slot_ >= 0) RD_IcPowerOff(slot_);
    }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

    void prepare() {
        if (!is_on_card() || slot_ >= 0) return;
        slot_ = power_on(options_.slot_number(), options_.timeout_s).contactless ? 1 : 0;
    }

    void repeat() {
        if (options_.work == "info") device_information();
        if (options_.work == "sn") serial_number();
        if (options_.work == "beep") beep(beep_duration);
        if (options_.work == "atr") power_off(power_on(options_.slot_number(), 1).contactless);
        if (is_on_card()) exchange_next();
    }

    void forget_card() { slot_ = -1; }

  private:
    bool is_on_card() const { return options_.work == "apdu"; }

    void exchange_next() {
        desk_tool::exchange(slot_, upper(options_.apdus[next_]));
        next_ = (next_ + 1) % options_.apdus.size();
    }

    const Options& options_;
    int slot_ = -1;
    std::size_t next_ = 0;
};

struct Failures {
    std::string call;
    int count = 0;
};

// A reader that answers nothing and cannot be opened either is no longer there.
bool is_gone(std::optional<Connection>& connection, const Options& options) {
    try {
        device_information();
        return false;
    } catch (const ReaderError&) {
        // It may be its line that has to be opened anew.
    }
    const Link link = options.link.chosen();
    const bool is_own = link.is_virtual() || link.kind == LinkKind::replay;
    if (is_own) return false;
    try {
        connection.reset();
        connection.emplace(options.link);
        return false;
    } catch (const ReaderError&) {
        return true;
    }
}

class Stress {
  public:
    Stress(const Options& options, Output& output) : options_(options), output_(output) {}

    void go();

  private:
    bool is_over();
    void repeat(Work& work);
    void take_failure(Work& work, const ReaderError& error);
    void paint();
    void report();

    const Options& options_;
    Output& output_;
    std::optional<Connection> connection_;
    Timings timings_;
    std::map<int, Failures> failures_;
    int attempts_ = 0;
    int failed_ = 0;
    Clock::time_point begin_ = Clock::now();
    Clock::time_point painted_ = begin_;
    const char* end_ = nullptr;  // why it is over
};

bool Stress::is_over() {
    const auto passed = Clock::now() - begin_;
    if (interrupted()) end_ = "interrupted";
    if (options_.repetitions > 0 && attempts_ >= options_.repetitions) end_ = "count";
    if (options_.duration_s > 0 && passed >= std::chrono::seconds(options_.duration_s))
        end_ = "time";
    return end_ != nullptr;
}

void Stress::repeat(Work& work) {
    ++attempts_;
    try {
        work.prepare();
        const auto begin = Clock::now();
        work.repeat();
        const std::chrono::duration<double, std::milli> took = Clock::now() - begin;
        timings_.add(took.count());
    } catch (const ReaderError& error) {
        if (interrupted()) return;
        take_failure(work, error);
    }
}

void Stress::take_failure(Work& work, const ReaderError& error) {
    ++failed_;
    Failures& known = failures_[error.number()];
    known.call = error.call();
    ++known.count;
    work.forget_card();
    if (is_gone(connection_, options_)) end_ = "unplugged";
}

void Stress::paint() {
    if (Clock::now() - painted_ < repaint_after) return;
    painted_ = Clock::now();
    live_line::show(fmt::format("{} exchanges, {} failed, median {:.1f} ms, Ctrl-C ends", attempts_,
                                failed_, timings_.median()));
}

void Stress::report() {
    output_.field("exchanges", "exchanges", attempts_);
    output_.field("failed", "failed", failed_);
    for (const auto& [number, failures] : failures_) {
        cJSON* object = cJSON_CreateObject();
        cJSON_AddStringToObject(object, "call", failures.call.c_str());
        cJSON_AddNumberToObject(object, "number", number);
        cJSON_AddNumberToObject(object, "count", failures.count);
        output_.row("failures", object,
                    fmt::format("  {:>6}  {}: {} {}", failures.count, failures.call, number,
                                name_of(number)));
    }
    if (timings_.count() > 0) {
        output_.milliseconds("minimum_ms", "minimum", timings_.minimum());
        output_.milliseconds("median_ms", "median", timings_.median());
        output_.milliseconds("maximum_ms", "maximum", timings_.maximum());
    }
    output_.field("ended", "ended by", end_);
}

void Stress::go() {
    Work work(options_);
    connection_.emplace(options_.link);
    begin_ = Clock::now();
    while (end_ == nullptr && !is_over()) {
        repeat(work);
        paint();
    }
    live_line::clear();
    report();
    if (failed_ > 0) output_.end_with(failed);
}

}  // namespace

void run_stress(const Options& options, Output& output) {
    Stress(options, output).go();
}

}  // namespace desk_tool
