#include "decks/payment_card.h"

#include <algorithm>

#include "cards/payment_card.h"
#include "decks/card_basics.h"

namespace virtual_reader {
namespace {

constexpr std::int64_t highest_amount = 999999999999;  // twelve digits of cents
constexpr std::size_t longest_list = 100;              // two of them fit a record
constexpr std::size_t longest_text = 40;

using Settings = PaymentCardSettings;

template <class Value>
struct Row {
    const char* key;
    Value Settings::*member;
};

constexpr Row<Bytes> contents[] = {
    {"holder", &Settings::holder},
    {"holder_more", &Settings::holder_more},
    {"identity_number", &Settings::identity_number},
    {"product", &Settings::product},
    {"track1_more", &Settings::track1_more},
};

constexpr Row<std::uint64_t> amounts[] = {
    {"balance", &Settings::balance},
    {"balance_limit", &Settings::balance_limit},
    {"reset_threshold", &Settings::reset_threshold},
    {"single_limit", &Settings::single_limit},
};

constexpr Row<bool> flags[] = {
    {"cryptogram_objects", &Settings::cryptogram_objects},
    {"directory", &Settings::directory},
};

struct KeyRow {
    const char* key;
    Key KeySet::*member;
};

constexpr KeyRow key_rows[] = {
    {"cryptogram", &KeySet::cryptogram},
    {"integrity", &KeySet::integrity},
    {"secrecy", &KeySet::secrecy},
};

KeySet read_keys(const Node& node) {
    node.allow({"cryptogram", "integrity", "secrecy"});
    KeySet keys = example_issuer_keys;
    for (const KeyRow& row : key_rows) {
        if (!node.has(row.key)) continue;
        Key& key = keys.*row.member;
        std::ranges::copy(node.at(row.key).hex(key.size(), key.size()), key.begin());
    }
    return keys;
}

std::string read_date(const Node& node) {
    const std::string date = node.digits(6, 6);
    const int month = std::stoi(date.substr(2, 2));
    const int day = std::stoi(date.substr(4, 2));
    if (month < 1 || month > 12 || day < 1 || day > 31) node.fail("a date as YYMMDD");
    return date;
}

// One or two bytes.
Tag read_tag(const Node& node) {
    const Bytes bytes = node.hex(1, 2);
    return static_cast<Tag>(bytes.size() == 1 ? bytes[0] : bytes[0] << 8 | bytes[1]);
}

Bytes read_tag_list(const Node& node) {
    Bytes list = node.hex(0, longest_list);
    if (!read_list(list)) node.fail("tags, each with a length");
    return list;
}

// A list that brings what a cryptogram covers.
Bytes read_cryptogram_list(const Node& node) {
    Bytes list = read_tag_list(node);
    if (!asks_for_cryptogram_elements(list))
        node.fail("tags 9F02, 9F03, 9F1A, 95, 5F2A, 9A, 9C and 9F37 among others");
    return list;
}

void read_account(const Node& node, Settings& settings) {
    if (node.has("application")) settings.application = node.at("application").hex(5, 16);
    if (node.has("label")) settings.label = node.at("label").text();
    if (settings.label.size() > 16) node.at("label").fail("at most 16 characters");
    if (node.has("account_number"))
        settings.account_number = node.at("account_number").digits(8, 19);
    if (node.has("sequence_number"))
        settings.sequence_number = node.at("sequence_number").number(0, 99);
    if (node.has("expiry")) settings.expiry = read_date(node.at("expiry"));
    if (node.has("effective")) settings.effective = read_date(node.at("effective"));
    if (node.has("identity_type")) settings.identity_type = node.at("identity_type").hex(1, 1);
    for (const auto& row : contents)
        if (node.has(row.key)) settings.*row.member = node.at(row.key).content(longest_text);
}

void read_memory(const Node& node, Settings& settings) {
    if (node.has("keys")) settings.issuer_keys = read_keys(node.at("keys"));
    if (node.has("pin")) settings.pin = node.at("pin").digits(4, 12);
    if (node.has("pin_tries")) settings.pin_tries = node.at("pin_tries").number(1, 15);
    if (node.has("transaction_counter")) {
        settings.transaction_counter =
            static_cast<std::uint16_t>(node.at("transaction_counter").number(0, 0xFFFF));
    }
    for (const auto& row : amounts) {
        if (node.has(row.key)) {
            settings.*row.member =
                static_cast<std::uint64_t>(node.at(row.key).large_number(0, highest_amount));
        }
    }
}

void read_behaviour(const Node& node, Settings& settings) {
    if (node.has("options")) {
        settings.options =
            static_cast<OptionsForm>(node.at("options").choice({"plain", "objects", "cryptogram"}));
    }
    if (node.has("block")) {
        settings.block = static_cast<CardBlock>(node.at("block").choice(
            {"none", "directory", "directory-locked", "application", "card"}));
    }
    for (const auto& row : flags)
        if (node.has(row.key)) settings.*row.member = node.at(row.key).flag();
    if (node.has("options_list")) {
        const Node list = node.at("options_list");
        settings.options_list = settings.options == OptionsForm::cryptogram
                                    ? read_cryptogram_list(list)
                                    : read_tag_list(list);
    }
    if (node.has("first_list")) settings.first_list = read_cryptogram_list(node.at("first_list"));
    if (node.has("second_list")) settings.second_list = read_tag_list(node.at("second_list"));
    if (node.has("without")) {
        for (const Node& tag : node.at("without").elements())
            settings.without.insert(read_tag(tag));
    }
}

}  // namespace

std::unique_ptr<Card> read_payment_card(const Node& node) {
    allow_card_keys(node, {"application",
                           "label",
                           "account_number",
                           "sequence_number",
                           "expiry",
                           "effective",
                           "holder",
                           "holder_more",
                           "identity_type",
                           "identity_number",
                           "product",
                           "track1_more",
                           "keys",
                           "pin",
                           "pin_tries",
                           "transaction_counter",
                           "balance",
                           "balance_limit",
                           "reset_threshold",
                           "single_limit",
                           "options",
                           "cryptogram_objects",
                           "directory",
                           "block",
                           "options_list",
                           "first_list",
                           "second_list",
                           "without"});
    auto settings = with_basics<PaymentCardSettings>(node);
    read_account(node, settings);
    read_memory(node, settings);
    read_behaviour(node, settings);
    return std::make_unique<PaymentCard>(std::move(settings));
}

}  // namespace virtual_reader
