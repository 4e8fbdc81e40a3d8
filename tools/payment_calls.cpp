#include "payment_calls.h"

#include <deskreader.h>

#include <array>
#include <charconv>

#include "calls.h"
#include "errors.h"
#include "waiting.h"

namespace desk_tool {
namespace {

// Of the documented sizes of each reply.
constexpr std::size_t information_room = 3627;
constexpr std::size_t request_room = 2400;
constexpr std::size_t result_room = 64;
constexpr std::size_t cryptogram_room = 1024;
constexpr std::size_t log_room = 4102;
constexpr std::size_t elements_room = 1300;

constexpr int declined_as_asked = -4115;
constexpr int no_transaction_log = -4117;
constexpr int no_load_log = -4103;

std::size_t number_of(std::string_view digits) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc{} || end != digits.data() + digits.size())
        throw ToolError("the library's reply has no number where one should be");
    return number;
}

}  // namespace

std::vector<CardField> fields_of(std::string_view text) {
    constexpr std::size_t header = 4;
    std::vector<CardField> fields;
    while (text.size() >= header) {
        const std::size_t length = number_of(text.substr(1, 3));
        if (length > text.size() - header) throw ToolError("the library's reply is cut off");
        fields.push_back({text[0], std::string(text.substr(header, length))});
        text.remove_prefix(header + length);
    }
    return fields;
}

std::string value_of(const std::vector<CardField>& fields, char letter) {
    for (const CardField& field : fields) {
        if (field.letter == letter) return field.value;
    }
    return {};
}

std::vector<CardField> card_information(int slot, const char* letters, int timeout_s) {
    std::array<char, information_room> out{};
    const Waiting waiting(timeout_s);
    check("RD_ICGetInfo", RD_ICGetInfo(slot, letters, 0, out.data(), timeout_s));
    return fields_of(out.data());
}

AuthorisationRequest request_authorisation(int slot, const std::string& transaction,
                                           int timeout_s) {
    std::array<char, request_room + 1> out{};
    int kind = 0;
    const Waiting waiting(timeout_s);
    check("RD_ICGenARQC",
          RD_ICGenARQC(slot, transaction.c_str(), request_room, out.data(), &kind, timeout_s));
    return {out.data(), kind};
}

CardCompletion complete(int slot, const std::string& transaction, const std::string& answer) {
    std::array<char, result_room + 1> script_result{};
    std::array<char, cryptogram_room + 1> cryptogram{};
    const int result = RD_ICExeScript_TC(slot, transaction.c_str(), answer.c_str(), result_room,
                                         script_result.data(), 0, cryptogram.data());
    if (result != declined_as_asked) check("RD_ICExeScript_TC", result);
    return {result == declined_as_asked, cryptogram.data(), script_result.data()};
}

std::vector<std::vector<CardField>> log_entries(CardLog log, int slot, int timeout_s) {
    constexpr std::size_t header = 5;
    const bool transactions = log == CardLog::transactions;
    std::array<char, log_room> out{};
    const Waiting waiting(timeout_s);
    const int result = transactions ? RD_ICGetDetail(slot, 0, out.data(), timeout_s)
                                    : RD_ICGetCircllog(slot, 0, out.data(), timeout_s);
    if (result == (transactions ? no_transaction_log : no_load_log)) return {};
    check(transactions ? "RD_ICGetDetail" : "RD_ICGetCircllog", result);
    const std::string_view text = out.data();
    const std::size_t count = number_of(text.substr(0, 2));
    const std::size_t length = number_of(text.substr(2, 3));
    std::vector<std::vector<CardField>> entries;
    for (std::size_t i = 0; i < count; ++i)
        entries.push_back(fields_of(text.substr(header + i * length, length)));
    return entries;
}

std::vector<std::string> social_security_elements(int slot, int timeout_s) {
    std::array<char, elements_room> out{};
    {
        const Waiting waiting(timeout_s);
        check("RD_SSCReadInfo", RD_SSCReadInfo(slot, out.data(), timeout_s));
    }
    power_off(slot);  // it is left powered
    std::vector<std::string> elements(1);
    for (const char c : std::string_view(out.data())) {
        if (c == '|') {
            elements.emplace_back();
        } else {
            elements.back() += c;
        }
    }
    return elements;
}

}  // namespace desk_tool
