#include "api/id_reading.h"

#include <deskreader.h>

#include <cstring>
#include <ctime>

#include "api/cancel.h"
#include "status.h"
#include "support/clock.h"
#include "support/config.h"

namespace deskreader::api {
namespace {

constexpr int mode_normal = 0;
constexpr int mode_id = 2;
constexpr int default_baud = 9600;

constexpr int command_limit_ms = 1000;
constexpr int read_limit_ms = 3000;

constexpr int steps_between_searches = 9;

bool card_may_still_come(int result) noexcept {
    return result == status::id_card_not_found || result == status::id_read_failed;
}

// Searches until a card answers, the time is over or the wait is cancelled.
int find_card(int timeout_s) noexcept {
    cancel_wait::clear();
    const std::time_t begin = clock::wall_time();
    int result = status::ok;
    do {
        result = ID_FindCard(&context, command_limit_ms);
        if (!card_may_still_come(result)) break;
        if (!cancel_wait::pause(steps_between_searches)) {
            GLogE("Canceled!\r\n");
            return status::operation_cancelled;
        }
    } while (timeout_s == 0 || clock::wall_time() - begin < timeout_s);
    if (result != status::ok && timeout_s == 0) {
        GLogE("Timeout!\r\n");
        return status::id_card_not_found;
    }
    // kept: when a limit ran out, it is the selection that tells why there is no card.
    return status::ok;
}

int select_card() noexcept {
    const int result = ID_SelectCard(&context, command_limit_ms);
    if (result != status::ok) GLogE("ID_SelectCard Error!\r\n");
    return result;
}

int read_record(IdRecord& record) noexcept {
    int length = 0;
    if (ID_ReadCard_FP(&context, record.data(), &length, read_limit_ms) == status::ok) {
        return status::ok;
    }
    return ID_ReadCard(&context, record.data(), &length, read_limit_ms);
}

// The whole sequence, in ID mode from its first step to its last.
int run(int timeout_s, IdRecord& record) noexcept {
    int result = status::ok;
    {
        const IdMode mode;
        if (result = reset_id_module(); result != status::ok) return result;
        if (result = find_card(timeout_s); result != status::ok) return result;
        if (result = select_card(); result != status::ok) return result;
        result = read_record(record);
    }
    if (result != status::ok) GLogE("ID_ReadCard Error!\r\n");
    return result;
}

}  // namespace

IdMode::IdMode() noexcept : previous_baud_(default_baud) {
    RD_ChangeMode(mode_id);
    RD_ChangeBaud(config::integer("devcfg", "IdBaud", default_baud), &previous_baud_);
}

IdMode::~IdMode() {
    RD_ChangeMode(mode_normal);
    long long id_baud = previous_baud_;
    RD_ChangeBaud(static_cast<int>(previous_baud_), &id_baud);
}

int reset_id_module() noexcept {
    const int result = ID_ResetCard(&context, command_limit_ms);
    if (result != status::ok) GLogE("ID_ResetCard Error!\r\n");
    return result;
}

int read_id_card(const IdReadOptions& options, IdRecord& record) noexcept {
    if (options.timeout_s < 0) {
        GLogE("Timeout Error!\r\n");
        return status::invalid_parameter;
    }
    if (options.photo_path != nullptr &&
        strnlen(options.photo_path, max_photo_path + 1) > max_photo_path) {
        GLogE("%s", options.path_error);
        return status::invalid_parameter;
    }
    record.fill(0);
    return RD_GetErrorCode(run(options.timeout_s, record));
}

}  // namespace deskreader::api
