// Commands in the IC frame begin with one code byte and are answered with one status byte:
//
//   E1 slot  E2 slot  E3 slot apdu   contact: power on, power off, exchange
//   D1       D2       D3 apdu        contactless: the same
//   81 00    information             BB code    serial rate
//   F1       information block       F2 32 bytes    serial number
//   41 to 48, 4B    MIFARE Classic, see classic_commands.h
//
// Commands in the Union frame begin with class and code and are answered with two status bytes:
//
//   32 22 00 00 slot   32 23 slot   32 26 slot apdu   contact
//   32 24 00 00        32 25 00 00  32 26 FF apdu     contactless
//   32 21 p    card detect           31 11 00    information     31 13 d p1 p2    beep
//   30 01 00 code    serial rate     F8 00 AA BB 55 44    device reset
//   32 41 00 00, 32 42 to 32 48, 32 25    MIFARE Classic, halted by 25
//
// A slot byte of the IC frame counts from 1, and 0 stands for slot 16.
#include "reader.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "classic_commands.h"
#include "wire/reply.h"

namespace virtual_reader {
namespace {

constexpr int baud_rates[] = {9600, 19200, 38400, 57600, 115200};
constexpr std::uint8_t field_slot = 0xFF;
constexpr std::size_t serial_number_size = 32;

constexpr char base_mode = 'B';
constexpr char id_mode = 'S';
constexpr char fast_rate = '4';

constexpr std::uint8_t ic_unknown_command = 0xA1;
constexpr std::uint16_t union_unknown_command = 0x0001;

// What a status is in each frame, by outcome: done, no card, not powered, refused.
struct Statuses {
    std::array<std::uint8_t, 4> ic;
    std::array<std::uint16_t, 4> union_;
};

constexpr Statuses power_on_contact{{0x00, 0xFB, 0xA2, 0xA2}, {0x0000, 0x1002, 0x1001, 0x1001}};
constexpr Statuses power_on_field{{0x00, 0xFB, 0xA2, 0xA2}, {0x0000, 0x3005, 0x3008, 0x3008}};
constexpr Statuses power_off_contact{{0x00, 0xFB, 0xA2, 0xA2}, {0x0000, 0x1001, 0x1001, 0x1001}};
constexpr Statuses power_off_field{{0x00, 0xFB, 0xA2, 0xA2}, {0x0000, 0x3006, 0x3004, 0x3001}};
constexpr Statuses exchange_contact{{0x00, 0xFB, 0xA2, 0xA2}, {0x0000, 0x1002, 0x1004, 0x1001}};
constexpr Statuses exchange_field{{0x00, 0xFB, 0xA2, 0xA2}, {0x0000, 0x3006, 0x3004, 0x3001}};

std::size_t index_of(Outcome outcome) {
    return static_cast<std::size_t>(outcome);
}

Bytes ic_answer(const Result& result, const Statuses& statuses) {
    Bytes body = {statuses.ic[index_of(result.outcome)]};
    append(body, result.data);
    try {
        return ic_reply(body);
    } catch (const std::length_error&) {
        return ic_reply(Bytes{statuses.ic[index_of(Outcome::refused)]});
    }
}

Bytes ic_answer(Bytes data) {
    data.insert(data.begin(), 0x00);
    return ic_reply(data);
}

Bytes union_answer(std::uint16_t status, View data) {
    Bytes body = {static_cast<std::uint8_t>(status >> 8), static_cast<std::uint8_t>(status)};
    append(body, data);
    return union_reply(body);
}

Bytes union_answer(const Result& result, const Statuses& statuses) {
    try {
        return union_answer(statuses.union_[index_of(result.outcome)], result.data);
    } catch (const std::length_error&) {
        return union_answer(statuses.union_[index_of(Outcome::refused)], {});
    }
}

Place contact_place(std::uint8_t slot_byte) {
    return {false, slot_byte == 0 ? 16 : slot_byte - 1};
}

constexpr Place field{true, 0};

constexpr KeyTypes ic_key_types{0x60, 0x61};
constexpr KeyTypes union_key_types{0x00, 0x01};

// A MIFARE Classic command as the IC frame has it, from the Union frame, whose halt is another
// code.
Bytes classic_part(View body) {
    constexpr std::uint8_t halt = 0x25;
    if (body.size() == 2 && body[1] == halt) return {'K'};
    return body[1] == 'K' ? Bytes{} : to_bytes(body.subspan(1));
}

const Statuses& classic_statuses(std::uint8_t letter) {
    if (letter == 'A') return power_on_field;
    return letter == 'K' ? power_off_field : exchange_field;
}

bool begins_with(View body, std::initializer_list<std::uint8_t> bytes, std::size_t at_least) {
    return body.size() >= at_least && std::equal(bytes.begin(), bytes.end(), body.begin());
}

}  // namespace

void Reader::plug_in() {
    faults_.plug();
    stream_.listen_for_id(false);
    stream_.forget();
    ic_.power_off_all();
    magnetic_.reset();
    baud_ = settings_.baud;
    base_baud_.reset();
    pass_through_port_ = 'A';
    mode_ = base_mode;
}

void Reader::insert(std::string_view name, int slot) {
    if (magnetic_.has(name)) return magnetic_.insert(name);
    if (id_.has(name)) return id_.insert(name);
    ic_.insert(name, slot);
}

void Reader::remove(std::string_view name) {
    if (magnetic_.has(name)) return magnetic_.remove(name);
    if (id_.has(name)) return id_.remove(name);
    ic_.remove(name);
}

void Reader::remove_all() {
    magnetic_.remove_all();
    id_.remove_all();
    ic_.remove_all();
}

void Reader::insert_beside(std::string_view name) {
    if (magnetic_.has(name) || id_.has(name))
        throw std::invalid_argument("the card " + std::string(name) + " is not contactless");
    ic_.insert_beside(name);
}

bool Reader::has(std::string_view name) const {
    return magnetic_.has(name) || id_.has(name) || ic_.has(name);
}

bool Reader::is_in(std::string_view name) const {
    const auto lies_in = [&](const auto& module) {
        return module.card() != nullptr && module.card()->name() == name;
    };
    return lies_in(magnetic_) || lies_in(id_) || ic_.place_of(name);
}

void Reader::swap(std::string_view old_name, std::string_view new_name) {
    for (const std::string_view name : {old_name, new_name}) {
        if (!has(name)) throw std::invalid_argument("no card is named " + std::string(name));
    }
    if (!is_in(old_name))
        throw std::invalid_argument("the card " + std::string(old_name) + " is not in the reader");
    const int slot = ic_.place_of(old_name).value_or(Place{}).slot;
    remove(old_name);
    insert(new_name, slot);
}

Bytes Reader::receive_serial(View bytes) {
    return receive(Line::serial, 0, bytes);
}

Bytes Reader::receive_usb(std::uint8_t mode_id, View payload) {
    return receive(Line::usb, mode_id, payload);
}

Bytes Reader::receive(Line line, std::uint8_t mode_id, View bytes) {
    stream_.feed(bytes);
    Bytes answers;
    while (const auto request = stream_.next()) {
        const std::uint8_t module = request->framing == Framing::escape ? 1 : 2;
        if (mode_id != 0 && mode_id != module) {
            ++counts_.misaddressed;
            continue;
        }
        ++counts_.requests;
        append(answers, answer(*request, line));
    }
    return answers;
}

Bytes Reader::answer(const Request& request, Line line) {
    switch (request.framing) {
        case Framing::escape:
            return answer_escape(request.body, line);
        case Framing::ic_frame:
            return answer_ic(request.body);
        case Framing::union_frame:
            return answer_union(request.body);
        case Framing::id_frame:
            return id_reply(id_.answer(request.body));
    }
    return {};
}

Bytes Reader::answer_escape(View body, Line line) {
    switch (body[0]) {
        case 'S':
            ++counts_.resets;
            magnetic_.reset();
            enter_mode(base_mode);
            return {};
        case '0':
            magnetic_.reset();
            return {};
        case '%':
            pass_through_port_ = static_cast<char>(body[1]);
            return {};
        case '$':
            return change_mode(static_cast<char>(body[1]), static_cast<char>(body[2]), line);
        default:
            magnetic_line_ = line;
            return magnetic_.request(body);
    }
}

// Out of ID mode a serial line comes back to its own rate.
void Reader::enter_mode(char mode) {
    mode_ = mode;
    stream_.listen_for_id(mode_ == id_mode);
    if (mode_ == id_mode || !base_baud_) return;
    baud_ = *base_baud_;
    base_baud_.reset();
}

// Towards the ID module a serial host goes on at the rate of the command.
Bytes Reader::change_mode(char mode, char rate, Line line) {
    enter_mode(mode);
    if (mode_ == id_mode && line == Line::serial) {
        if (!base_baud_) base_baud_ = baud_;
        baud_ = rate == fast_rate ? 115200 : 9600;
    }
    if (line == Line::serial && !settings_.answer_mode_on_serial) return {};
    return {static_cast<std::uint8_t>(mode), 0x00};
}

Bytes Reader::take_late(Line line) {
    return line == magnetic_line_ ? magnetic_.take_late() : Bytes{};
}

Bytes Reader::answer_ic(View body) {
    const std::uint8_t code = body[0];
    const View rest = body.subspan(1);
    if (code == 0xD1) return ic_answer(ic_.power_on(field), power_on_field);
    if (code == 0xD2) return ic_answer(ic_.power_off(field), power_off_field);
    if (code == 0xD3) return ic_answer(ic_.transmit(field, rest), exchange_field);
    if (code == 0xF1) return ic_answer(all_information());
    if (const auto result = classic_command(ic_, ic_key_types, body))
        return ic_answer(*result, classic_statuses(code));
    if (!rest.empty()) {
        const Place place = contact_place(rest[0]);
        switch (code) {
            case 0xE1:
                return ic_answer(ic_.power_on(place), power_on_contact);
            case 0xE2:
                return ic_answer(ic_.power_off(place), power_off_contact);
            case 0xE3:
                return ic_answer(ic_.transmit(place, rest.subspan(1)), exchange_contact);
            case 0x81:
                return ic_answer(to_bytes(settings_.information));
            case 0xBB:
                set_baud(rest[0]);
                return ic_answer(Bytes{});
            case 0xF2:
                if (rest.size() != serial_number_size) break;
                settings_.serial_number.assign(rest.begin(),
                                               std::ranges::find(rest, std::uint8_t{0}));
                return ic_answer(Bytes{});
            default:
                break;
        }
    }
    ++counts_.unknown;
    return ic_reply(Bytes{ic_unknown_command});
}

Bytes Reader::answer_union(View body) {
    const auto is = [&](std::uint8_t cls, std::uint8_t code, std::size_t at_least) {
        return begins_with(body, {cls, code}, at_least);
    };
    if (is(0x32, 0x22, 5)) return union_answer(ic_.power_on({false, body[4]}), power_on_contact);
    if (is(0x32, 0x23, 3)) return union_answer(ic_.power_off({false, body[2]}), power_off_contact);
    if (is(0x32, 0x24, 4)) return union_answer(ic_.power_on(field), power_on_field);
    if (is(0x32, 0x25, 4)) return union_answer(ic_.power_off(field), power_off_field);
    if (is(0x32, 0x26, 3) && body[2] == field_slot)
        return union_answer(ic_.transmit(field, body.subspan(3)), exchange_field);
    if (is(0x32, 0x26, 3))
        return union_answer(ic_.transmit({false, body[2]}, body.subspan(3)), exchange_contact);
    if (is(0x32, 0x21, 3)) return union_answer(0x0000, card_states());
    if (is(0x31, 0x11, 3)) return union_answer(0x0000, to_bytes(settings_.information));
    if (is(0x31, 0x13, 5)) {
        ++counts_.beeps;
        return union_answer(0x0000, {});
    }
    if (is(0x30, 0x01, 4)) {
        set_baud(body[3]);
        return union_answer(0x0000, {});
    }
    if (begins_with(body, {0xF8, 0x00, 0xAA, 0xBB, 0x55, 0x44}, 6)) {
        ++counts_.device_resets;
        magnetic_.reset();
        enter_mode(base_mode);
        return union_answer(0x0000, {});
    }
    if (body.size() >= 2 && body[0] == 0x32) {
        const Bytes command = classic_part(body);
        if (const auto result = classic_command(ic_, union_key_types, command))
            return union_answer(*result, classic_statuses(command[0]));
    }
    ++counts_.unknown;
    return union_answer(union_unknown_command, {});
}

void Reader::set_baud(std::uint8_t code) {
    baud_ = code < std::size(baud_rates) ? baud_rates[code] : baud_rates[0];
}

// Thirty-two bytes of information and as many of serial number, both filled with zeros.
Bytes Reader::all_information() const {
    Bytes block(settings_.information.begin(), settings_.information.end());
    block.resize(serial_number_size);
    append(block, to_bytes(settings_.serial_number));
    block.resize(2 * serial_number_size);
    return block;
}

Bytes Reader::card_states() const {
    constexpr std::uint8_t present = 0x11;
    constexpr std::uint8_t powered = 0x12;
    const std::uint8_t contact = ic_.any_contact_card(true)    ? powered
                                 : ic_.any_contact_card(false) ? present
                                                               : 0x00;
    const std::uint8_t contactless = ic_.card_at(field) != nullptr ? 0x12 : 0x00;
    return {contact, contactless};
}

}  // namespace virtual_reader
