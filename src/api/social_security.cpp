// RD_SSCReadInfo: the basic information of a social security card, thirteen elements in one text.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "api/payment_flow.h"
#include "cards/tlv.h"
#include "status.h"
#include "support/pointers.h"
#include "support/text.h"

using namespace deskreader;
using api::Bytes;

namespace {

// "sx1.sh." and the beginning of the directory's name in UTF-8.
// kept: fifteen bytes, cut within the third character.
constexpr std::uint8_t directory_name[] = {0x73, 0x78, 0x31, 0x2E, 0x73, 0x68, 0x2E, 0xE7,
                                           0xA4, 0xBE, 0xE4, 0xBC, 0x9A, 0xE4, 0xBF};

enum class Form { hex, bytes };

// Record n of its file holds the element under a one-byte tag.
struct Element {
    std::uint8_t file;  // EF 05 or EF 06
    int record;
    std::uint8_t tag;
    Form form;
    std::size_t room;  // characters
};

constexpr std::size_t raw_room = 255;

constexpr Element elements[] = {
    {0x05, 1, 0x01, Form::hex, 64},          // card identification code
    {0x05, 2, 0x02, Form::hex, 16},          // card type
    {0x05, 3, 0x03, Form::hex, 16},          // version of the card
    {0x05, 4, 0x04, Form::hex, 64},          // initialising organisation number
    {0x05, 5, 0x05, Form::hex, 16},          // issue date
    {0x05, 6, 0x06, Form::hex, 16},          // expiry date
    {0x05, 7, 0x07, Form::bytes, raw_room},  // card number
    {0x06, 1, 0x08, Form::bytes, raw_room},  // social security number
    {0x06, 2, 0x09, Form::bytes, raw_room},  // name
    {0x06, 3, 0x0A, Form::bytes, raw_room},  // sex
    {0x06, 4, 0x0B, Form::hex, 16},          // nationality
    {0x06, 5, 0x0C, Form::hex, 16},          // place of birth
    {0x06, 6, 0x0D, Form::hex, 16},          // date of birth
};

// The thirteen elements, "|" between them. Every element has its room, so they always fit.
class Text {
  public:
    void add(Bytes value, const Element& element) noexcept {
        if (&element != std::begin(elements)) text_[size_++] = '|';
        const std::span<char> room = std::span(text_).subspan(size_, element.room);
        if (element.form == Form::hex) {
            size_ += text::to_hex(value, room);
        } else {
            const auto end = std::ranges::find(value, std::uint8_t{0});
            const auto count = std::min(static_cast<std::size_t>(end - value.begin()), room.size());
            std::copy_n(value.begin(), count, room.begin());
            size_ += count;
        }
    }

    std::string_view view() const noexcept { return {text_.data(), size_}; }

  private:
    std::array<char, 2048> text_;
    std::size_t size_ = 0;
};

int select_directory(int slot) noexcept {
    std::array<unsigned char, 512> answer;
    int length = 0;
    const int result = PBOC_SelectPSE(&context, slot, directory_name, sizeof directory_name,
                                      answer.data(), &length);
    return result < 0 ? api::fail("PBOC_SelectPSE Error!\r\n", status::pse_selection_failed)
                      : status::ok;
}

int select_file(int slot, std::uint8_t file) noexcept {
    const std::uint8_t identifier[] = {0xEF, file};
    std::array<unsigned char, 512> answer;
    int length = 0;
    const int result = PBOC_SelectFile(&context, slot, 0x00, identifier, sizeof identifier,
                                       answer.data(), &length);
    return result == status::ok
               ? result
               : api::fail("PBOC_SelectFile Error!\r\n", status::pse_selection_failed);
}

// An element that its record lacks is empty.
int read_element(int slot, const Element& element, Text& text) noexcept {
    constexpr int current_file = 0;
    std::array<unsigned char, 512> data;
    int length = 0;
    const int result =
        PBOC_ReadRecord(&context, slot, element.record, current_file, data.data(), &length);
    if (result != status::ok) return result;
    const Bytes record = std::span(data).first(static_cast<std::size_t>(length));
    const std::uint8_t tag[] = {element.tag};
    text.add(tlv::find_value(record, tag).value_or(Bytes{}), element);
    return status::ok;
}

int read_elements(int slot, Text& text) noexcept {
    for (const Element& element : elements) {
        const bool begins_file = element.record == 1;
        const int selected = begins_file ? select_file(slot, element.file) : status::ok;
        if (selected != status::ok) return selected;
        const int read = read_element(slot, element, text);
        if (read != status::ok) return read;
    }
    return status::ok;
}

}  // namespace

int RD_SSCReadInfo(int slot, char* out, int timeout_s) {
    if (any_null(out)) return status::invalid_parameter;
    api::PoweredCard card;
    const int powered = card.power_on(slot, timeout_s);
    if (powered != status::ok) return powered;
    const int selected = select_directory(card.kind());
    if (selected != status::ok) return selected;
    Text text;
    const int read = read_elements(card.kind(), text);
    if (read != status::ok) return read;
    char* end = out + std::strlen(out);
    std::memcpy(end, text.view().data(), text.view().size());
    end[text.view().size()] = '\0';
    card.keep();  // kept: hosts go on with the card
    return status::ok;
}
