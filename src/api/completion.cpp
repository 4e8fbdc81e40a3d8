// RD_ICExeScript_TC and RD_ICExeScript, and the engine of the former.
#include "api/completion.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include "api/transaction_data.h"
#include "cards/terminal_data.h"
#include "cards/tlv.h"
#include "status.h"
#include "support/log.h"
#include "support/pointers.h"
#include "support/text.h"

using namespace deskreader;
using api::Bytes;

namespace {

constexpr std::uint8_t tag_authentication_data[] = {0x91};
constexpr std::uint8_t tag_response_code[] = {0x8A};
constexpr std::uint8_t tag_cdol2[] = {0x8D};
constexpr std::uint8_t tag_script_identifier[] = {0x9F, 0x18};
constexpr std::uint8_t tag_script_before[] = {0x71};  // the second GENERATE AC
constexpr std::uint8_t tag_script_after[] = {0x72};

// A script result: tag DF31, length 5, then the outcome, the number of the failed command and the
// script's identifier. Its parts by their place in the text:
constexpr std::string_view no_script = "DF31051000000000";
constexpr std::string_view script_done = "DF31052000000000";
constexpr std::size_t outcome_digit = 6;
constexpr std::size_t failed_command_digit = 7;
constexpr std::size_t identifier_begin = 8;

constexpr std::size_t response_code_begin = 8;  // in the issuer authentication data
constexpr std::size_t response_code_size = 2;

// What the issuer's response code makes the terminal ask for.
struct Decision {
    std::string_view code;
    int request;   // reference control parameter
    bool checked;  // whether an answer that is declined ends the flow
    int declined;
};

constexpr int request_tc = 0x40;
constexpr int request_aac = 0x00;
constexpr int request_both = 0xC0;

constexpr Decision decisions[] = {
    {"00", request_tc, true, status::approval_refused},
    {"10", request_tc, true, status::approval_refused},
    {"11", request_tc, true, status::approval_refused},
    {"01", request_both, false, status::ok},
    {"02", request_both, false, status::ok},
};

// kept: a decline that went as expected is reported by this number too.
constexpr Decision decline{{}, request_aac, true, status::transaction_declined};

Decision decision_for(std::string_view code) noexcept {
    const auto* known = std::ranges::find(decisions, code, &Decision::code);
    return known == std::end(decisions) ? decline : *known;
}

// What the issuer answered, as bytes.
class IssuerData {
  public:
    explicit IssuerData(std::string_view text) noexcept : size_(text::from_hex(text, bytes_)) {}

    Bytes bytes() const noexcept { return std::span(bytes_).first(size_); }

    std::optional<Bytes> find(Bytes tag) const noexcept { return tlv::find_value(bytes(), tag); }

    bool has_script() const noexcept {
        return find(tag_script_before).has_value() || find(tag_script_after).has_value();
    }

    int run_script(int slot) const noexcept {
        return PBOC_ExeScript(&context, slot, bytes_.data(), static_cast<int>(size_));
    }

  private:
    std::array<std::uint8_t, 512> bytes_;
    std::size_t size_;
};

bool is_issuer_text(const char* text) noexcept {
    return api::is_transaction_text(text) && IsHexDataValue(text) != 0;
}

int fail_quietly(const char* text, int number) noexcept {
    GLogI("%s", text);
    return number;
}

void copy_text(std::string_view text, char* out) noexcept {
    std::memcpy(out, text.data(), text.size());
    out[text.size()] = '\0';
}

// Puts the script's identifier into the result, as much as there is room for.
void write_identifier(const IssuerData& issuer, char* result, int result_size) noexcept {
    const auto identifier = issuer.find(tag_script_identifier);
    const auto room = static_cast<std::size_t>(std::max(result_size, 0));
    if (!identifier || room <= identifier_begin) return;
    const std::size_t end =
        identifier_begin +
        text::to_hex(*identifier, {result + identifier_begin, room - identifier_begin - 1});
    if (end > no_script.size()) result[end] = '\0';
}

int authenticate_issuer(const IssuerData& issuer, int slot) noexcept {
    const auto data = issuer.find(tag_authentication_data);
    if (!data) return api::fail("GetTag 91 Error!\r\n", status::external_authentication_failed);
    if (PBOC_ExternalAuth(&context, slot, data->data(), static_cast<int>(data->size())) !=
        status::ok) {
        return api::fail("PBOC_ExternalAuth Error!\r\n", status::external_authentication_failed);
    }
    return status::ok;
}

using ResponseCode = std::array<std::uint8_t, response_code_size>;

// The response code behind the authentication cryptogram; zeros where the data are too short.
ResponseCode store_response_code(const IssuerData& issuer) noexcept {
    const Bytes data = issuer.find(tag_authentication_data).value_or(Bytes{});
    ResponseCode code{};
    for (std::size_t i = 0; i < code.size() && response_code_begin + i < data.size(); ++i)
        code[i] = data[response_code_begin + i];
    PBOC_SetTxDataTagValue(tag_response_code, sizeof tag_response_code, code.data(), code.size());
    return code;
}

// The second GENERATE AC. A command that fails leaves an empty answer.
int finish_application(int slot, const Decision& decision, Bytes list, char* cryptogram) noexcept {
    GLogI("uszCDOL2 = %s\r\n", log::HexText<512>(list).c_str());
    std::array<std::uint8_t, 512> data;
    std::size_t size = 0;
    if (!terminal_data::answer_list(list, data, size))
        return fail_quietly("PBOC_BuildDOL Error!\r\n", status::data_object_list_failed);
    GLogI("szDOL = %s\r\n", log::HexText<1024>(std::span(data).first(size)).c_str());

    std::array<unsigned char, 512> answer{};
    int answer_size = 0;
    PBOC_GenerateAC(&context, slot, decision.request, data.data(), static_cast<int>(size),
                    answer.data(), &answer_size);
    const Bytes given = std::span(answer).first(static_cast<std::size_t>(answer_size));
    text::to_hex(given, {cryptogram, 2 * given.size()});
    GLogI("GenerateAC szTC = %s\r\n", log::HexText<1024>(given).c_str());

    constexpr std::uint8_t type_bits = 0xC0;  // of the cryptogram information data; 00 is an AAC
    const bool declined = given.empty() || (given[0] & type_bits) == 0;
    return decision.checked && declined ? decision.declined : status::ok;
}

// The outcome of a script: 2 and nothing, or 1 and the number of the command that failed.
int run_issuer_script(const api::Completion& completion, const IssuerData& issuer) noexcept {
    if (!issuer.has_script()) {
        GLogE("GetTag 71/72 Error!\r\n");
        return status::ok;
    }
    const int failed_command = issuer.run_script(completion.slot);
    if (failed_command == status::ok) {
        completion.result[outcome_digit] = '2';
        return status::ok;
    }
    constexpr unsigned last_digit = 15;
    const unsigned digit = std::min(static_cast<unsigned>(failed_command), last_digit);
    completion.result[outcome_digit] = '1';
    completion.result[failed_command_digit] = "0123456789ABCDEF"[digit];
    return api::fail("PBOC_ExeScript Error!\r\n", completion.script_failure);
}

// What RD_ICGenARQC kept: six digits with the length of what follows them.
Bytes kept_application_data() noexcept {
    constexpr std::size_t digits = 6;
    std::array<char, digits + 1> length{};
    std::memcpy(length.data(), g_IccAppData, digits);
    const long size = std::clamp(std::strtol(length.data(), nullptr, 10), 0L,
                                 static_cast<long>(sizeof g_IccAppData - digits));
    GLogI("iAppDataLen = %d\r\n", static_cast<int>(size));
    GLogI("g_IccAppData = %.*s\r\n", static_cast<int>(sizeof g_IccAppData),
          reinterpret_cast<const char*>(g_IccAppData));
    return {g_IccAppData + digits, static_cast<std::size_t>(size)};
}

}  // namespace

namespace deskreader::api {

int complete_transaction(const Completion& completion) noexcept {
    const PoweredCard card(completion.slot);
    if (!is_transaction_text(completion.transaction))
        return fail_quietly("szTxdata Error!\r\n", status::invalid_parameter);
    if (!is_issuer_text(completion.issuer_text))
        return fail_quietly("szARPCBack Error!\r\n", status::invalid_parameter);
    copy_text(no_script, completion.result);
    const auto list = tlv::find_value(completion.application_data, tag_cdol2);
    if (!list) return fail_quietly("Find tag 8D Error!\r\n", status::cdol2_missing);

    const IssuerData issuer(completion.issuer_text);
    write_identifier(issuer, completion.result, completion.result_size);
    const int authenticated = authenticate_issuer(issuer, card.kind());
    if (authenticated != status::ok) return authenticated;
    const ResponseCode code = store_response_code(issuer);
    const int stored = store_transaction_fields(completion.transaction);
    if (stored != status::ok) return stored;
    const Decision decision =
        decision_for({reinterpret_cast<const char*>(code.data()), code.size()});
    const int finished = finish_application(card.kind(), decision, *list, completion.cryptogram);
    if (finished != status::ok) return finished;
    return run_issuer_script(completion, issuer);
}

}  // namespace deskreader::api

int RD_ICExeScript_TC(int slot, const char* transaction, const char* issuer_text, int result_size,
                      char* result, int, char* cryptogram) {
    if (any_null(result, cryptogram)) return status::invalid_parameter;
    return api::complete_transaction({
        .slot = slot,
        .transaction = transaction,
        .issuer_text = issuer_text,
        .result_size = result_size,
        .result = result,
        .cryptogram = cryptogram,
        .application_data = kept_application_data(),
        .script_failure = status::script_failed,
    });
}

int RD_ICExeScript(int slot, const char* transaction, const char* issuer_text, int, char* result) {
    if (any_null(result)) return status::invalid_parameter;
    const api::PoweredCard card(slot);
    if (!api::is_transaction_text(transaction) || !is_issuer_text(issuer_text))
        return api::fail("szTxdata Error!\r\n", status::invalid_parameter);
    copy_text(no_script, result);
    const IssuerData issuer(issuer_text);
    const int authenticated = authenticate_issuer(issuer, slot);
    if (authenticated != status::ok) return authenticated;
    // kept: stricter than RD_ICExeScript_TC.
    if (!issuer.has_script())
        return api::fail("GetTag 71/72 Error!\r\n", status::external_authentication_failed);
    if (issuer.run_script(slot) != status::ok)
        return api::fail("PBOC_ExeScript Error!\r\n", status::external_authentication_failed);
    copy_text(script_done, result);
    return status::ok;
}
