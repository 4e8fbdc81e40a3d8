#include "cards/purse_card.h"

#include <algorithm>

#include "cards/tlv.h"

namespace virtual_reader {
namespace {

constexpr std::uint16_t sw_mac_invalid = 0x9302;
constexpr std::uint16_t sw_too_little_money = 0x9401;
constexpr std::uint16_t sw_no_such_key = 0x9403;
constexpr std::uint16_t sw_counter_exhausted = 0x9402;

// Numbers of the two purses in P2, and of their transactions.
constexpr std::uint8_t deposit_number = 1;
constexpr std::uint8_t purse_number = 2;
constexpr std::uint8_t type_of_load = 0;      // and the purse's number
constexpr std::uint8_t type_of_purchase = 4;  // and the purse's number

constexpr std::size_t mac_size = 4;
constexpr std::size_t random_size = 4;
constexpr std::uint8_t key_version = 1;
constexpr std::uint8_t triple_des = 0;  // algorithm identifier

constexpr std::uint16_t last_counter = 0xFFFF;

Bytes two_bytes(std::uint16_t number) {
    return {static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
}

Bytes four_bytes(std::uint32_t number) {
    Bytes bytes = two_bytes(static_cast<std::uint16_t>(number >> 16));
    append(bytes, two_bytes(static_cast<std::uint16_t>(number)));
    return bytes;
}

std::uint32_t number_of(View four) {
    return static_cast<std::uint32_t>(four[0]) << 24 | static_cast<std::uint32_t>(four[1]) << 16 |
           static_cast<std::uint32_t>(four[2]) << 8 | four[3];
}

Bytes joined(std::initializer_list<View> parts) {
    Bytes bytes;
    for (const View part : parts)
        append(bytes, part);
    return bytes;
}

Block block_of(View eight) {
    Block block{};
    std::ranges::copy(eight, block.begin());
    return block;
}

Key single_des(const Block& half) {
    Key key{};
    std::ranges::copy(half, key.begin());
    std::ranges::copy(half, key.begin() + 8);
    return key;
}

// A session key is one block under the card's key; with it MACs are single DES.
Key session_of(const Key& key, View random, View counter, View rest) {
    return single_des(encrypt(key, block_of(joined({random, counter, rest}))));
}

Bytes short_mac(const Key& key, View message, const Block& initial = {}) {
    const Block whole = mac(key, message, initial);
    return to_bytes(View(whole).first(mac_size));
}

}  // namespace

PurseCard::PurseCard(PurseCardSettings settings)
    : settings_(std::move(settings)),
      random_(settings_.seed),
      responder_(settings_.by_procedure_bytes),
      purses_{Purse{settings_.deposit, 0, 0}, Purse{settings_.purse, 0, 0}},
      tries_left_(settings_.pin_tries) {}

Bytes PurseCard::power_on() {
    power_off();
    return settings_.answer;
}

void PurseCard::power_off() {
    pin_given_ = false;
    challenge_.clear();
    pending_.reset();
    responder_.forget();
}

Bytes PurseCard::transmit(View bytes) {
    struct Row {
        std::uint8_t cla;
        std::uint8_t ins;
        Bytes (PurseCard::*handler)(const Command&);
        bool keeps_pending;  // between the two commands of a load or purchase
    };
    static constexpr Row rows[] = {
        {0x00, 0xA4, &PurseCard::select, false},
        {0x00, 0xB0, &PurseCard::read_binary, false},
        {0x04, 0xD6, &PurseCard::update_binary, false},
        {0x00, 0x20, &PurseCard::verify, false},
        {0x00, 0x84, &PurseCard::get_challenge, false},
        {0x80, 0x5C, &PurseCard::get_balance, false},
        {0x80, 0x50, &PurseCard::initialise, false},
        {0x80, 0x52, &PurseCard::credit, true},
        {0x80, 0x54, &PurseCard::debit, true},
    };
    const auto command = Command::parse(bytes);
    if (!command) return status_only(sw_wrong_length);
    responder_.begin(*command);
    if (command->ins == ins_get_response) return responder_.get_response(*command);
    const Row* row = std::ranges::find(rows, command->ins, &Row::ins);
    if (row == std::end(rows)) return status_only(sw_unknown_instruction);
    if (row->cla != command->cla) return status_only(sw_unknown_class);
    if (!row->keeps_pending) pending_.reset();
    return (this->*row->handler)(*command);
}

// The application is selected from the beginning; selecting it is for hosts that do.
Bytes PurseCard::select(const Command& command) {
    if (command.parameters() != 0x0400) return status_only(sw_wrong_parameters);
    if (!std::ranges::equal(command.data, settings_.application))
        return status_only(sw_file_not_found);
    pin_given_ = false;
    return responder_.answer(data_object(0x6F, data_object(0x84, settings_.application)));
}

ElementaryFile* PurseCard::find_file(std::uint8_t sfi) {
    const auto file = std::ranges::find(settings_.files, sfi, &ElementaryFile::sfi);
    return sfi == 0 || file == settings_.files.end() || !file->data ? nullptr : &*file;
}

Bytes PurseCard::read_binary(const Command& command) {
    const ElementaryFile* file = (command.p1 & 0x80) != 0 ? find_file(command.p1 & 0x1F) : nullptr;
    if (file == nullptr) return status_only(sw_file_not_found);
    if (!command.le || !command.data.empty()) return status_only(sw_wrong_length);
    if (command.p2 >= file->data->size()) return status_only(sw_offset_outside);
    const View rest = View(*file->data).subspan(command.p2);
    return responder_.read(to_bytes(rest.first(std::min<std::size_t>(rest.size(), 256))), command);
}

// Under a MAC over header and data that begins with the challenge given just before.
Bytes PurseCard::update_binary(const Command& command) {
    if (command.data.size() <= mac_size) return status_only(sw_wrong_length);
    const Bytes challenge = std::move(challenge_);
    challenge_.clear();
    if (challenge.size() < random_size) return status_only(sw_not_now);
    ElementaryFile* file = find_file(command.p1 & 0x1F);
    if (file == nullptr) return status_only(sw_file_not_found);
    const std::size_t size = command.data.size() - mac_size;
    const Bytes header = {command.cla, command.ins, command.p1, command.p2,
                          static_cast<std::uint8_t>(command.data.size())};
    Block initial{};
    std::copy_n(challenge.begin(), std::min(challenge.size(), initial.size()), initial.begin());
    const Bytes expected =
        short_mac(settings_.keys.maintenance, joined({header, command.data.first(size)}), initial);
    if (!std::ranges::equal(expected, command.data.subspan(size))) return status_only(sw_mac_wrong);
    if (command.p2 + size > file->data->size()) return status_only(sw_offset_outside);
    std::ranges::copy(command.data.first(size), file->data->begin() + command.p2);
    return status_only(sw_success);
}

Bytes PurseCard::verify(const Command& command) {
    if (command.parameters() != 0) return status_only(sw_wrong_parameters);
    if (command.data.size() < 2 || command.data.size() > 6) return status_only(sw_wrong_length);
    if (tries_left_ == 0) return status_only(sw_pin_blocked);
    pin_given_ = std::ranges::equal(command.data, settings_.pin);
    tries_left_ = pin_given_ ? settings_.pin_tries : tries_left_ - 1;
    return pin_given_ ? status_only(sw_success) : status_of_tries(tries_left_);
}

Bytes PurseCard::draw(std::size_t count) {
    Bytes bytes(count);
    std::ranges::generate(bytes, [this] { return static_cast<std::uint8_t>(random_()); });
    return bytes;
}

Bytes PurseCard::get_challenge(const Command& command) {
    if (command.parameters() != 0) return status_only(sw_wrong_parameters);
    if (!command.le || !command.data.empty() || (*command.le != 4 && *command.le != 8))
        return status_only(sw_wrong_length);
    challenge_ = draw(*command.le);
    return with_status(challenge_, sw_success);
}

Bytes PurseCard::get_balance(const Command& command) {
    if (command.p1 != 0 || (command.p2 != deposit_number && command.p2 != purse_number))
        return status_only(sw_wrong_parameters);
    if (!command.data.empty()) return status_only(sw_wrong_length);
    if (command.p2 == deposit_number && !pin_given_) return status_only(sw_security_missing);
    return responder_.read(four_bytes(purses_[command.p2 - 1u].balance), command);
}

// P1 00 for a load, 01 for a purchase; data are key index, amount and terminal number.
Bytes PurseCard::initialise(const Command& command) {
    constexpr std::size_t data_size = 11;
    const bool load = command.p1 == 0;
    if (command.p1 > 1 || (command.p2 != deposit_number && command.p2 != purse_number))
        return status_only(sw_wrong_parameters);
    if (command.data.size() != data_size) return status_only(sw_wrong_length);
    if (!pin_given_ && (load || command.p2 == deposit_number))
        return status_only(sw_security_missing);
    if (command.data[0] != settings_.key_index) return status_only(sw_no_such_key);
    const Purse& purse = purses_[command.p2 - 1u];
    if ((load ? purse.loads : purse.purchases) == last_counter)
        return status_only(sw_counter_exhausted);
    const View amount = command.data.subspan(1, 4);
    if (!load && number_of(amount) > purse.balance) return status_only(sw_too_little_money);
    pending_ = Pending{load, command.p2, to_bytes(amount), to_bytes(command.data.subspan(5, 6)),
                       draw(random_size)};
    return load ? initialise_load() : initialise_purchase();
}

// Old balance, counter, key version, algorithm, random number, MAC1 over what is to be loaded.
Bytes PurseCard::initialise_load() {
    const Purse& purse = pending_purse();
    const Bytes balance = four_bytes(purse.balance);
    const Bytes counter = two_bytes(purse.loads);
    const Key session =
        session_of(settings_.keys.load, pending_->random, counter, Bytes{0x80, 0x00});
    const Bytes type = {static_cast<std::uint8_t>(type_of_load + pending_->purse)};
    const Bytes proof =
        short_mac(session, joined({balance, pending_->amount, type, pending_->terminal}));
    return responder_.answer(
        joined({balance, counter, Bytes{key_version, triple_des}, pending_->random, proof}));
}

// Old balance, counter, overdraft limit, key version, algorithm, random number.
Bytes PurseCard::initialise_purchase() {
    const Purse& purse = pending_purse();
    return responder_.answer(
        joined({four_bytes(purse.balance), two_bytes(purse.purchases), Bytes{0, 0, 0},
                Bytes{key_version, triple_des}, pending_->random}));
}

// A TAC, from both halves of its key.
Bytes PurseCard::transaction_code(View content) const {
    const Key& key = settings_.keys.transaction;
    const Block half = exclusive_or(block_of(View(key).first(8)), block_of(View(key).last(8)));
    return short_mac(single_des(half), content);
}

// Data are date, time and the host's MAC2; the answer is the TAC.
Bytes PurseCard::credit(const Command& command) {
    constexpr std::size_t moment_size = 7;
    const auto pending = pending_;
    if (!pending || !pending->load) return status_only(sw_not_now);
    if (command.parameters() != 0) return status_only(sw_wrong_parameters);
    if (command.data.size() != moment_size + mac_size) return status_only(sw_wrong_length);
    Purse& purse = pending_purse();
    pending_.reset();
    const Bytes counter = two_bytes(purse.loads);
    const Key session =
        session_of(settings_.keys.load, pending->random, counter, Bytes{0x80, 0x00});
    const Bytes type = {static_cast<std::uint8_t>(type_of_load + pending->purse)};
    const View moment = command.data.first(moment_size);
    const Bytes expected =
        short_mac(session, joined({pending->amount, type, pending->terminal, moment}));
    if (!std::ranges::equal(expected, command.data.last(mac_size)))
        return status_only(sw_mac_invalid);
    const std::uint64_t sum = std::uint64_t{purse.balance} + number_of(pending->amount);
    if (sum > UINT32_MAX) return status_only(sw_not_now);
    purse.balance = static_cast<std::uint32_t>(sum);
    ++purse.loads;
    return responder_.answer(transaction_code(joined(
        {four_bytes(purse.balance), counter, pending->amount, type, pending->terminal, moment})));
}

// Data are the terminal's counter, date, time and its MAC1; the answer is TAC and MAC2.
Bytes PurseCard::debit(const Command& command) {
    constexpr std::size_t counter_size = 4;
    constexpr std::size_t moment_size = 7;
    const auto pending = pending_;
    if (!pending || pending->load) return status_only(sw_not_now);
    if (command.p1 != 1 || command.p2 != 0) return status_only(sw_wrong_parameters);
    if (command.data.size() != counter_size + moment_size + mac_size)
        return status_only(sw_wrong_length);
    Purse& purse = pending_purse();
    pending_.reset();
    const View terminal_counter = command.data.first(counter_size);
    const View moment = command.data.subspan(counter_size, moment_size);
    const Key session = session_of(settings_.keys.purchase, pending->random,
                                   two_bytes(purse.purchases), terminal_counter.last(2));
    const Bytes type = {static_cast<std::uint8_t>(type_of_purchase + pending->purse)};
    const Bytes expected =
        short_mac(session, joined({pending->amount, type, pending->terminal, moment}));
    if (!std::ranges::equal(expected, command.data.last(mac_size)))
        return status_only(sw_mac_invalid);
    purse.balance -= number_of(pending->amount);
    ++purse.purchases;
    const Bytes code = transaction_code(
        joined({pending->amount, type, pending->terminal, terminal_counter, moment}));
    return responder_.answer(joined({code, short_mac(session, pending->amount)}));
}

}  // namespace virtual_reader
