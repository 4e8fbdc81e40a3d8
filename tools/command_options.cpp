#include "command_options.h"

#include <CLI/CLI.hpp>

#include "track_calls.h"

namespace desk_tool {
namespace {

constexpr char hex_digits[] = "0123456789abcdefABCDEF";

CLI::Validator hex_text(std::size_t digits) {
    return {[digits](const std::string& text) -> std::string {
                const bool valid = text.size() == digits &&
                                   text.find_first_not_of(hex_digits) == std::string::npos;
                return valid ? "" : "expected " + std::to_string(digits) + " hexadecimal digits";
            },
            "HEX"};
}

void add_keys(CLI::App& command, Options& options) {
    command
        .add_option("--key", options.keys,
                    "Key of the sector (FFFFFFFFFFFF); of several, the first that fits")
        ->check(hex_text(12))
        ->allow_extra_args(false);
    command.add_option("--key-type", options.key_type, "A (default) or B")
        ->check(CLI::IsMember({"A", "B"}));
}

void add_ultralight_key(CLI::App& command, Options& options, bool required) {
    command.add_option("--key", options.keys, "The card's key, to authenticate with first")
        ->check(hex_text(32))
        ->expected(1)
        ->allow_extra_args(false)
        ->required(required);
}

void add_page(CLI::App& command, Options& options) {
    add_ultralight_key(command, options, false);
    command.add_option("page", options.page, "The page's number")
        ->required()
        ->check(CLI::Range(0, 255));
}

void add_system(CLI::App& command, Options& options) {
    command.add_flag("--system", options.system, "Write also what is no plain data");
}

}  // namespace

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
            if (text.empty()) return "expected 1 to 32 characters";
            return text.size() <= 32 ? "" : "longer than 32 characters";
        });
}

void add_payment(CLI::App& command, Options& options) {
    add_slot(command, options);
    command.add_option("amount", options.amount, "What to pay, for example 12.50")
        ->required()
        ->check([](const std::string& text) {
            const std::size_t point = text.find('.');
            const std::string whole = text.substr(0, point);
            const std::string cents = point == std::string::npos ? "" : text.substr(point + 1);
            const bool valid = !whole.empty() && whole.size() <= 10 && cents.size() <= 2 &&
                               (whole + cents).find_first_not_of("0123456789") == std::string::npos;
            return valid ? "" : "expected an amount of at most 9999999999.99";
        });
}

void add_monitor(CLI::App& command, Options& options) {
    add_slot(command, options);
    command.add_option("--count", options.card_count, "End after so many cards")
        ->check(CLI::Range(1, 1000000));
}

void add_tracks(CLI::App& command, Options& options) {
    command.add_option("--tracks", options.tracks, "Which tracks, as digits")
        ->check(CLI::IsMember({"1", "2", "3", "12", "13", "23", "123"}));
}

void add_track_texts(CLI::App& command, Options& options) {
    const auto writable = [](const std::string& text) {
        return is_track_text(text) ? "" : "expected 1 to 120 of the characters 0123456789='@#:";
    };
    command.add_option("--track2", options.track2, "Text of track 2")->check(writable);
    command.add_option("--track3", options.track3, "Text of track 3")->check(writable);
    command.require_option(1, 2);
}

void add_photo(CLI::App& command, Options& options) {
    command.add_option("--photo", options.photo, "Write the photo to this file, a BMP")
        ->type_name("FILE");
}

void add_classic_dump(CLI::App& command, Options& options) {
    add_keys(command, options);
    command.add_option("--size", options.size, "Size of the card, 1K (default) or 4K")
        ->check(CLI::IsMember({"1K", "4K"}));
    command.add_option("--sector", options.sector, "Only this sector")->check(CLI::Range(1, 40));
}

void add_block(CLI::App& command, Options& options) {
    add_keys(command, options);
    command.add_option("block", options.block, "The block's number")
        ->required()
        ->check(CLI::Range(1, 255));
}

void add_classic_write(CLI::App& command, Options& options) {
    add_block(command, options);
    command.add_option("data", options.data, "16 bytes in hexadecimal")
        ->required()
        ->check(hex_text(32));
    add_system(command, options);
}

void add_classic_value(CLI::App& command, Options& options) {
    add_block(command, options);
    command.add_option("value", options.value, "The value; write -- before a negative one")
        ->required();
}

void add_classic_change(CLI::App& command, Options& options) {
    add_block(command, options);
    command.add_option("amount", options.change, "By how much")
        ->required()
        ->check(CLI::Range(1, 2147483647));
}

void add_ultralight_read(CLI::App& command, Options& options) {
    add_page(command, options);
    command.add_option("--count", options.page_count, "How many pages (1)")
        ->check(CLI::Range(1, 48));
}

void add_ultralight_write(CLI::App& command, Options& options) {
    add_page(command, options);
    command.add_option("data", options.data, "4 bytes in hexadecimal")
        ->required()
        ->check(hex_text(8));
    add_system(command, options);
}

void add_ultralight_verify(CLI::App& command, Options& options) {
    add_ultralight_key(command, options, true);
}

void add_stress(CLI::App& command, Options& options) {
    add_slot(command, options);
    command.add_option("--what", options.work, "info (default), sn, beep, atr or apdu")
        ->check(CLI::IsMember({"info", "sn", "beep", "atr", "apdu"}));
    command.add_option("--count", options.repetitions, "End after so many")
        ->check(CLI::Range(1, 1000000000));
    command.add_option("--for", options.duration_s, "End after so many seconds")
        ->check(CLI::Range(1, 1000000));
    command.add_option("apdu", options.apdus, "With --what apdu: what to send, in hexadecimal");
}

void add_record(CLI::App& command, Options& options) {
    command.add_flag("--unmasked", options.unmasked,
                     "Write down everything, with card numbers, tracks, PINs and identity text");
    command.add_option("file", options.recording, "The recording to write")
        ->required()
        ->type_name("FILE");
    command.add_option("command", options.host, "Behind --, the host to run and its arguments")
        ->required()
        ->type_name("COMMAND");
}

void add_completion(CLI::App& command, Options& options) {
    command.add_option("shell", options.shell, "bash or zsh")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh"}));
}

}  // namespace desk_tool
