#include "api/payment_flow.h"

#include "cards/pboc_commands.h"
#include "cards/terminal_data.h"
#include "cards/tlv.h"
#include "status.h"

namespace deskreader::api {
namespace {

constexpr std::uint8_t directory_name[] = {'1', 'P', 'A', 'Y', '.', 'S', 'Y',
                                           'S', '.', 'D', 'D', 'F', '0', '1'};

constexpr std::uint8_t tag_pdol[] = {0x9F, 0x38};

using Answer = std::array<unsigned char, 512>;

}  // namespace

PoweredCard::~PoweredCard() {
    if (powered_) RD_IcPowerOff(kind_);
}

int PoweredCard::power_on(int slot, int timeout_s) noexcept {
    std::array<char, 512> answer;
    int length = 0;
    const int result = RD_IcPowerOn(slot, answer.size(), answer.data(), &length, &kind_, timeout_s);
    powered_ = result == status::ok;
    return result;
}

int PaymentFlow::select_application(BlockedDirectory rule) noexcept {
    Answer sfis;
    int sfi_count = 0;
    const int selected = PBOC_SelectPSE(&context, slot(), directory_name, sizeof directory_name,
                                        sfis.data(), &sfi_count);
    const bool refused = rule == BlockedDirectory::ends_flow ? selected != 0 : selected < 0;
    if (refused) return fail("PBOC_SelectPSE Error!\r\n", status::pse_selection_failed);

    int aid_size = 0;
    if (PBOC_GetAID(&context, slot(), sfis.data(), sfi_count, application_.data(), &aid_size) !=
        0) {
        return fail("PBOC_GetAID Error!\r\n", status::application_list_failed);
    }
    application_size_ = static_cast<std::size_t>(aid_size);
    int size = 0;
    if (PBOC_SelectAID(&context, slot(), application_.data(), aid_size, selection_.data(), &size) !=
        0) {
        return fail("PBOC_SelectAID Error!\r\n", status::aid_selection_failed);
    }
    selection_size_ = static_cast<std::size_t>(size);
    return status::ok;
}

int PaymentFlow::start_application() noexcept {
    const Bytes list = tlv::find_value(selection(), tag_pdol).value_or(Bytes{});
    Answer data;
    std::size_t size = 0;
    if (!terminal_data::answer_list(list, data, size)) {
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
