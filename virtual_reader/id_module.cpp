// Commands and what they are answered with when all is well:
//
//   10 FF    reset                  00 00 90
//   20 01    search                 00 00 9F, four zeros
//   20 02    select                 00 00 90, eight zeros
//   30 01    read                   00 00 90, two lengths, text, photo
//   30 10    read with fingerprint  00 00 90, three lengths, text, photo, fingerprint, numbers
//   60 code  baud rate              00 00 90
//
// Lengths have two bytes, the high one first.
#include "id_module.h"

#include <array>

namespace virtual_reader {
namespace {

constexpr std::uint8_t status_done = 0x90;
constexpr std::uint8_t status_found = 0x9F;
constexpr std::uint8_t status_no_card = 0x80;
constexpr std::uint8_t status_not_selected = 0x81;
constexpr std::uint8_t status_not_read = 0x41;
constexpr std::uint8_t status_unknown_command = 0x21;

constexpr std::array<int, 5> baud_rates = {115200, 57600, 38400, 19200, 9600};

Bytes answer_of(std::uint8_t status, View data = {}) {
    Bytes answer = {0x00, 0x00, status};
    append(answer, data);
    return answer;
}

void append_length(Bytes& to, const Bytes& block) {
    to.push_back(static_cast<std::uint8_t>(block.size() >> 8));
    to.push_back(static_cast<std::uint8_t>(block.size()));
}

}  // namespace

void IdModule::insert(std::string_view name) {
    place_.insert(name);
    step_ = Step::none;
}

void IdModule::remove(std::string_view name) {
    place_.remove(name);
    step_ = Step::none;
}

void IdModule::remove_all() {
    place_.remove_all();
    step_ = Step::none;
}

Bytes IdModule::answer(View command) {
    if (command.size() != 2) return answer_of(status_unknown_command);
    switch (command[0] << 8 | command[1]) {
        case 0x10FF:
            step_ = Step::none;
            return answer_of(status_done);
        case 0x2001:
            return find();
        case 0x2002:
            return select();
        case 0x3001:
            return read(false);
        case 0x3010:
            return read(true);
        default:
            return command[0] == 0x60 ? set_baud(command[1]) : answer_of(status_unknown_command);
    }
}

Bytes IdModule::find() {
    if (card() == nullptr) return answer_of(status_no_card);
    step_ = Step::found;
    return answer_of(status_found, Bytes(4));
}

Bytes IdModule::select() {
    if (step_ == Step::none) return answer_of(status_not_selected);
    step_ = Step::selected;
    return answer_of(status_done, Bytes(8));
}

// A card without a fingerprint is still selected after a read that wanted one, for a plain read.
Bytes IdModule::read(bool with_fingerprint) const {
    if (step_ != Step::selected || (with_fingerprint && !card()->fingerprint()))
        return answer_of(status_not_read);
    Bytes data;
    append_length(data, card()->text());
    append_length(data, card()->photo());
    if (with_fingerprint) append_length(data, *card()->fingerprint());
    append(data, card()->text());
    append(data, card()->photo());
    if (with_fingerprint) {
        append(data, *card()->fingerprint());
        append(data, card()->numbers());
    }
    return answer_of(status_done, data);
}

Bytes IdModule::set_baud(std::uint8_t code) {
    if (code >= baud_rates.size()) return answer_of(status_unknown_command);
    baud_ = baud_rates[code];
    return answer_of(status_done);
}

}  // namespace virtual_reader
