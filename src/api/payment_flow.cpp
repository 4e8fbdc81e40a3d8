#include "api/payment_flow.h"

#include "cards/pboc_commands.h"
#include "cards/terminal_data.h"
#include "cards/tlv.h"
#include "status.h"
#include "support/config.h"
#include "support/text.h"

namespace deskreader::api {
namespace {

constexpr std::uint8_t directory_name[] = {'1', 'P', 'A', 'Y', '.', 'S', 'Y',
                                           'S', '.', 'D', 'D', 'F', '0', '1'};

constexpr std::uint8_t tag_pdol[] = {0x9F, 0x38};

constexpr std::size_t max_given_application = 256;

using Answer = std::array<unsigned char, 512>;

}  // namespace

PoweredCard::~PoweredCard() {
    if (powered_) RD_IcPowerOff(kind_);
}

int PoweredCard::try_power_on(int slot, int timeout_s) noexcept {
    std::array<char, 512> answer;
    int length = 0;
    const int result = RD_IcPowerOn(slot, answer.size(), answer.data(), &length, &kind_, timeout_s);
    powered_ = result == status::ok;
    return result;
}

int PoweredCard::power_on(int slot, int timeout_s) noexcept {
    const int result = try_power_on(slot, timeout_s);
    return result == status::ok ? result : RD_GetErrorCode(result);
}

int PoweredCard::power_on_in_either_frame(int slot, int timeout_s) noexcept {
    constexpr int ic_frame = 0;
    constexpr int union_frame = 1;
    if (try_power_on(slot, timeout_s) == status::ok) return status::ok;
    const int frame = config::integer("devcfg", "Iccmd", ic_frame);
    if (frame != ic_frame && frame != union_frame) {
        // kept: with any other number the flow goes on, and fails at its first command.
        kind_ = slot;
        powered_ = true;
        return status::ok;
    }
    GSetConfigString("devcfg", "Iccmd", frame == ic_frame ? "1" : "0");
    return power_on(slot, timeout_s);
}

int PaymentFlow::power_on(int slot, int timeout_s) noexcept {
    return options_.tries_either_frame ? card_.power_on_in_either_frame(slot, timeout_s)
                                       : card_.power_on(slot, timeout_s);
}

int PaymentFlow::find_application(Bytes directory) noexcept {
    if (!options_.application.empty()) {
        const auto room = std::span(application_).first(max_given_application);
        application_size_ = text::from_hex(options_.application, room);
        return status::ok;
    }
    int size = 0;
    if (PBOC_GetAID(&context, slot(), directory.data(), static_cast<int>(directory.size()),
                    application_.data(), &size) != status::ok) {
        return fail("PBOC_GetAID Error!\r\n", status::application_list_failed);
    }
    application_size_ = static_cast<std::size_t>(size);
    return status::ok;
}

int PaymentFlow::select_application() noexcept {
    Answer sfis;
    int sfi_count = 0;
    const int selected = PBOC_SelectPSE(&context, slot(), directory_name, sizeof directory_name,
                                        sfis.data(), &sfi_count);
    const bool refused = options_.ends_when_blocked ? selected != 0 : selected < 0;
    if (refused) return fail("PBOC_SelectPSE Error!\r\n", status::pse_selection_failed);

    const int found = find_application(std::span(sfis).first(static_cast<std::size_t>(sfi_count)));
    if (found != status::ok) return found;
    int size = 0;
    if (PBOC_SelectAID(&context, slot(), application_.data(), static_cast<int>(application_size_),
                       selection_.data(), &size) != status::ok) {
        return fail("PBOC_SelectAID Error!\r\n", status::aid_selection_failed);
    }
    selection_size_ = static_cast<std::size_t>(size);
    return status::ok;
}

int PaymentFlow::start_application() noexcept {
    const auto list = tlv::find_value(selection(), tag_pdol);
    if (!list && options_.needs_pdol)
        return fail("GetTag 9F38 Error!\r\n", status::data_object_list_failed);
    Answer data;
    std::size_t size = 0;
    if (!terminal_data::answer_list(list.value_or(Bytes{}), data, size)) {
        return fail("PBOC_BuildDOL Error!\r\n", status::data_object_list_failed);
    }
    int profile_size = 0;
    int locator_size = 0;
    if (PBOC_GetProcOptions(&context, slot(), data.data(), static_cast<int>(size), profile_.data(),
                            &profile_size, locator_.data(), &locator_size) != 0) {
        return fail("PBOC_GetProcOptions Error!\r\n", status::processing_options_failed);
    }
    profile_size_ = static_cast<std::size_t>(profile_size);
    locator_size_ = static_cast<std::size_t>(locator_size);
    return status::ok;
}

void PaymentFlow::read_records() noexcept {
    records_size_ = pboc::read_records(&context, slot(), locator(), records_);
}

}  // namespace deskreader::api
