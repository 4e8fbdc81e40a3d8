#include "api/card_wait.h"

#include <deskreader.h>

#include <ctime>

#include "api/cancel.h"
#include "status.h"
#include "support/clock.h"

namespace deskreader::api {
namespace {

struct Outcome {
    int result = status::ok;
    int counted = 0;  // attempts after which a card could still come, where they are counted
    bool cancelled = false;
};

Outcome wait(PowerOn& card, const WaitRules& rules, int limit, CardData& answer) noexcept {
    const std::time_t begin = clock::wall_time();
    Outcome outcome;
    for (bool over = false; !over;) {
        answer = {};
        outcome.result = card.attempt(answer);
        if (outcome.result != status::card_absent && outcome.result != rules.refused) break;
        outcome.cancelled = !cancel_wait::pause(rules.pause_steps);
        if (outcome.cancelled) break;
        if (limit == 0) continue;
        if (rules.limit != Limit::seconds) ++outcome.counted;
        over = rules.limit == Limit::attempts ? outcome.counted >= limit
                                              : clock::wall_time() - begin >= limit;
    }
    return outcome;
}

}  // namespace

int power_on(PowerOn& card, const WaitRules& rules, int limit, HexBuffer out,
             int* out_length) noexcept {
    if (limit < 0) {
        GLogE("Timeout Error!\r\n");
        return status::invalid_parameter;
    }
    cancel_wait::clear();
    CardData answer;
    Outcome outcome = wait(card, rules, limit, answer);
    if (outcome.cancelled) {
        GLogE("Cancel!\r\n");
        return RD_GetErrorCode(status::operation_cancelled);
    }
    // kept: without a limit no attempt is counted, and any failure that ends the wait is a timeout.
    if (outcome.result != status::ok && outcome.counted == limit) {
        GLogE("Timeout!\r\n");
        outcome.result = status::power_on_timed_out;
    }
    *out_length = out.write(answer);
    return RD_GetErrorCode(outcome.result);
}

}  // namespace deskreader::api
