#include "cards/payment_profile.h"

#include <algorithm>

namespace virtual_reader {
namespace {

constexpr int digits_of_amount = 12;
constexpr std::string_view service_code = "220";  // national, by the issuer only, no restriction

// Digits as bytes, an odd one filled up with F.
Bytes digits(std::string text) {
    if (text.size() % 2 != 0) text += 'F';
    return from_hex(text);
}

Bytes two_digits(int number) {
    return {static_cast<std::uint8_t>(number / 10 << 4 | number % 10)};
}

Bytes usual_options_list(OptionsForm form, bool contactless) {
    if (form == OptionsForm::cryptogram || contactless)
        return from_hex("9F66049F02069F03069F1A0295055F2A029A039C019F3704");
    return from_hex("9F7A019F02065F2A02");
}

}  // namespace

// Amounts, country, verification results, currency, date, type, unpredictable number, time,
// merchant.
Bytes PaymentCardSettings::usual_first_list() {
    return from_hex("9F02069F03069F1A0295055F2A029A039C019F37049F21039F4E14");
}

// The same behind the issuer's response code.
Bytes PaymentCardSettings::usual_second_list() {
    Bytes list = from_hex("8A02");
    append(list, usual_first_list());
    return list;
}

bool asks_for_cryptogram_elements(View list) {
    const auto entries = read_list(list);
    if (!entries) return false;
    return std::ranges::all_of(cryptogram_elements, [&](Tag tag) {
        return std::ranges::find(*entries, tag, &ListEntry::tag) != entries->end();
    });
}

Bytes amount_bytes(std::uint64_t cents) {
    std::string text(digits_of_amount, '0');
    for (auto digit = text.rbegin(); digit != text.rend(); ++digit, cents /= 10)
        *digit = static_cast<char>('0' + cents % 10);
    return from_hex(text);
}

std::uint64_t amount_of(View digits) {
    std::uint64_t cents = 0;
    for (const std::uint8_t byte : digits)
        cents = cents * 100 + (byte >> 4) * 10u + (byte & 0x0Fu);
    return cents;
}

PaymentProfile::PaymentProfile(const PaymentCardSettings& settings)
    : settings_(settings),
      options_list_(settings.options_list.value_or(
          usual_options_list(settings.options, settings.contactless))) {}

Bytes PaymentProfile::object(Tag tag, View value) const {
    return settings_.without.contains(tag) ? Bytes{} : data_object(tag, value);
}

Bytes PaymentProfile::directory_information() const {
    Bytes proprietary = object(0x88, Bytes{directory_file});
    append(proprietary, object(0x5F2D, to_bytes(std::string_view("en"))));
    Bytes content = data_object(0x84, to_bytes(directory_name));
    append(content, data_object(0xA5, proprietary));
    return data_object(0x6F, content);
}

Bytes PaymentProfile::directory_record() const {
    Bytes entry = object(0x4F, settings_.application);
    append(entry, object(0x50, to_bytes(settings_.label)));
    append(entry, object(0x87, Bytes{1}));
    return data_object(0x70, data_object(0x61, entry));
}

Bytes PaymentProfile::application_information() const {
    Bytes proprietary = object(0x50, to_bytes(settings_.label));
    append(proprietary, object(0x87, Bytes{1}));
    if (!options_list_.empty()) append(proprietary, object(0x9F38, options_list_));
    append(proprietary, object(0x5F2D, to_bytes(std::string_view("en"))));
    Bytes logs = object(0x9F4D, Bytes{transaction_log_file, log_records});
    append(logs, object(0xDF4D, Bytes{load_log_file, log_records}));
    append(proprietary, data_object(0xBF0C, logs));
    Bytes content = data_object(0x84, settings_.application);
    append(content, data_object(0xA5, proprietary));
    return data_object(0x6F, content);
}

// Files 1 to 3 with a record each; none of them is signed.
Bytes PaymentProfile::file_locator() const {
    return {0x08, 0x01, 0x01, 0x00, 0x10, 0x01, 0x01, 0x00, 0x18, 0x01, 0x01, 0x00};
}

// Account number, separator, expiry, service code, five digits of the issuer's own.
Bytes PaymentProfile::track2() const {
    return digits(settings_.account_number + 'D' + settings_.expiry.substr(0, 4) +
                  std::string(service_code) + "00000");
}

std::map<PaymentProfile::Place, Bytes> PaymentProfile::records() const {
    const std::pair<std::uint8_t, std::vector<std::pair<Tag, Bytes>>> files[] = {
        {1,
         {{0x57, track2()},
          {0x5F20, settings_.holder},
          {0x9F0B, settings_.holder_more},
          {0x9F1F, settings_.track1_more},
          {0x9F61, settings_.identity_number},
          {0x9F62, settings_.identity_type}}},
        {2,
         {{0x5A, digits(settings_.account_number)},
          {0x5F24, from_hex(settings_.expiry)},
          {0x5F25, from_hex(settings_.effective)},
          {0x5F34, two_digits(settings_.sequence_number)},
          {0x9F63, settings_.product},
          {0x5F28, from_hex("0156")},
          {0x9F07, from_hex("FF00")}}},
        {3,
         {{0x8C, settings_.first_list},
          {0x8D, settings_.second_list},
          {0x9F0D, from_hex("0000000000")},
          {0x9F0E, from_hex("0000000000")},
          {0x9F0F, from_hex("0000000000")}}},
    };
    std::map<Place, Bytes> records;
    for (const auto& [file, objects] : files) {
        Bytes content;
        for (const auto& [tag, value] : objects)
            append(content, object(tag, value));
        records[{file, 1}] = data_object(0x70, content);
    }
    return records;
}

Bytes PaymentProfile::short_record() const {
    Bytes objects = object(0x57, track2());
    append(objects, object(0x5A, digits(settings_.account_number)));
    append(objects, object(0x5F20, settings_.holder));
    append(objects, object(0x5F24, from_hex(settings_.expiry)));
    append(objects, object(0x5F34, two_digits(settings_.sequence_number)));
    return objects;
}

}  // namespace virtual_reader
