// deskreader: the reader from a command line. A host like any other: it knows the library by its
// public header alone.
#include <clocale>
#include <exception>
#include <string>

#include "commands.h"

namespace {

using namespace desk_tool;

enum ExitStatus { succeeded = 0, failed = 1, misused = 2 };

void add_slot(CLI::App& command, Options& options) {
    command.add_option("--slot", options.slot, "contact, contactless or auto (default)")
        ->check(CLI::IsMember({"contact", "contactless", "auto"}));
}

void add_apdus(CLI::App& command, Options& options) {
    add_slot(command, options);
    command.add_option("apdu", options.apdus, "Commands in hexadecimal, sent one after the other")
        ->required();
}

void add_beep(CLI::App& command, Options& options) {
    command.add_option("duration", options.beep_duration, "How long (10)")
        ->check(CLI::Range(0, 9999));
}

void add_serial_number(CLI::App& command, Options& options) {
    command
        .add_option("--set", options.new_serial_number,
                    "Write this one first, at most 32 characters")
        ->check([](const std::string& text) {
            return text.size() <= 32 ? "" : "longer than 32 characters";
        });
}

void add_payment(CLI::App& command, Options& options) {
    add_slot(command, options);
    command.add_option("amount", options.amount, "What to pay, for example 12.50")
        ->required()
        ->check([](const std::string& text) {
            const std::size_t point = text.find('.');
            const std::string cents = point == std::string::npos ? "" : text.substr(point + 1);
            const std::string digits = text.substr(0, point) + cents;
            const bool valid = point != 0 && text.size() - cents.size() <= 11 &&
                               cents.size() <= 2 &&
                               digits.find_first_not_of("0123456789") == std::string::npos;
            return valid ? "" : "expected an amount of at most 9999999999.99";
        });
}

void add_monitor(CLI::App& command, Options& options) {
    add_slot(command, options);
    command.add_option("--count", options.card_count, "End after so many cards")
        ->check(CLI::Range(1, 1000000));
}

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
    {"tour", "Go through a session step by step, against the built-in virtual cards", nullptr,
     run_tour},
};

void add_global_options(CLI::App& app, Options& options, CLI::Option*& virtual_option) {
    auto* usb = app.add_flag("--usb", options.link.use_usb, "Use the USB reader (the default)");
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
    virtual_option->excludes(usb)->excludes(port);
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
    for (const Command& command : commands) {
        CLI::App* added = app.add_subcommand(command.name, command.help);
        if (command.add_options != nullptr) command.add_options(*added, options);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? succeeded : misused;
    }
    options.link.use_virtual = virtual_option->count() > 0;
    for (const Command& command : commands) {
        if (!app.got_subcommand(command.name)) continue;
        choose_card(command, options);
        return run(command, options);
    }
    return misused;
}
