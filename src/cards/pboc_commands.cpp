#include "cards/pboc_commands.h"

#include <algorithm>
#include <array>

#include "cards/bytes.h"
#include "cards/card_command.h"
#include "status.h"
#include "support/pointers.h"

using deskreader::any_null;
using deskreader::missing;
using deskreader::cards::CardCommand;
using deskreader::cards::Header;
using deskreader::cards::low_byte;
namespace cards = deskreader::cards;
namespace status = deskreader::status;
namespace tlv = deskreader::tlv;

namespace {

// The commands, one a row: class, instruction, P1, P2 (0 where the caller gives it).
constexpr Header select_by_name{0x00, 0xA4, 0x04, 0x00};
constexpr Header select_file{0x00, 0xA4, 0x00, 0x00};
constexpr Header read_record{0x00, 0xB2, 0x00, 0x04};
constexpr Header get_processing_options{0x80, 0xA8, 0x00, 0x00};
constexpr Header get_data{0x80, 0xCA, 0x00, 0x00};
constexpr Header generate_ac{0x80, 0xAE, 0x00, 0x00};
constexpr Header external_authenticate{0x00, 0x82, 0x00, 0x00};
constexpr Header external_authenticate_sh{0x00, 0x82, 0x00, 0x06};
constexpr Header deliver_key{0xBF, 0xDE, 0x00, 0x00};
constexpr Header crypt_data{0x80, 0xFA, 0x00, 0x00};
constexpr Header change_pin{0x84, 0x24, 0x00, 0x00};

constexpr std::uint16_t selected_file_invalidated = 0x9303;
constexpr int last_record = 255;            // record numbers are one byte
constexpr std::size_t records_room = 8000;  // of the callers of PBOC_GetAppData
constexpr std::size_t aip_size = 2;

constexpr std::uint8_t tag_directory_sfi[] = {0x88};
constexpr std::uint8_t tag_aid[] = {0x4F};
constexpr std::uint8_t tag_format_1[] = {0x80};
constexpr std::uint8_t tag_format_2[] = {0x77};
constexpr std::uint8_t tag_aip[] = {0x82};
constexpr std::uint8_t tag_afl[] = {0x94};
constexpr std::uint8_t tag_script_command[] = {0x86};

Header with_p1(Header header, int p1) noexcept {
    return {header.cla, header.ins, low_byte(p1), header.p2};
}

Header with_p2(Header header, int p2) noexcept {
    return {header.cla, header.ins, header.p1, low_byte(p2)};
}

// The commands that only carry data and bring nothing back.
int run_with_data(DEVCONTEXT* device, int slot, Header header, const unsigned char* data,
                  int length) noexcept {
    CardCommand command(device, slot, header);
    return command.data(data, length).run();
}

// Selects; the whole answer, status word included, goes to the caller.
int run_selection(DEVCONTEXT* device, int slot, Header header, const unsigned char* data,
                  int length, unsigned char* out, int* out_length) noexcept {
    CardCommand command(device, slot, header);
    const int result = command.data(data, length).run();
    if (result == status::ok) cards::copy_out(command.whole_answer(), out, out_length);
    return result;
}

// Format 1: the value of tag 80 is the profile (2 bytes) and the file locator.
int split_format_1(tlv::Bytes value, unsigned char* aip, int* aip_length, unsigned char* afl,
                   int* afl_length) noexcept {
    if (value.size() < aip_size) return status::failed;
    cards::copy_out(value.first(aip_size), aip, aip_length);
    cards::copy_out(value.subspan(aip_size), afl, afl_length);
    return status::ok;
}

// Format 2: template 77 with tags 82 and 94.
// kept: without tag 94 the whole answer stands as the locator; some cards answer with their data.
int split_format_2(tlv::Bytes answer, unsigned char* aip, int* aip_length, unsigned char* afl,
                   int* afl_length) noexcept {
    if (!tlv::find(answer, tag_format_2)) return status::failed;
    const auto profile = tlv::find_value(answer, tag_aip);
    if (!profile) return status::failed;
    cards::copy_out(profile->first(std::min(profile->size(), aip_size)), aip, aip_length);
    cards::copy_out(tlv::find_value(answer, tag_afl).value_or(answer), afl, afl_length);
    return status::ok;
}

}  // namespace

namespace deskreader::pboc {

std::size_t read_records(DEVCONTEXT* device, int slot, tlv::Bytes locator,
                         std::span<std::uint8_t> out) noexcept {
    constexpr std::size_t entry_size =
        4;  // SFI in the upper five bits, first record, last, ignored
    std::size_t filled = 0;
    for (; locator.size() >= entry_size; locator = locator.subspan(entry_size)) {
        for (int record = locator[1]; record <= locator[2]; ++record) {
            std::array<std::uint8_t, cards::max_response> data;
            int length = 0;
            if (PBOC_ReadRecord(device, slot, record, locator[0] >> 3, data.data(), &length) !=
                status::ok)
                continue;
            const auto count = static_cast<std::size_t>(length);
            if (count > out.size() - filled) continue;
            std::copy_n(data.begin(), count, out.begin() + static_cast<std::ptrdiff_t>(filled));
            filled += count;
        }
    }
    return filled;
}

}  // namespace deskreader::pboc

int PBOC_SelectPSE(DEVCONTEXT* device, int slot, const unsigned char* name, int name_length,
                   unsigned char* out, int* out_length) {
    if (missing(name, name_length) || any_null(out, out_length)) return status::invalid_argument;
    CardCommand command(device, slot, select_by_name);
    const int result = command.data(name, name_length).run();
    if (command.status_word() == selected_file_invalidated) return cards::application_blocked;
    if (result != status::ok) return result;
    return command.copy_object(tag_directory_sfi, out, out_length) ? status::ok : status::failed;
}

int PBOC_ReadRecord(DEVCONTEXT* device, int slot, int record, int sfi, unsigned char* out,
                    int* out_length) {
    if (any_null(out, out_length)) return status::invalid_argument;
    CardCommand command(device, slot,
                        {read_record.cla, read_record.ins, low_byte(record),
                         low_byte(low_byte(sfi) * 8 + read_record.p2)});
    const int result = command.byte(0x00).run();
    if (result == status::ok) command.copy_answer(out, out_length);
    return result;
}

int PBOC_GetAID(DEVCONTEXT* device, int slot, const unsigned char* sfi_list, int sfi_count,
                unsigned char* aid, int* aid_length) {
    if (missing(sfi_list, sfi_count) || any_null(aid, aid_length)) return status::invalid_argument;
    int record = 1;  // kept: runs on across the directories
    for (const std::uint8_t sfi : cards::bytes_of(sfi_list, sfi_count)) {
        std::array<std::uint8_t, cards::max_response> data;
        int length = 0;
        while (record <= last_record &&
               PBOC_ReadRecord(device, slot, record, sfi, data.data(), &length) == status::ok) {
            PBOC_GetTagValue(tag_aid, sizeof tag_aid, data.data(), length, aid, aid_length);
            ++record;
        }
    }
    return status::ok;
}

int PBOC_SelectAID(DEVCONTEXT* device, int slot, const unsigned char* aid, int aid_length,
                   unsigned char* out, int* out_length) {
    if (missing(aid, aid_length) || any_null(out, out_length)) return status::invalid_argument;
    return run_selection(device, slot, select_by_name, aid, aid_length, out, out_length);
}

int PBOC_SelectFile(DEVCONTEXT* device, int slot, int p1, const unsigned char* data, int length,
                    unsigned char* out, int* out_length) {
    if (missing(data, length) || any_null(out, out_length)) return status::invalid_argument;
    return run_selection(device, slot, with_p1(select_file, p1), data, length, out, out_length);
}

int PBOC_GetProcOptions(DEVCONTEXT* device, int slot, const unsigned char* pdol_data,
                        int pdol_length, unsigned char* aip, int* aip_length, unsigned char* afl,
                        int* afl_length) {
    if (missing(pdol_data, pdol_length) || any_null(aip, aip_length, afl, afl_length))
        return status::invalid_argument;
    constexpr std::size_t template_header = 2;  // 83 and its length
    *aip_length = 0;
    *afl_length = 0;
    const tlv::Bytes pdol = cards::bytes_of(pdol_data, pdol_length);
    if (pdol.size() > cards::max_command_data - template_header) return status::invalid_argument;
    std::array<std::uint8_t, cards::max_command_data> data = {
        0x83, static_cast<std::uint8_t>(pdol.size())};
    std::ranges::copy(pdol, data.begin() + template_header);

    CardCommand command(device, slot, get_processing_options);
    // kept: a refused command shows only in the empty outputs.
    if (command.data(std::span(data).first(template_header + pdol.size())).run() != status::ok)
        return status::ok;
    const auto format_1 = tlv::find_value(command.answer(), tag_format_1);
    if (format_1) return split_format_1(*format_1, aip, aip_length, afl, afl_length);
    return split_format_2(command.answer(), aip, aip_length, afl, afl_length);
}

int PBOC_GetAppData(DEVCONTEXT* device, int slot, const unsigned char* afl, int afl_length,
                    unsigned char* out, int* out_length) {
    if (missing(afl, afl_length) || any_null(out, out_length)) return status::invalid_argument;
    *out_length = static_cast<int>(deskreader::pboc::read_records(
        device, slot, cards::bytes_of(afl, afl_length), {out, records_room}));
    return status::ok;
}

int PBOC_GetData(DEVCONTEXT* device, int slot, const unsigned char* tag, int tag_length,
                 unsigned char* out, int* out_length) {
    if (any_null(tag, out, out_length)) return status::invalid_argument;
    if (tag_length != 1 && tag_length != 2) return status::invalid_argument;
    const int p1 = tag_length == 2 ? tag[0] : 0x00;
    CardCommand command(device, slot, with_p2(with_p1(get_data, p1), tag[tag_length - 1]));
    const int result = command.run();
    if (result != status::ok) return result;
    return command.copy_object(cards::bytes_of(tag, tag_length), out, out_length) ? status::ok
                                                                                  : status::failed;
}

int PBOC_GenerateAC(DEVCONTEXT* device, int slot, int p1, const unsigned char* cdol_data,
                    int cdol_length, unsigned char* out, int* out_length) {
    if (missing(cdol_data, cdol_length) || any_null(out, out_length))
        return status::invalid_argument;
    CardCommand command(device, slot, with_p1(generate_ac, p1));
    const int result = command.data(cdol_data, cdol_length).run();
    if (result != status::ok) return result;
    // kept: a template is found with length 0, so a format 2 answer succeeds with nothing in it.
    const bool found = command.copy_object(tag_format_1, out, out_length) ||
                       command.copy_object(tag_format_2, out, out_length);
    return found ? status::ok : status::failed;
}

int PBOC_ExternalAuth(DEVCONTEXT* device, int slot, const unsigned char* data, int length) {
    if (missing(data, length)) return status::invalid_argument;
    return run_with_data(device, slot, external_authenticate, data, length);
}

int PBOC_ExternalAuth_Sh(DEVCONTEXT* device, int slot, const unsigned char* data, int length) {
    if (missing(data, length)) return status::invalid_argument;
    return run_with_data(device, slot, external_authenticate_sh, data, length);
}

int PBOC_ExeScript(DEVCONTEXT* device, int slot, const unsigned char* script, int script_length) {
    if (missing(script, script_length)) return status::invalid_argument;
    const tlv::Bytes all = cards::bytes_of(script, script_length);
    std::size_t position = 0;
    int count = 1;
    int last = status::ok;
    while (position < all.size()) {
        const tlv::Bytes rest = all.subspan(position);
        const auto found = tlv::find(rest, tag_script_command);
        if (!found) return position == 0 ? status::failed : status::ok;
        // kept: measured from the remainder, so of two commands in a row the second repeats for
        // ever.
        position = found->offset + found->length;

        std::array<std::uint8_t, cards::max_command> command;
        std::array<std::uint8_t, cards::max_response> response;
        int response_length = 0;
        if (found->length > command.size()) {
            last = status::invalid_argument;
            continue;
        }
        std::ranges::copy(rest.subspan(found->offset, found->length), command.begin());
        last = PBOC_IcAPDU(device, slot, command.data(), static_cast<int>(found->length),
                           response.data(), &response_length);
        if (last != status::ok) continue;
        ++count;
        const bool done = response_length >= 2 &&
                          response[static_cast<std::size_t>(response_length) - 2] == 0x90 &&
                          response[static_cast<std::size_t>(response_length) - 1] == 0x00;
        last = done ? status::ok : status::failed;
    }
    return last == status::failed ? count : last;
}

int PBOC_DeliveryKey(DEVCONTEXT* device, int slot, int p1, int p2, const unsigned char* data,
                     int length) {
    if (missing(data, length)) return status::invalid_argument;
    return run_with_data(device, slot, with_p2(with_p1(deliver_key, p1), p2), data, length);
}

int PBOC_CryptData(DEVCONTEXT* device, int slot, int p1, const unsigned char* data, int length,
                   unsigned char* out, int* out_length) {
    if (missing(data, length) || any_null(out, out_length)) return status::invalid_argument;
    CardCommand command(device, slot, with_p1(crypt_data, p1));
    const int result = command.data(data, length).run();
    if (result == status::ok) command.copy_answer(out, out_length);
    return result;
}

int PBOC_ChangePin(DEVCONTEXT* device, int slot, int p2, const unsigned char* data, int length) {
    if (missing(data, length)) return status::invalid_argument;
    return run_with_data(device, slot, with_p2(change_pin, p2), data, length);
}
