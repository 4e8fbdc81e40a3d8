// doctor: looks after everything that a reader needs, and says what to do.
#include <deskreader.h>

#include <algorithm>
#include <array>

#include <fmt/core.h>

#include "commands.h"
#include "doctor.h"
#include "exit_status.h"

namespace desk_tool {
namespace {

using doctor::Finding;
using doctor::Findings;
using doctor::State;

const char* name_of(State state) {
    return state == State::ok ? "ok" : state == State::warning ? "warning" : "problem";
}

std::string library_directory() {
    std::array<char, 1024> path{};
    GGetDllPath(path.size(), path.data());
    return path.data();
}

int log_level() {
    int level = 1;
    GGetConfigInt("log", "loglevel", 1, &level);
    return level;
}

bool needs_usb(const LinkOptions& options) {
    try {
        return options.chosen().kind == LinkKind::usb;
    } catch (const MisuseError&) {
        return true;  // what would be used without it
    }
}

Findings examine(const LinkOptions& options) {
    Findings findings;
    const std::string directory = library_directory();
    doctor::check_library(findings);
    doctor::check_companions(findings);
    doctor::check_config(directory + "/config.ini", findings);
    if (!doctor::check_log(directory + "/log", log_level(), findings)) GSetLogLevel(0);
    doctor::check_udev_rule(findings);
    doctor::check_usb(needs_usb(options), findings);
    doctor::check_serial_ports(findings);
    doctor::check_link(options, findings);
    doctor::check_reader(options, findings);
    return findings;
}

void report(const Finding& finding, Output& output) {
    cJSON* object = cJSON_CreateObject();
    cJSON_AddStringToObject(object, "state", name_of(finding.state));
    cJSON_AddStringToObject(object, "subject", finding.subject);
    cJSON_AddStringToObject(object, "text", finding.text.c_str());
    if (!finding.advice.empty()) cJSON_AddStringToObject(object, "advice", finding.advice.c_str());
    std::string line =
        fmt::format("{:<9}{:<14}{}", name_of(finding.state), finding.subject, finding.text);
    if (!finding.advice.empty()) line += fmt::format("\n{:<23}-> {}", "", finding.advice);
    output.row("checks", object, line);
}

}  // namespace

void run_doctor(const Options& options, Output& output) {
    const Findings findings = examine(options.link);
    for (const Finding& finding : findings)
        report(finding, output);
    const auto problems = std::ranges::count(findings, State::problem, &Finding::state);
    const auto warnings = std::ranges::count(findings, State::warning, &Finding::state);
    output.field("problems", "problems", static_cast<int>(problems));
    output.field("warnings", "warnings", static_cast<int>(warnings));
    if (problems > 0) output.end_with(unhealthy);
}

}  // namespace desk_tool
