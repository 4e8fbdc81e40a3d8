// tour: what a counter application does with the reader, step by step, timed and checked.
#include <deskreader.h>

#include <chrono>
#include <functional>

#include <fmt/core.h>

#include "calls.h"
#include "commands.h"

namespace desk_tool {
namespace {

using Clock = std::chrono::steady_clock;

// What the virtual reader's built-in deck holds.
constexpr char expected_information[] = "DESK READER VIRTUAL 1.0";
constexpr char expected_serial_number[] = "DR2026000001";
constexpr char expected_atr[] = "3B0444455348";
constexpr char select_application[] = "00A4040006F04445534B01";
constexpr char expected_selection[] = "6F088406F04445534B019000";
constexpr char read_first_record[] = "00B2010C00";
constexpr char expected_record[] = "4D454D42455220303030319000";  // MEMBER 0001

class Tour {
  public:
    explicit Tour(Output& output) : output_(output) {}

    // One step: its name, the call it shows, and what it brings.
    void step(const char* what, const char* call, const std::function<std::string()>& action) {
        const auto begin = Clock::now();
        const std::string result = action();
        const std::chrono::duration<double, std::milli> took = Clock::now() - begin;
        cJSON* object = cJSON_CreateObject();
        cJSON_AddStringToObject(object, "step", what);
        cJSON_AddStringToObject(object, "call", call);
        cJSON_AddStringToObject(object, "result", result.c_str());
        cJSON_AddNumberToObject(object, "milliseconds", took.count());
        output_.row(
            "steps", object,
            fmt::format("  {:<20} {:<14} {:>8.1f} ms   {}", what, call, took.count(), result));
    }

  private:
    Output& output_;
};

std::string expect(const std::string& found, const char* expected) {
    if (found != expected) throw ToolError(fmt::format("expected {}, found {}", expected, found));
    return found;
}

}  // namespace

void run_tour(const Options& options, Output& output) {
    Tour tour(output);
    std::optional<Connection> connection;
    tour.step("connect", "RD_Open", [&] { return connection.emplace(options.link).name(); });
    tour.step("information", "RD_GetDevInfo",
              [] { return expect(device_information(), expected_information); });
    tour.step("serial number", "RD_GetDevSn",
              [] { return expect(serial_number(), expected_serial_number); });
    tour.step("beep", "RD_Beep", [] { return beep(10), std::string("heard"); });
    tour.step("wait for a card", "RD_IcPowerOn",
              [&] { return "ATR " + expect(power_on(0, options.timeout_s).atr, expected_atr); });
    tour.step("SELECT", "RD_IcAPDU",
              [] { return expect(exchange(0, select_application), expected_selection); });
    tour.step("READ RECORD 1", "RD_IcAPDU", [] {
        const std::string record = expect(exchange(0, read_first_record), expected_record);
        return readable(record.substr(0, record.size() - 4));
    });
    tour.step("power off", "RD_IcPowerOff", [] { return power_off(0), std::string("done"); });
    tour.step("close", "RD_Close", [&] { return connection.reset(), std::string("done"); });
}

}  // namespace desk_tool
