// deskreader: the reader from a command line. A host like any other: it knows the library by its
// public header alone.
#include <algorithm>
#include <clocale>
#include <exception>
#include <string>
#include <vector>

#include "command_options.h"
#include "commands.h"

namespace {

using namespace desk_tool;

enum ExitStatus { succeeded = 0, failed = 1, misused = 2 };

constexpr Command commands[] = {
    {"info", "Show the reader's information and serial number", nullptr, run_info},
    {"beep", "Sound the beeper", add_beep, run_beep},
    {"reset", "Reset the reader", nullptr, run_reset},
    {"sn", "Read the serial number, or write it", add_serial_number, run_serial_number},
    {"atr", "Wait for a card and show its answer to reset", add_slot, run_atr},
    {"apdu", "Wait for a card and exchange commands with it", add_apdus, run_apdu},
    {"monitor", "Show cards as they come, until Ctrl-C", add_monitor, run_monitor},
    {"card", "Show what a payment card tells everybody", add_slot, run_card, "bank"},
    {"pay", "Pay with a card, through the issuer's host that goes with the virtual cards",
     add_payment, run_pay, "bank"},
    {"logs", "Show the payments and loads that a payment card keeps", add_slot, run_logs, "bank"},
    {"ssc", "Show a social security card", add_slot, run_social_security, "citizen"},
    {"track read", "Read tracks", add_tracks, run_track_read, "loyalty"},
    {"track write", "Write tracks 2 and 3", add_track_texts, run_track_write, "loyalty"},
    {"track number", "Read the card number", add_tracks, run_track_number, "loyalty"},
    {"id", "Show an identity card", add_photo, run_identity, "resident"},
    {"m1 dump", "Read all sectors that the keys open", add_classic_dump, run_classic_dump,
     "locker"},
    {"m1 read", "Read a block", add_block, run_classic_read, "locker"},
    {"m1 write", "Write a block", add_classic_write, run_classic_write, "locker"},
    {"m1 value read", "Read a value", add_block, run_classic_value_read, "locker"},
    {"m1 value write", "Make a block a value block", add_classic_value, run_classic_value_write,
     "locker"},
    {"m1 value increase", "Add to a value", add_classic_change, run_classic_value_increase,
     "locker"},
    {"m1 value decrease", "Subtract from a value", add_classic_change, run_classic_value_decrease,
     "locker"},
    {"m0 read", "Read pages", add_ultralight_read, run_ultralight_read, "ticket"},
    {"m0 write", "Write a page", add_ultralight_write, run_ultralight_write, "ticket"},
    {"m0 verify", "Authenticate with the card's key", add_ultralight_verify, run_ultralight_verify,
     "ticket"},
    {"tour", "Go through a session step by step, against the built-in virtual cards", nullptr,
     run_tour},
};

struct Group {
    const char* name;
    const char* help;
};

constexpr Group groups[] = {
    {"track", "Magnetic stripes: read, write, number"},
    {"m1", "MIFARE Classic cards: dump, read, write, value"},
    {"m1 value", "Value blocks: read, write, increase, decrease"},
    {"m0", "MIFARE Ultralight C cards: read, write, verify"},
};

// The group of a name, which is added when its first command is.
CLI::App& group_of(CLI::App& app, const std::string& name) {
    const std::size_t end = name.rfind(' ');
    if (end == std::string::npos) return app;
    const std::string path = name.substr(0, end);
    CLI::App& above = group_of(app, path);
    const std::string own = path.substr(path.rfind(' ') + 1);
    const auto known =
        above.get_subcommands([&](const CLI::App* one) { return one->get_name() == own; });
    if (!known.empty()) return *known.front();
    const auto* group = std::ranges::find(groups, path, &Group::name);
    CLI::App* added = above.add_subcommand(own, group->help);
    added->require_subcommand(1);
    return *added;
}

CLI::App* add_command(CLI::App& app, const Command& command, Options& options) {
    const std::string name = command.name;
    CLI::App* added =
        group_of(app, name).add_subcommand(name.substr(name.rfind(' ') + 1), command.help);
    if (command.add_options != nullptr) command.add_options(*added, options);
    return added;
}

void add_global_options(CLI::App& app, Options& options, CLI::Option*& virtual_option) {
    auto* usb = app.add_flag(
        "--usb", options.link.use_usb,
        "Use the USB reader (the default). With --virtual, let that be one: needs root and\n"
        "the kernel module vhci-hcd");
    auto* port = app.add_option("--port", options.link.port,
                                "Use the reader on a serial device, for example ttyS1");
    app.add_option("--baud", options.link.baud, "Rate of the serial device (9600)")
        ->check(CLI::Range(1200, 115200));
    app.add_option("--timeout", options.timeout_s,
                   "Seconds to wait for a card (10), 0 waits without end")
        ->check(CLI::Range(0, 1000000));
    virtual_option = app.add_option("--virtual", options.link.deck,
                                    "Start a virtual reader, with a deck or its own cards")
                         ->expected(0, 1);
    app.add_option("--card", options.link.card, "Put this card of the deck into the virtual reader")
        ->needs(virtual_option);
    app.add_flag("--json", options.json, "Print one JSON object");
    port->excludes(usb);
    virtual_option->excludes(port);
}

int run(const Command& command, const Options& options) {
    Output output(options.json);
    int status = succeeded;
    try {
        command.run(options, output);
    } catch (const ReaderError& error) {
        output.failure(error);
        status = failed;
    } catch (const std::exception& error) {
        output.failure(error.what());
        status = failed;
    }
    return output.finish() ? status : failed;
}

// What the command needs in the virtual reader, when nobody chose a deck or a card.
void choose_card(const Command& command, Options& options) {
    const bool chosen = !options.link.deck.empty() || !options.link.card.empty();
    if (options.link.use_virtual && !chosen && command.virtual_card != nullptr)
        options.link.card = command.virtual_card;
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    CLI::App app{
        "The card reader on the command line.\n"
        "Exit status: 0 done, 1 failed, 2 wrong use. Monitoring that is interrupted is done."};
    app.require_subcommand(1);
    app.fallthrough();
    Options options;
    CLI::Option* virtual_option = nullptr;
    add_global_options(app, options, virtual_option);
    std::vector<CLI::App*> added;
    for (const Command& command : commands)
        added.push_back(add_command(app, command, options));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? succeeded : misused;
    }
    options.link.use_virtual = virtual_option->count() > 0;
    const auto given = std::ranges::find_if(added, &CLI::App::parsed);
    if (given == added.end()) return misused;
    const Command& command = commands[given - added.begin()];
    choose_card(command, options);
    return run(command, options);
}
