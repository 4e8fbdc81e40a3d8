#include "cards/hostile_card.h"

#include <algorithm>
#include <array>

#include "cards/tagged_objects.h"

namespace virtual_reader {
namespace {

constexpr std::string_view directory_name = "1PAY.SYS.DDF01";

constexpr std::uint8_t application[] = {0xA0, 0x00, 0x00, 0x03, 0x33, 0x01, 0x01, 0x01};

// Objects whose lengths lie, for the place of a response's objects.
constexpr std::array<std::string_view, 10> lies = {
    "6F7F8401",            // more than there is
    "6F81FF840200",        // the same in two bytes
    "6F82FFFF840200",      // in three
    "6F84FFFFFFFF840200",  // a form that nobody uses
    "6F808400",            // no length at all
    "6FFF8400",            //
    "9F",                  // a tag cut in the middle
    "5F",                  //
    "6F",                  // a tag without a length
    "7081",                // a length without its second byte
};

Bytes response_of(std::size_t size) {
    Bytes response;
    for (std::size_t i = 0; i < size; ++i)
        response.push_back(static_cast<std::uint8_t>(i));
    if (size < 2) return response;
    response[size - 2] = 0x90;
    response[size - 1] = 0x00;
    return response;
}

Bytes repeated(std::size_t count, std::uint8_t byte) {
    return Bytes(count, byte);
}

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts)
        append(all, part);
    return all;
}

Bytes locator_of_30_files() {
    Bytes locator;
    for (int file = 1; file <= 30; ++file) {
        const Bytes entry = {static_cast<std::uint8_t>(file << 3), 1, 255, 0};
        append(locator, entry);
    }
    return locator;
}

// Nested templates of 250 bytes at the end of which nothing stands.
Bytes nested() {
    Bytes bytes;
    for (std::uint8_t rest = 248; rest > 2; rest = static_cast<std::uint8_t>(rest - 3)) {
        const Bytes begin = {0x70, 0x81, rest};
        append(bytes, begin);
    }
    return bytes;
}

}  // namespace

Bytes HostileCard::selection(View name) const {
    const bool logs = settings_.manner == HostileManner::logs;
    const bool names = settings_.manner == HostileManner::names;
    const Bytes own_name = data_object(0x84, name);
    if (std::ranges::equal(name, to_bytes(directory_name)))
        return data_object(0x6F, joined({own_name, data_object(0xA5, from_hex("880101"))}));
    const Bytes label = data_object(0x50, names ? repeated(200, 'N') : to_bytes("HOSTILE"));
    const Bytes places = logs ? from_hex("9F4D020BFFDF4D020CFF") : from_hex("9F4D020B0ADF4D020C0A");
    const Bytes list = settings_.manner == HostileManner::lists
                           ? from_hex(
                                 "9F3810"
                                 "9F66FF9F7AFF1F01FF9F02FFFF1F81FF")
                           : from_hex(
                                 "9F3803"
                                 "9F6604");
    return data_object(0x6F, joined({own_name, data_object(0xA5, joined({label, list, places}))}));
}

Bytes HostileCard::record(int file, int number) const {
    if (file == 1) {
        const bool names = settings_.manner == HostileManner::names;
        const Bytes label = data_object(0x50, names ? repeated(220, 'N') : to_bytes("HOSTILE"));
        return number > 1
                   ? Bytes{}
                   : data_object(
                         0x70, data_object(0x61, joined({data_object(0x4F, application), label})));
    }
    if (settings_.manner == HostileManner::records || settings_.manner == HostileManner::logs)
        return number % 2 == 0 ? nested() : data_object(0x70, repeated(247, 0x5A));
    if (settings_.manner == HostileManner::names)
        return data_object(0x70, joined({data_object(0x5F20, repeated(240, 'N'))}));
    const Bytes lists = settings_.manner == HostileManner::lists
                            ? from_hex("8C0C9F02FF95FF9F7EFF9A82FFFF8D089F02FF8AFF9F7EFF")
                            : from_hex("8C069F02069F36028D038A029502");
    return data_object(0x70, joined({data_object(0x5A, from_hex("9999990000000013")), lists}));
}

// What a payment card would say.
Bytes HostileCard::dialogue(const Command& command) const {
    const auto done = [](Bytes data) { return with_status(std::move(data), sw_success); };
    switch (command.ins) {
        case 0xA4:
            return done(selection(command.data));
        case 0xB2: {
            Bytes data = record(command.p2 >> 3, command.p1);
            return data.empty() ? status_only(sw_record_not_found) : done(std::move(data));
        }
        case 0xA8: {
            Bytes options = from_hex("7C00");
            append(options, settings_.manner == HostileManner::records ? locator_of_30_files()
                                                                       : from_hex("10010200"));
            return done(data_object(0x80, options));
        }
        case 0xCA:
            return done(data_object(command.parameters(), from_hex("000000010000")));
        case 0xAE:
            return done(data_object(0x80, from_hex("8000010102030405060708"
                                                   "07010103")));
        case 0xB0:
            return done(repeated(250, 'B'));
        default:
            return done(repeated(4, 0x55));
    }
}

Bytes HostileCard::lying(Bytes response) {
    const Bytes lie = from_hex(lies[turn_++ % lies.size()]);
    const std::size_t kept = std::min<std::size_t>(response.size(), 2);
    const Bytes status(response.end() - static_cast<std::ptrdiff_t>(kept), response.end());
    return joined({lie, status});
}

Bytes HostileCard::in_its_manner(const Command& command) {
    constexpr std::array<std::size_t, 6> sizes = {0, 1, 255, 256, 600, 2000};
    switch (settings_.manner) {
        case HostileManner::sizes:
            return response_of(sizes[turn_++ % sizes.size()]);
        case HostileManner::lengths:
            return lying(dialogue(command));
        case HostileManner::endless_61:
            return {0x61, 0x10};
        case HostileManner::endless_62:
            return {0x62, 0x10};
        case HostileManner::endless_6c:
            return {0x6C, 0x10};
        case HostileManner::records:
        case HostileManner::logs:
        case HostileManner::names:
        case HostileManner::lists:
            break;
    }
    return dialogue(command);
}

Bytes HostileCard::transmit(View bytes) {
    if (!settings_.responses.empty())
        return settings_.responses[turn_++ % settings_.responses.size()];
    const auto command = Command::parse(bytes);
    return in_its_manner(command.value_or(Command{}));
}

}  // namespace virtual_reader
