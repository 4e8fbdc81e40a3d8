#include "cards/payment_logs.h"

namespace virtual_reader {
namespace {

constexpr Tag date = 0x9A;
constexpr Tag time_of_day = 0x9F21;
constexpr Tag amount = 0x9F02;
constexpr Tag other_amount = 0x9F03;
constexpr Tag country = 0x9F1A;
constexpr Tag currency = 0x5F2A;
constexpr Tag merchant = 0x9F4E;
constexpr Tag type = 0x9C;
constexpr Tag counter = 0x9F36;

// Date, time, both amounts, country, currency, merchant, type, counter: 45 bytes.
constexpr ListEntry transaction_form[] = {
    {date, 3},     {time_of_day, 3}, {amount, 6}, {other_amount, 6}, {country, 2},
    {currency, 2}, {merchant, 20},   {type, 1},   {counter, 2},
};

constexpr ListEntry load_form[] = {
    {date, 3}, {time_of_day, 3}, {country, 2}, {merchant, 20}, {counter, 2}};

void append_elements(Bytes& record, const PaymentTransaction& transaction,
                     std::span<const ListEntry> form) {
    for (const ListEntry& entry : form) {
        Bytes value = transaction.told(entry.tag);
        if (entry.tag == counter) {
            value = {static_cast<std::uint8_t>(transaction.counter() >> 8),
                     static_cast<std::uint8_t>(transaction.counter())};
        }
        value.resize(entry.length);
        append(record, value);
    }
}

}  // namespace

void CyclicLog::add(Bytes record) {
    records_.push_front(std::move(record));
    if (records_.size() > capacity_) records_.pop_back();
}

const Bytes* CyclicLog::record(std::size_t number) const {
    return number == 0 || number > records_.size() ? nullptr : &records_[number - 1];
}

Bytes transaction_log_record(const PaymentTransaction& transaction) {
    Bytes record;
    append_elements(record, transaction, transaction_form);
    return record;
}

Bytes transaction_log_form() {
    Bytes list;
    for (const ListEntry& entry : transaction_form) {
        Bytes element = data_object(entry.tag, {});
        element.back() = static_cast<std::uint8_t>(entry.length);
        append(list, element);
    }
    return list;
}

Bytes load_log_record(const PaymentTransaction& transaction, Tag tag, View before, View after) {
    Bytes record = {static_cast<std::uint8_t>(tag >> 8), static_cast<std::uint8_t>(tag)};
    append(record, before);
    append(record, after);
    append_elements(record, transaction, load_form);
    return record;
}

}  // namespace virtual_reader
