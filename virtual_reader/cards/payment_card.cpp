#include "cards/payment_card.h"

#include <algorithm>

namespace virtual_reader {
namespace {

constexpr Tag balance = 0x9F79;
constexpr Tag balance_limit = 0x9F77;
constexpr Tag reset_threshold = 0x9F6D;
constexpr Tag single_limit = 0x9F78;
constexpr Tag transaction_counter = 0x9F36;
constexpr Tag last_online_counter = 0x9F13;
constexpr Tag pin_tries = 0x9F17;
constexpr Tag log_form = 0x9F4F;
constexpr Tag amount = 0x9F02;

constexpr std::size_t amount_size = 6;
constexpr std::uint16_t last_transaction = 0xFFFF;

constexpr std::uint8_t plain_pin = 0x80;       // P2 of VERIFY
constexpr std::uint16_t unblock_pin = 0x0000;  // P1 P2 of PIN CHANGE/UNBLOCK
constexpr std::uint16_t pin_without_former = 0x0002;

constexpr std::uint8_t read_by_number = 0x04;  // the low three bits of P2

Bytes two_bytes(std::uint16_t number) {
    return {static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
}

bool is_name(View name, View known) {
    return !name.empty() && name.size() <= known.size() &&
           std::ranges::equal(known.first(name.size()), name);
}

// Two digits a byte.
bool is_amount(View bytes) {
    return bytes.size() == amount_size && std::ranges::all_of(bytes, [](std::uint8_t byte) {
               return byte >> 4 <= 9 && (byte & 0x0F) <= 9;
           });
}

// A PIN block of format 2 with 4 to 12 digits.
bool is_pin_block(const Block& block) {
    const std::string text = to_hex(block);
    const std::size_t count = std::string_view("0123456789ABC").find(text[1]);
    if (text[0] != '2' || count == std::string_view::npos || count < 4) return false;
    return text.find_first_not_of("0123456789", 2) == 2 + count &&
           text.find_first_not_of('F', 2 + count) == std::string::npos;
}

}  // namespace

PaymentCard::PaymentCard(PaymentCardSettings settings)
    : settings_(std::move(settings)),
      profile_(settings_),
      keys_(card_keys(settings_.issuer_keys, settings_.account_number, settings_.sequence_number)),
      responder_(settings_.by_procedure_bytes),
      counter_(settings_.transaction_counter),
      pin_(pin_block(settings_.pin)),
      tries_left_(settings_.pin_tries),
      blocked_(settings_.block == CardBlock::application),
      limits_{{balance, amount_bytes(settings_.balance)},
              {balance_limit, amount_bytes(settings_.balance_limit)},
              {reset_threshold, amount_bytes(settings_.reset_threshold)},
              {single_limit, amount_bytes(settings_.single_limit)}},
      records_(profile_.records()),
      transactions_(PaymentProfile::log_records),
      loads_(PaymentProfile::log_records) {}

Bytes PaymentCard::power_on() {
    power_off();
    return settings_.answer;
}

void PaymentCard::power_off() {
    selected_ = Selected::nothing;
    transaction_.reset();
    responder_.forget();
}

struct PaymentCard::Row {
    std::uint8_t cla;
    std::uint8_t ins;
    Handler handler;
};

Bytes PaymentCard::transmit(View bytes) {
    static constexpr Row rows[] = {
        {0x00, ins_get_response, &PaymentCard::get_response},
        {0x00, 0xA4, &PaymentCard::select},
        {0x00, 0xB2, &PaymentCard::read_record},
        {0x80, 0xCA, &PaymentCard::get_data},
        {0x80, 0xA8, &PaymentCard::get_processing_options},
        {0x00, 0x20, &PaymentCard::verify},
        {0x00, 0x82, &PaymentCard::external_authenticate},
        {0x80, 0xAE, &PaymentCard::generate_cryptogram},
        {0x84, 0x1E, &PaymentCard::run_script},
        {0x84, 0x18, &PaymentCard::run_script},
        {0x84, 0x24, &PaymentCard::run_script},
        {0x04, 0xDA, &PaymentCard::run_script},
        {0x04, 0xDC, &PaymentCard::run_script},
    };
    const auto command = Command::parse(bytes);
    if (!command) return status_only(sw_wrong_length);
    responder_.begin(*command);
    const Row* row = std::ranges::find(rows, command->ins, &Row::ins);
    if (row == std::end(rows)) return status_only(sw_unknown_instruction);
    if (row->cla != command->cla) return status_only(sw_unknown_class);
    return (this->*row->handler)(*command);
}

Bytes PaymentCard::get_response(const Command& command) {
    return responder_.get_response(command);
}

Bytes PaymentCard::select(const Command& command) {
    if (settings_.block == CardBlock::card) return status_only(sw_not_supported);
    if (command.parameters() != 0x0400) return status_only(sw_wrong_parameters);
    if (settings_.directory && is_name(command.data, to_bytes(PaymentProfile::directory_name)))
        return select_directory();
    if (is_name(command.data, settings_.application)) return select_application();
    return status_only(sw_file_not_found);
}

Bytes PaymentCard::select_directory() {
    constexpr std::uint16_t sw_directory_locked = 0x9303;
    if (settings_.block == CardBlock::directory_locked) return status_only(sw_directory_locked);
    selected_ = Selected::directory;
    transaction_.reset();
    return responder_.answer(profile_.directory_information(),
                             settings_.block == CardBlock::directory ? sw_invalidated : sw_success);
}

Bytes PaymentCard::select_application() {
    selected_ = Selected::application;
    transaction_.reset();
    return responder_.answer(profile_.application_information(),
                             blocked_ ? sw_invalidated : sw_success);
}

const Bytes* PaymentCard::record(std::uint8_t file, std::uint8_t number) const {
    if (file == PaymentProfile::transaction_log_file) return transactions_.record(number);
    if (file == PaymentProfile::load_log_file) return loads_.record(number);
    const auto found = records_.find({file, number});
    return found == records_.end() ? nullptr : &found->second;
}

Bytes PaymentCard::read_record(const Command& command) {
    if (selected_ == Selected::nothing) return status_only(sw_not_now);
    if ((command.p2 & 0x07) != read_by_number) return status_only(sw_wrong_parameters);
    if (!command.le) return status_only(sw_wrong_length);
    const std::uint8_t file = command.p2 >> 3;
    if (selected_ == Selected::directory) {
        if (file != PaymentProfile::directory_file) return status_only(sw_file_not_found);
        if (command.p1 != 1) return status_only(sw_record_not_found);
        return responder_.read(profile_.directory_record(), command);
    }
    const Bytes* found = record(file, command.p1);
    if (found != nullptr) return responder_.read(*found, command);
    const bool is_log =
        file == PaymentProfile::transaction_log_file || file == PaymentProfile::load_log_file;
    return status_only(is_log || record(file, 1) != nullptr ? sw_record_not_found
                                                            : sw_file_not_found);
}

std::optional<Bytes> PaymentCard::data_value(Tag tag) const {
    if (settings_.without.contains(tag)) return std::nullopt;
    const auto limit = limits_.find(tag);
    if (limit != limits_.end()) return limit->second;
    switch (tag) {
        case transaction_counter:
            return two_bytes(counter_);
        case last_online_counter:
            return two_bytes(last_online_counter_);
        case pin_tries:
            return Bytes{static_cast<std::uint8_t>(tries_left_)};
        case log_form:
            return transaction_log_form();
        default:
            return std::nullopt;
    }
}

Bytes PaymentCard::get_data(const Command& command) {
    if (selected_ != Selected::application) return status_only(sw_not_now);
    const Tag tag = command.parameters();
    const auto value = data_value(tag);
    if (!value) return status_only(sw_data_not_found);
    return responder_.read(data_object(tag, *value), command);
}

// Begins a transaction; the next one needs another selection.
Bytes PaymentCard::get_processing_options(const Command& command) {
    constexpr std::uint8_t template_of_data = 0x83;
    if (selected_ != Selected::application || transaction_ || counter_ == last_transaction)
        return status_only(sw_not_now);
    if (command.parameters() != 0) return status_only(sw_wrong_parameters);
    if (command.data.size() < 2 || command.data[1] != command.data.size() - 2)
        return status_only(sw_wrong_length);
    if (command.data[0] != template_of_data) return status_only(sw_wrong_data);
    PaymentTransaction transaction(keys_, static_cast<std::uint16_t>(counter_ + 1), history_);
    if (!transaction.tell(profile_.options_list(), command.data.subspan(2)))
        return status_only(sw_wrong_length);
    ++counter_;
    transaction_ = transaction;
    const Bytes interchange = to_bytes(View(PaymentProfile::interchange_profile));
    if (settings_.options == OptionsForm::plain) {
        Bytes both = interchange;
        append(both, profile_.file_locator());
        return responder_.answer(data_object(0x80, both));
    }
    Bytes objects = profile_.object(0x82, interchange);
    if (settings_.options == OptionsForm::objects) {
        append(objects, profile_.object(0x94, profile_.file_locator()));
    } else {
        append(objects, cryptogram_objects(begin_online()));
        append(objects, profile_.short_record());
    }
    return responder_.answer(data_object(0x77, objects));
}

Bytes PaymentCard::verify(const Command& command) {
    if (selected_ != Selected::application) return status_only(sw_not_now);
    if (command.p1 != 0 || command.p2 != plain_pin) return status_only(sw_wrong_parameters);
    if (command.data.size() != pin_.size()) return status_only(sw_wrong_length);
    if (tries_left_ == 0) return status_only(sw_pin_blocked);
    const bool right = std::ranges::equal(command.data, pin_);
    if (transaction_) transaction_->pin_was_checked(right);
    tries_left_ = right ? settings_.pin_tries : tries_left_ - 1;
    history_.pin_blocked = tries_left_ == 0;
    return right ? status_only(sw_success) : status_of_tries(tries_left_);
}

Bytes PaymentCard::external_authenticate(const Command& command) {
    constexpr std::size_t answer_size = sizeof(Block) + sizeof(ResponseCode);
    if (!transaction_ || !transaction_->may_authenticate()) return status_only(sw_not_now);
    if (command.parameters() != 0) return status_only(sw_wrong_parameters);
    if (command.data.size() != answer_size) return status_only(sw_wrong_length);
    if (!transaction_->authenticate(command.data)) return status_only(sw_not_authentic);
    // The issuer has seen them in the request.
    history_.script_commands = 0;
    history_.script_failed = false;
    return status_only(sw_success);
}

Cryptogram PaymentCard::begin_online() {
    history_.online_unfinished = true;
    return transaction_->first(CryptogramKind::request);
}

// From the balance, up to the limit of a single payment.
bool PaymentCard::spend(std::uint64_t cents) {
    const std::uint64_t held = amount_of(limits_.at(balance));
    if (blocked_ || cents > held || cents > amount_of(limits_.at(single_limit))) return false;
    limits_.at(balance) = amount_bytes(held - cents);
    return true;
}

Bytes PaymentCard::generate_cryptogram(const Command& command) {
    if (!transaction_ || transaction_->stage() == PaymentTransaction::Stage::ended)
        return status_only(sw_not_now);
    if ((command.p1 & 0x3F) != 0 || command.p2 != 0) return status_only(sw_wrong_parameters);
    return transaction_->stage() == PaymentTransaction::Stage::begun ? first_cryptogram(command)
                                                                     : second_cryptogram(command);
}

// An approval without the issuer is paid from the balance; what that does not bear goes online.
Bytes PaymentCard::first_cryptogram(const Command& command) {
    constexpr std::uint8_t unknown_kind = 0xC0;
    if (command.p1 == unknown_kind) return status_only(sw_wrong_parameters);
    if (!transaction_->tell(settings_.first_list, command.data))
        return status_only(sw_wrong_length);
    if (blocked_ || command.p1 == static_cast<std::uint8_t>(CryptogramKind::decline))
        return cryptogram_answer(transaction_->first(CryptogramKind::decline));
    const bool offline = command.p1 == static_cast<std::uint8_t>(CryptogramKind::approval) &&
                         spend(amount_of(transaction_->told(amount)));
    if (!offline) return cryptogram_answer(begin_online());
    transactions_.add(transaction_log_record(*transaction_));
    return cryptogram_answer(transaction_->first(CryptogramKind::approval));
}

// After a request: 40 approves if the issuer agreed, 00 declines, and C0, a referral that nobody
// has answered, declines as well.
Bytes PaymentCard::second_cryptogram(const Command& command) {
    if (command.p1 == static_cast<std::uint8_t>(CryptogramKind::request))
        return status_only(sw_wrong_parameters);
    if (!transaction_->tell(settings_.second_list, command.data))
        return status_only(sw_wrong_length);
    const bool approve = command.p1 == static_cast<std::uint8_t>(CryptogramKind::approval) &&
                         transaction_->approval_stands() && !blocked_;
    history_.online_unfinished = false;
    if (transaction_->issuer_authentic()) last_online_counter_ = counter_;
    if (approve) transactions_.add(transaction_log_record(*transaction_));
    return cryptogram_answer(transaction_->second(approve));
}

Bytes PaymentCard::cryptogram_objects(const Cryptogram& cryptogram) const {
    Bytes objects = profile_.object(0x9F27, Bytes{static_cast<std::uint8_t>(cryptogram.kind)});
    append(objects, profile_.object(transaction_counter, two_bytes(counter_)));
    append(objects, profile_.object(0x9F26, cryptogram.value));
    append(objects, profile_.object(0x9F10, cryptogram.issuer_data));
    return objects;
}

Bytes PaymentCard::cryptogram_answer(const Cryptogram& cryptogram) {
    if (settings_.cryptogram_objects)
        return responder_.answer(data_object(0x77, cryptogram_objects(cryptogram)));
    Bytes plain = {static_cast<std::uint8_t>(cryptogram.kind)};
    append(plain, two_bytes(counter_));
    append(plain, cryptogram.value);
    append(plain, cryptogram.issuer_data);
    return responder_.answer(data_object(0x80, plain));
}

// Every script command has to carry its MAC; the issuer hears of failures with the next request.
Bytes PaymentCard::run_script(const Command& command) {
    static constexpr Row rows[] = {
        {0x84, 0x1E, &PaymentCard::block_application},
        {0x84, 0x18, &PaymentCard::unblock_application},
        {0x84, 0x24, &PaymentCard::change_pin},
        {0x04, 0xDA, &PaymentCard::put_data},
        {0x04, 0xDC, &PaymentCard::update_record},
    };
    if (!transaction_ || !transaction_->scripts_allowed()) return status_only(sw_not_now);
    ++history_.script_commands;
    Bytes status;
    if (command.data.size() < script_mac_size) {
        status = status_only(sw_mac_missing);
    } else if (!transaction_->is_genuine(command)) {
        status = status_only(sw_mac_wrong);
    } else {
        Command content = command;
        content.data = command.data.first(command.data.size() - script_mac_size);
        status = (this->*std::ranges::find(rows, command.ins, &Row::ins)->handler)(content);
    }
    if (status != status_only(sw_success)) history_.script_failed = true;
    return status;
}

Bytes PaymentCard::block_application(const Command& command) {
    if (command.parameters() != 0) return status_only(sw_wrong_parameters);
    if (!command.data.empty()) return status_only(sw_wrong_length);
    blocked_ = true;
    return status_only(sw_success);
}

Bytes PaymentCard::unblock_application(const Command& command) {
    if (command.parameters() != 0) return status_only(sw_wrong_parameters);
    if (!command.data.empty()) return status_only(sw_wrong_length);
    blocked_ = false;
    return status_only(sw_success);
}

Bytes PaymentCard::change_pin(const Command& command) {
    if (command.parameters() == pin_without_former) {
        const auto block = transaction_->deciphered(command.data);
        if (!block) return status_only(sw_wrong_length);
        if (!is_pin_block(*block)) return status_only(sw_wrong_data);
        pin_ = *block;
    } else if (command.parameters() != unblock_pin) {
        return status_only(sw_wrong_parameters);
    } else if (!command.data.empty()) {
        return status_only(sw_wrong_length);
    }
    tries_left_ = settings_.pin_tries;
    history_.pin_blocked = false;
    return status_only(sw_success);
}

// The balance stays within its limit, and a change of it is logged.
Bytes PaymentCard::put_data(const Command& command) {
    const Tag tag = command.parameters();
    const auto limit = limits_.find(tag);
    if (limit == limits_.end()) return status_only(sw_data_not_found);
    if (command.data.size() != amount_size) return status_only(sw_wrong_length);
    if (!is_amount(command.data)) return status_only(sw_wrong_data);
    if (tag == balance) {
        if (amount_of(command.data) > amount_of(limits_.at(balance_limit)))
            return status_only(sw_wrong_data);
        loads_.add(load_log_record(*transaction_, tag, limit->second, command.data));
    }
    limit->second = to_bytes(command.data);
    return status_only(sw_success);
}

Bytes PaymentCard::update_record(const Command& command) {
    if ((command.p2 & 0x07) != read_by_number) return status_only(sw_wrong_parameters);
    const std::uint8_t file = command.p2 >> 3;
    if (file == PaymentProfile::transaction_log_file || file == PaymentProfile::load_log_file)
        return status_only(sw_wrong_file_type);
    const auto found = records_.find({file, command.p1});
    if (found == records_.end()) {
        return status_only(records_.contains({file, 1}) ? sw_record_not_found : sw_file_not_found);
    }
    found->second = to_bytes(command.data);
    return status_only(sw_success);
}

}  // namespace virtual_reader
