// The tool's commands. Each adds itself to the command line and runs with what was given there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "explain_options.h"
#include "link.h"
#include "output.h"

namespace CLI {
class App;
}

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

    // Of stripes. No tracks: those that the command reads otherwise.
    std::string tracks;
    std::optional<std::string> track2;
    std::optional<std::string> track3;

    // Of identity cards.
    std::optional<std::string> photo;  // a file to write

    // Of MIFARE cards. No sector: all of them.
    std::vector<std::string> keys;
    std::string key_type = "A";
    std::string size = "1K";
    int sector = 0;
    int block = 0;
    int page = 0;
    int page_count = 1;
    std::string data;
    std::int32_t value = 0;
    int change = 0;
    bool system = false;  // write also what is no plain data

    // Of stress. Neither count nor time: until it is told to stop.
    std::string work = "info";
    int repetitions = 0;
    int duration_s = 0;

    // Of recordings.
    std::string recording;
    bool unmasked = false;
    std::vector<std::string> host;  // a command with its arguments

    // Of help and completion: words behind the command, and what they are about.
    std::vector<std::string> topic;
    std::string shell;
    const CLI::App* app = nullptr;

    ExplainOptions explain;

    int slot_number() const { return slot == "contact" ? 0 : slot == "contactless" ? 1 : 2; }
};

struct Command {
    const char* name;  // behind its groups, as in "track read"
    const char* help;
    const char* examples;  // a line each, without the tool's name; null: its options tell
    void (*add_options)(CLI::App& command, Options& options);  // null: it has none of its own
    void (*run)(const Options& options, Output& output);
    // The card of the virtual reader's own deck that the command is for; null: what is in it.
    const char* virtual_card = nullptr;
    // Whether Ctrl-C is its own matter: it calls no reader itself.
    bool leaves_signals = false;
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
void run_track_read(const Options& options, Output& output);
void run_track_write(const Options& options, Output& output);
void run_track_number(const Options& options, Output& output);
void run_identity(const Options& options, Output& output);
void run_classic_dump(const Options& options, Output& output);
void run_classic_read(const Options& options, Output& output);
void run_classic_write(const Options& options, Output& output);
void run_classic_value_read(const Options& options, Output& output);
void run_classic_value_write(const Options& options, Output& output);
void run_classic_value_increase(const Options& options, Output& output);
void run_classic_value_decrease(const Options& options, Output& output);
void run_ultralight_read(const Options& options, Output& output);
void run_ultralight_write(const Options& options, Output& output);
void run_ultralight_verify(const Options& options, Output& output);
void run_doctor(const Options& options, Output& output);
void run_stress(const Options& options, Output& output);
void run_record(const Options& options, Output& output);
void run_help(const Options& options, Output& output);
void run_completion(const Options& options, Output& output);
void run_tour(const Options& options, Output& output);
void run_decode(const Options& options, Output& output);
void run_log(const Options& options, Output& output);

}  // namespace desk_tool
