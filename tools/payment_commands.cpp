// card, pay, logs, ssc: cards with a payment application, and social security cards.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <random>

#include <fmt/chrono.h>
#include <fmt/core.h>

#include "calls.h"
#include "commands.h"
#include "issuer_host.h"
#include "payment_calls.h"

namespace desk_tool {
namespace {

using virtual_reader::IssuerAnswer;
using virtual_reader::IssuerConfirmation;
using virtual_reader::IssuerHost;
using virtual_reader::IssuerSettings;
using virtual_reader::Verdict;

struct FieldName {
    char letter;
    const char* key;
    const char* label;
};

constexpr FieldName information_names[] = {
    {'A', "account_number", "account number"},
    {'B', "holder", "holder"},
    {'C', "id_type", "ID type"},
    {'D', "id_number", "ID number"},
    {'E', "track_2", "track 2"},
    {'F', "track_1", "track 1"},
    {'G', "ecash_balance", "e-cash balance"},
    {'H', "ecash_limit", "e-cash limit"},
    {'I', "expiry", "expires"},
    {'J', "sequence_number", "sequence number"},
    {'K', "ecash_reset", "e-cash reset"},
    {'L', "ecash_single_limit", "e-cash single"},
    {'M', "effective", "valid from"},
    {'N', "product", "product"},
};

constexpr FieldName log_names[] = {
    {'P', "amount", nullptr},  {'Q', "other_amount", nullptr}, {'R', "currency", nullptr},
    {'S', "date", nullptr},    {'T', "type", nullptr},         {'U', "time", nullptr},
    {'V', "country", nullptr}, {'W', "merchant", nullptr},     {'X', "counter", nullptr},
};

constexpr FieldName load_names[] = {
    {'O', "changed", nullptr},  {'P', "before", nullptr},  {'Q', "after", nullptr},
    {'S', "date", nullptr},     {'U', "time", nullptr},    {'V', "country", nullptr},
    {'W', "merchant", nullptr}, {'X', "counter", nullptr},
};

constexpr struct {
    const char* key;
    const char* label;
} social_security_names[] = {
    {"identification_code", "card code"},
    {"type", "card type"},
    {"version", "version"},
    {"organisation", "organisation"},
    {"issued", "issued"},
    {"expiry", "expires"},
    {"card_number", "card number"},
    {"number", "number"},
    {"name", "name"},
    {"sex", "sex"},
    {"nationality", "nationality"},
    {"place_of_birth", "place of birth"},
    {"date_of_birth", "date of birth"},
};

// Twelve digits of cents as an amount: 000000001234 is 12.34.
std::string amount_of(const std::string& digits) {
    if (digits.size() < 3) return digits;
    const std::string whole = digits.substr(0, digits.size() - 2);
    const std::size_t first = std::min(whole.find_first_not_of('0'), whole.size() - 1);
    return whole.substr(first) + "." + digits.substr(digits.size() - 2);
}

// 261121 is 2026-11-21, 101112 is 10:11:12.
std::string with_separators(const std::string& digits, const char* century, char separator) {
    if (digits.size() != 6) return digits;
    return century + digits.substr(0, 2) + separator + digits.substr(2, 2) + separator +
           digits.substr(4, 2);
}
std::string date_of(const std::string& digits) {
    return with_separators(digits, "20", '-');
}
std::string time_of(const std::string& digits) {
    return with_separators(digits, "", ':');
}

std::string trimmed(const std::string& text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

// What is paid, as the card and its issuer are told.
struct Payment {
    std::string amount;  // twelve digits of cents
    std::string date;
    std::string time;

    explicit Payment(const std::string& text) {
        const std::size_t point = std::min(text.find('.'), text.size());
        std::string cents = text.substr(std::min(point + 1, text.size()));
        cents.resize(2, '0');
        amount = fmt::format("{:0>12}", text.substr(0, point) + cents);
        const std::tm now = fmt::localtime(std::time(nullptr));
        date = fmt::format("{:%y%m%d}", now);
        time = fmt::format("{:%H%M%S}", now);
    }

    std::string transaction() const {
        return fmt::format("P012{}Q012000000000000R0040156S006{}T00200U006{}V020{:<20}", amount,
                           date, time, "DESKREADER");
    }
};

template <std::size_t Count>
void report_entries(const char* key, const std::vector<std::vector<CardField>>& entries,
                    const FieldName (&names)[Count],
                    std::string (*line)(const std::vector<CardField>&), Output& output) {
    if (entries.empty()) output.line("  none");
    for (const auto& entry : entries) {
        cJSON* object = cJSON_CreateObject();
        for (const FieldName& name : names) {
            cJSON_AddStringToObject(object, name.key,
                                    as_utf8(trimmed(value_of(entry, name.letter))).c_str());
        }
        output.row(key, object, line(entry));
    }
}

std::string transaction_line(const std::vector<CardField>& entry) {
    return fmt::format("  {} {} {:>13} {}  {}  counter {}", date_of(value_of(entry, 'S')),
                       time_of(value_of(entry, 'U')), amount_of(value_of(entry, 'P')),
                       value_of(entry, 'R'), as_utf8(value_of(entry, 'W')), value_of(entry, 'X'));
}

std::string load_line(const std::vector<CardField>& entry) {
    return fmt::format("  {} {} {:>13} -> {}  {}  counter {}", date_of(value_of(entry, 'S')),
                       time_of(value_of(entry, 'U')), amount_of(value_of(entry, 'P')),
                       amount_of(value_of(entry, 'Q')), as_utf8(value_of(entry, 'W')),
                       value_of(entry, 'X'));
}

IssuerHost issuer_of(const std::vector<CardField>& information) {
    IssuerSettings settings;
    settings.account_number = value_of(information, 'A');
    settings.sequence_number = std::atoi(value_of(information, 'J').c_str());
    return IssuerHost(settings);
}

// The card's log begins with what was just paid.
void check_log(const Payment& payment, int slot, int timeout_s, Output& output) {
    const auto entries = log_entries(CardLog::transactions, slot, timeout_s);
    if (entries.empty()) throw ToolError("the card logged nothing");
    const auto& entry = entries.front();
    if (value_of(entry, 'P') != payment.amount || value_of(entry, 'S') != payment.date ||
        value_of(entry, 'U') != payment.time) {
        throw ToolError("the card logged another payment:" + transaction_line(entry));
    }
    output.field("log", "card's log", trimmed(transaction_line(entry).substr(2)));
}

}  // namespace

void run_card(const Options& options, Output& output) {
    const Connection connection(options.link);
    const auto fields =
        card_information(options.slot_number(), "ABCDEFGHIJKLMN", options.timeout_s);
    for (const FieldName& name : information_names) {
        const std::string value = as_utf8(value_of(fields, name.letter));
        const bool is_amount = std::string("GHKL").find(name.letter) != std::string::npos;
        if (!value.empty() || output.json()) {
            output.field(name.key, name.label,
                         is_amount && !output.json() ? amount_of(value) : value);
        }
    }
}

void run_pay(const Options& options, Output& output) {
    const Connection connection(options.link);
    const Payment payment(options.amount);
    std::srand(std::random_device{}());  // the library draws its unpredictable number from rand
    const auto information = card_information(options.slot_number(), "AJ", options.timeout_s);
    IssuerHost issuer = issuer_of(information);
    output.field("account_number", "account number", value_of(information, 'A'));
    output.field("amount", "amount", amount_of(payment.amount));

    const AuthorisationRequest request =
        request_authorisation(options.slot_number(), payment.transaction(), options.timeout_s);
    output.field("request", "request", request.text);
    const IssuerAnswer answer = issuer.authorise(request.text);
    if (answer.verdict == Verdict::not_genuine) {
        power_off(request.slot);
        throw ToolError("the issuer does not know this card: " + answer.reason);
    }
    output.field("answer", "issuer's answer", answer.text);
    const CardCompletion completion = complete(request.slot, payment.transaction(), answer.text);
    output.field("completion", "card's answer", completion.cryptogram);
    output.field("script_result", "script result", completion.script_result);
    if (answer.verdict == Verdict::declined || completion.declined)
        throw ToolError("declined: " + answer.reason);
    const IssuerConfirmation confirmation = issuer.confirm(completion.cryptogram);
    if (confirmation.verdict != Verdict::approved)
        throw ToolError("the issuer does not accept the card's answer: " + confirmation.reason);
    check_log(payment, request.slot, options.timeout_s, output);
    output.field("result", "result", "paid");
}

void run_logs(const Options& options, Output& output) {
    const Connection connection(options.link);
    output.line("payments");
    report_entries("payments",
                   log_entries(CardLog::transactions, options.slot_number(), options.timeout_s),
                   log_names, transaction_line, output);
    output.line("loads");
    report_entries("loads", log_entries(CardLog::loads, options.slot_number(), options.timeout_s),
                   load_names, load_line, output);
}

void run_social_security(const Options& options, Output& output) {
    const Connection connection(options.link);
    const auto elements = social_security_elements(options.slot_number(), options.timeout_s);
    if (elements.size() != std::size(social_security_names))
        throw ToolError("an element of the card holds a separator");
    for (std::size_t i = 0; i < elements.size(); ++i) {
        output.field(social_security_names[i].key, social_security_names[i].label,
                     as_utf8(elements[i]));
    }
}

}  // namespace desk_tool
