// The tool's commands. Each adds itself to the command line and runs with what was given there.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "connection.h"
#include "output.h"

namespace desk_tool {

struct Options {
    LinkOptions link;
    int timeout_s = 10;
    bool json = false;

    // Of single commands.
    std::string slot = "auto";
    std::vector<std::string> apdus;
    std::optional<std::string> new_serial_number;
    std::string amount;
    int beep_duration = 10;
    int card_count = 0;

    int slot_number() const { return slot == "contact" ? 0 : slot == "contactless" ? 1 : 2; }
};

struct Command {
    const char* name;
    const char* help;
    void (*add_options)(CLI::App& command, Options& options);  // null: it has none of its own
    void (*run)(const Options& options, Output& output);
    // The card of the virtual reader's own deck that the command is for; null: what is in it.
    const char* virtual_card = nullptr;
};

void run_info(const Options& options, Output& output);
void run_beep(const Options& options, Output& output);
void run_reset(const Options& options, Output& output);
void run_serial_number(const Options& options, Output& output);
void run_atr(const Options& options, Output& output);
void run_apdu(const Options& options, Output& output);
void run_monitor(const Options& options, Output& output);
void run_card(const Options& options, Output& output);
void run_pay(const Options& options, Output& output);
void run_logs(const Options& options, Output& output);
void run_social_security(const Options& options, Output& output);
void run_tour(const Options& options, Output& output);

}  // namespace desk_tool
