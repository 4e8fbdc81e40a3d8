// The payment flows as host terminals run them: the same steps as the RD_ICGetInfo, RD_ICGenARQC,
// RD_ICExeScript_TC and RD_ICGetDetail flows, with other fields, a second try in the other command
// frame, and an application that the host may name.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>

#include "api/arqc.h"
#include "api/card_information.h"
#include "api/completion.h"
#include "api/transaction_logs.h"
#include "cards/bytes.h"
#include "cards/tlv.h"
#include "status.h"
#include "support/pointers.h"

using namespace deskreader;
using api::Bytes;
using api::Form;
using api::ObjectSource;
using api::Source;

namespace {

constexpr api::InformationField information_fields[] = {
    {'A', {0x5A}, 1, Source::records, Form::hex_to_first_f},  // application PAN
    {'B', {0x57}, 1, Source::records, Form::hex},             // track 2 equivalent data
    {'C', {0x9F, 0x79}, 2, Source::get_data, Form::hex},      // e-cash balance
    {'D', {0x9F, 0x77}, 2, Source::get_data, Form::hex},      // e-cash balance limit
    {'E', {0x5F, 0x24}, 2, Source::records, Form::hex},       // application expiry date
    {'F', {0x9F, 0x78}, 2, Source::get_data, Form::hex},      // e-cash single transaction limit
    {'G', {0x5F, 0x34}, 2, Source::records, Form::hex},       // PAN sequence number
    {'H', {0x9F, 0x36}, 2, Source::get_data, Form::hex},      // application transaction counter
    {'I', {0x9F, 0x62}, 2, Source::records, Form::hex},       // cardholder ID type
    {'J', {0x9F, 0x61}, 2, Source::records, Form::bytes},     // cardholder ID number
    {'K', {0x5F, 0x20}, 2, Source::records, Form::bytes},     // cardholder name
    {'L', {0x9F, 0x0B}, 2, Source::records, Form::bytes},     // cardholder name, extended
};

constexpr api::FurtherObject further_objects[] = {
    {{0x9F, 0x33}, 2, ObjectSource::fallback, {0x20, 0xA1, 0x00}, 3},  // terminal capabilities
    {{0x9F, 0x13}, 2, ObjectSource::get_data, {0x00}, 1},              // last online counter
    {{0x5A}, 1, ObjectSource::records, {}, 10},                        // application PAN
    {{0x5F, 0x34}, 2, ObjectSource::records, {}, 2},                   // PAN sequence number
};

enum class Pdol { is_needed, may_be_absent };

api::FlowOptions options_for(const char* application, Pdol pdol) noexcept {
    return {
        .tries_either_frame = true,
        .ends_when_blocked = false,
        .needs_pdol = pdol == Pdol::is_needed,
        .application = application == nullptr ? std::string_view() : application,
    };
}

// Whether the host gave back what SELECT answered for the application whose records were kept last:
// the application's name (tag 84) begins with the identifier kept (tag 4F).
bool is_selection_of_kept(Bytes given, Bytes kept) noexcept {
    constexpr std::uint8_t tag_name[] = {0x84};
    constexpr std::uint8_t tag_identifier[] = {0x4F};
    const auto name = tlv::find_value(given, tag_name);
    const auto identifier = tlv::find_value(kept, tag_identifier);
    return name && identifier && !identifier->empty() && name->size() >= identifier->size() &&
           std::ranges::equal(name->first(identifier->size()), *identifier);
}

// The data that CDOL2 is looked for in. RD_ICGenARQC_KP gives the host what SELECT answered, which
// has no CDOL2: handed back, it stands for the records that were kept with it.
Bytes application_data_of(Bytes given) noexcept {
    constexpr std::uint8_t tag_cdol2[] = {0x8D};
    constexpr std::size_t digits = 6;
    const Bytes kept = std::span(g_IccAppData).subspan(digits);
    const bool stands_for_kept = !tlv::find(given, tag_cdol2) && is_selection_of_kept(given, kept);
    return stands_for_kept ? kept : given;
}

}  // namespace

int RD_ICGetInfo_KP(int* card_type, const char* application, const char* tag_list, int, char* out,
                    int timeout_s) {
    if (any_null(card_type, tag_list, out)) return status::invalid_parameter;
    const api::InformationFlow flow{
        .options = options_for(application, Pdol::is_needed),
        .looks_into_options = false,
        .fields = information_fields,
    };
    int kind = *card_type;
    const int result = api::read_card_information(flow, *card_type, tag_list, out, timeout_s, kind);
    if (result == status::ok) *card_type = kind;
    return result;
}

int RD_ICGenARQC_KP(int* card_type, const char* application, const char* transaction, int out_size,
                    char* out, int timeout_s, char* selection) {
    if (any_null(card_type, transaction, out, selection)) return status::invalid_parameter;
    const api::ArqcFlow flow{
        .options = options_for(application, Pdol::is_needed),
        .takes_terminal_fields = true,
        .further = further_objects,
    };
    int kind = *card_type;
    const int result = api::generate_arqc(flow, *card_type, transaction, {out, out_size, selection},
                                          timeout_s, kind);
    if (result == status::ok) *card_type = kind;
    return result;
}

int RD_ICExeScript_KP(int slot, const char* transaction, const char* issuer_text, int result_size,
                      char* result, int, char* cryptogram, int data_size,
                      const unsigned char* data) {
    if (missing(data, data_size) || any_null(result, cryptogram)) return status::invalid_parameter;
    const Bytes given = cards::bytes_of(data, data_size);
    GLogI("iAppDataLen = %d\r\n", data_size);
    GLogI("g_IccAppData = %.*s\r\n", static_cast<int>(given.size()),
          reinterpret_cast<const char*>(given.data()));
    return api::complete_transaction({
        .slot = slot,
        .transaction = transaction,
        .issuer_text = issuer_text,
        .result_size = result_size,
        .result = result,
        .cryptogram = cryptogram,
        .application_data = application_data_of(given),
        .script_failure = status::external_authentication_failed,  // kept: unlike the base flow
    });
}

int RD_ICGetDetail_KP(int* card_type, const char* application, int, char* out, int timeout_s) {
    if (any_null(card_type, out)) return status::invalid_parameter;
    int kind = *card_type;
    const int result = api::read_transaction_log(options_for(application, Pdol::may_be_absent),
                                                 *card_type, out, timeout_s, kind);
    if (result == status::ok) *card_type = kind;
    return result;
}
