// The power-on of a card that may still have to come: tries again until one answers, the time is
// over or the wait is cancelled.
#pragma once

#include "api/card_data.h"

namespace deskreader::api {

// One attempt to power a card on. A result other than 0, -4005 and the wait's `refused` ends it.
class PowerOn {
  public:
    virtual int attempt(CardData& answer) noexcept = 0;

  protected:
    ~PowerOn() = default;
};

// What a positive limit counts, and when a failure is then reported as -4001.
enum class Limit {
    seconds,               // never
    seconds_and_attempts,  // kept: when there were as many attempts as the limit has seconds
    attempts,              // always
};

struct WaitRules {
    int refused;      // besides -4005: the number of an attempt after which a card may still come
    int pause_steps;  // tenths of a second between two attempts
    Limit limit;
};

// The whole of a host's power-on: its check, the wait, the answer as text, the API number. 0 waits
// without limit, and then every failure but a cancel is a timeout. After a cancel nothing is
// written.
int power_on(PowerOn& card, const WaitRules& rules, int limit, HexBuffer out,
             int* out_length) noexcept;

}  // namespace deskreader::api
