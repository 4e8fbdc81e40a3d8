// card, pay, logs, ssc: cards with a payment application, and social security cards.
#include <iterator>

#include "commands.h"
#include "connection.h"
#include "payment_calls.h"
#include "payment_text.h"
#include "purchase.h"
#include "text.h"

namespace desk_tool {
namespace {

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
        output.row(key, object, "  " + line(entry));
    }
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
    Purchase purchase(options.amount, options.slot_number(), options.timeout_s);
    purchase.read_card();
    output.field("account_number", "account number", purchase.account_number());
    output.field("amount", "amount", purchase.amount());
    output.field("request", "request", purchase.request());
    output.field("answer", "issuer's answer", purchase.ask_issuer());
    const CardCompletion& completion = purchase.complete();
    output.field("completion", "card's answer", completion.cryptogram);
    output.field("script_result", "script result", completion.script_result);
    purchase.confirm();
    output.field("log", "card's log", purchase.check_log());
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
