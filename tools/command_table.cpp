#include "command_table.h"

#include "command_options.h"

namespace desk_tool {
namespace {

constexpr const char* any_card = nullptr;
constexpr const char* own_examples = nullptr;
constexpr bool leaves_signals = true;

constexpr Command commands[] = {
    {"info", "Show the reader's information and serial number",
     "info\n--link serial:ttyUSB0 info\n--link virtual: --json info", nullptr, run_info},
    {"beep", "Sound the beeper", "beep\nbeep 50", add_beep, run_beep},
    {"reset", "Reset the reader", "reset", nullptr, run_reset},
    {"sn", "Read the serial number, or write it", "sn\nsn --set DESK-7", add_serial_number,
     run_serial_number},
    {"atr", "Wait for a card and show its answer to reset",
     "atr\n--timeout 60 atr --slot contactless", add_slot, run_atr},
    {"apdu", "Wait for a card and exchange commands with it",
     "apdu 00A404000E315041592E5359532E4444463031\napdu --slot contact 0084000008 00B2010C00",
     add_apdus, run_apdu},
    {"monitor", "Show cards as they come, until Ctrl-C",
     "monitor\nmonitor --slot contactless --count 3", add_monitor, run_monitor},
    {"card", "Show what a payment card tells everybody", "card\n--link virtual: card", add_slot,
     run_card, "bank"},
    {"pay", "Pay with a card, through the issuer's host that goes with the virtual cards",
     "--link virtual: pay 12.50", add_payment, run_pay, "bank"},
    {"logs", "Show the payments and loads that a payment card keeps", "logs --slot contact",
     add_slot, run_logs, "bank"},
    {"ssc", "Show a social security card", "ssc\n--link virtual: --json ssc", add_slot,
     run_social_security, "citizen"},
    {"track read", "Read tracks", "track read\ntrack read --tracks 23", add_tracks, run_track_read,
     "loyalty"},
    {"track write", "Write tracks 2 and 3", "track write --track2 9999000000000003=3112",
     add_track_texts, run_track_write, "loyalty"},
    {"track number", "Read the card number", "track number", add_tracks, run_track_number,
     "loyalty"},
    {"id", "Show an identity card", "id\nid --photo photo.bmp", add_photo, run_identity,
     "resident"},
    {"m1 dump", "Read all sectors that the keys open",
     "m1 dump\nm1 dump --key A0A1A2A3A4A5 --key FFFFFFFFFFFF\n--json m1 dump --sector 2",
     add_classic_dump, run_classic_dump, "locker"},
    {"m1 read", "Read a block", "m1 read 4 --key A0A1A2A3A4A5", add_block, run_classic_read,
     "locker"},
    {"m1 write", "Write a block", "m1 write 4 00112233445566778899AABBCCDDEEFF --key A0A1A2A3A4A5",
     add_classic_write, run_classic_write, "locker"},
    {"m1 value read", "Read a value", "m1 value read 5 --key A0A1A2A3A4A5", add_block,
     run_classic_value_read, "locker"},
    {"m1 value write", "Make a block a value block",
     "m1 value write 5 250 --key A0A1A2A3A4A5\nm1 value write 5 --key A0A1A2A3A4A5 -- -1",
     add_classic_value, run_classic_value_write, "locker"},
    {"m1 value increase", "Add to a value", "m1 value increase 5 50 --key A0A1A2A3A4A5",
     add_classic_change, run_classic_value_increase, "locker"},
    {"m1 value decrease", "Subtract from a value", "m1 value decrease 5 50 --key A0A1A2A3A4A5",
     add_classic_change, run_classic_value_decrease, "locker"},
    {"m0 read", "Read pages",
     "m0 read 4 --count 8\nm0 read 16 --key 49454D4B41455242214E4143554F5946", add_ultralight_read,
     run_ultralight_read, "ticket"},
    {"m0 write", "Write a page", "m0 write 4 00112233", add_ultralight_write, run_ultralight_write,
     "ticket"},
    {"m0 verify", "Authenticate with the card's key",
     "m0 verify --key 49454D4B41455242214E4143554F5946", add_ultralight_verify,
     run_ultralight_verify, "ticket"},
    {"doctor", "Look after everything that a reader needs here, and say what to do",
     "doctor\n--link serial:ttyUSB0 doctor\n--json doctor", nullptr, run_doctor},
    {"stress", "Repeat an exchange until Ctrl-C, or until the reader is unplugged",
     "stress --for 60\nstress --what apdu --count 1000 0084000008\nstress --what atr --slot "
     "contact",
     add_stress, run_stress},
    {"record", "Record what a host and its reader say to each other",
     "record purchase.rec -- ./host\nrecord id.rec -- deskreader id\n"
     "record --unmasked all.rec -- python3 host.py --port 1",
     add_record, run_record, any_card, leaves_signals},
    {"decode", "Explain data objects, an ATR, an APDU or a frame, given in hexadecimal",
     own_examples, add_decode, run_decode, any_card, leaves_signals},
    {"log", "Explain a log of the library", own_examples, add_log, run_log, any_card,
     leaves_signals},
    {"tour", "Go through a session step by step, against the built-in virtual cards",
     "--link virtual: tour", nullptr, run_tour},
    {"completion", "Print the completion for a shell",
     "completion bash > ~/.local/share/bash-completion/completions/deskreader\n"
     "completion zsh > ~/.zfunc/_deskreader",
     add_completion, run_completion, any_card, leaves_signals},
    {"help", "Explain a command or a topic: links, exit-codes",
     "help\nhelp links\nhelp exit-codes\nhelp m1 dump", nullptr, run_help, any_card,
     leaves_signals},
};

constexpr Group groups[] = {
    {"track", "Magnetic stripes: read, write, number"},
    {"m1", "MIFARE Classic cards: dump, read, write, value"},
    {"m1 value", "Value blocks: read, write, increase, decrease"},
    {"m0", "MIFARE Ultralight C cards: read, write, verify"},
};

}  // namespace

std::span<const Command> all_commands() {
    return commands;
}

std::span<const Group> all_groups() {
    return groups;
}

}  // namespace desk_tool
