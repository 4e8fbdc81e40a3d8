#include "api/card_information.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "api/text_record.h"
#include "cards/tlv.h"
#include "status.h"
#include "support/log.h"
#include "support/pointers.h"
#include "support/text.h"

using namespace deskreader;
using api::Bytes;

namespace {

using api::Form;
using api::InformationField;
using api::Source;

constexpr InformationField fields[] = {
    {'A', {0x5A}, 1, Source::records, Form::hex_to_first_f},  // application PAN
    {'B', {0x5F, 0x20}, 2, Source::records, Form::bytes},     // cardholder name
    {'C', {0x9F, 0x62}, 2, Source::records, Form::hex},       // cardholder ID type
    {'D', {0x9F, 0x61}, 2, Source::records, Form::bytes},     // cardholder ID number
    {'E', {0x57}, 1, Source::records, Form::track_2},         // track 2 equivalent data
    {'F', {0x9F, 0x1F}, 2, Source::records, Form::hex},       // track 1 discretionary data
    {'G', {0x9F, 0x79}, 2, Source::get_data, Form::hex},      // e-cash balance
    {'H', {0x9F, 0x77}, 2, Source::get_data, Form::hex},      // e-cash balance limit
    {'I', {0x5F, 0x24}, 2, Source::records, Form::hex},       // application expiry date
    {'J', {0x5F, 0x34}, 2, Source::records, Form::hex},       // PAN sequence number
    {'K', {0x9F, 0x6D}, 2, Source::get_data, Form::hex},      // e-cash reset threshold
    {'L', {0x9F, 0x78}, 2, Source::get_data, Form::hex},      // e-cash single transaction limit
    {'M', {0x5F, 0x25}, 2, Source::records, Form::hex},       // application effective date
    {'N', {0x9F, 0x63}, 2, Source::records, Form::bytes},     // product identification information
};

constexpr std::uint8_t tag_format_2[] = {0x77};

constexpr std::size_t max_value = 255;  // characters of one field
constexpr std::size_t max_fields = std::size(fields);
constexpr std::size_t max_record = max_fields * (4 + max_value);

class FieldText {
  public:
    FieldText(Bytes value, Form form) noexcept {
        if (form == Form::bytes) {
            size_ = std::min(value.size(), text_.size());
            std::copy_n(value.begin(), size_, text_.begin());
            return;
        }
        size_ = text::to_hex(value, text_);
        if (form == Form::hex) return;
        if (form == Form::track_2) std::ranges::replace(std::span(text_).first(size_), 'D', '=');
        size_ = std::min(size_, view().find('F'));
    }

    std::string_view view() const noexcept { return {text_.data(), size_}; }

  private:
    std::array<char, max_value> text_;
    std::size_t size_ = 0;
};

void add_field(api::TextRecord<max_record>& record, const InformationField& field,
               Bytes application_data, int slot) noexcept {
    std::array<unsigned char, 512> answer;
    int length = 0;
    Bytes value;
    if (field.source == Source::records) {
        value = tlv::find_value(application_data, field.tag_bytes()).value_or(Bytes{});
    } else if (PBOC_GetData(&context, slot, field.tag, static_cast<int>(field.tag_size),
                            answer.data(), &length) == status::ok) {
        value = std::span(answer).first(static_cast<std::size_t>(length));
    }
    record.add(field.letter, FieldText(value, field.form).view());
}

// The data to look fields up in: the records, or the answer of a card that gave its data at once.
Bytes application_data(api::PaymentFlow& flow, bool looks_into_options) noexcept {
    const auto whole = looks_into_options ? tlv::find(flow.locator(), tag_format_2) : std::nullopt;
    if (!whole) {
        flow.read_records();
        return flow.records();
    }
    const auto value = flow.locator().subspan(whole->offset, whole->length);
    GLogI("szTempData = %s, iTagValueLen = %d\r\n", log::HexText<2048>(value).c_str(),
          static_cast<int>(value.size()));
    GLogI("szAppData = %s, iAppDataLen = %d\r\n", log::HexText<2048>(flow.locator()).c_str(),
          static_cast<int>(flow.locator().size()));
    return flow.locator();
}

}  // namespace

namespace deskreader::api {

int read_card_information(const InformationFlow& kind_of_flow, int slot, const char* tag_list,
                          char* out, int timeout_s, int& kind) noexcept {
    if (IsTagListValue(tag_list) == 0) return fail("TagList Error!\r\n", status::invalid_parameter);
    PaymentFlow flow(kind_of_flow.options);
    const int powered = flow.power_on(slot, timeout_s);
    if (powered != status::ok) return powered;
    const int selected = flow.select_application();
    if (selected != status::ok) return selected;
    const int started = flow.start_application();
    if (started != status::ok) return started;

    const Bytes data = application_data(flow, kind_of_flow.looks_into_options);
    const std::string_view letters = tag_list;
    TextRecord<max_record> record;
    for (const InformationField& field : kind_of_flow.fields) {
        if (letters.find(field.letter) != std::string_view::npos)
            add_field(record, field, data, flow.slot());
    }
    std::memcpy(out, record.text().data(), record.size());
    out[record.size()] = '\0';
    kind = flow.slot();
    return status::ok;
}

}  // namespace deskreader::api

int RD_ICGetInfo(int slot, const char* tag_list, int, char* out, int timeout_s) {
    if (any_null(tag_list, out)) return status::invalid_parameter;
    constexpr api::InformationFlow flow{
        .options = {},
        .looks_into_options = true,
        .fields = fields,
    };
    int kind = 0;
    return api::read_card_information(flow, slot, tag_list, out, timeout_s, kind);
}
