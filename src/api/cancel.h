// The request to end a wait for a card, which another thread makes through g_IsCancelWait.
#pragma once

#include <deskreader.h>

#include <atomic>
#include <chrono>

#include "support/clock.h"

namespace deskreader::cancel_wait {

inline void request() noexcept {
    std::atomic_ref(g_IsCancelWait).store(1);
}
inline void clear() noexcept {
    std::atomic_ref(g_IsCancelWait).store(0);
}
inline bool requested() noexcept {
    return std::atomic_ref(g_IsCancelWait).load() == 1;
}

// Lets so many tenths of a second pass, with a look at the request after each. False when there is
// one.
inline bool pause(int tenths) noexcept {
    for (int i = 0; i < tenths; ++i) {
        clock::sleep(std::chrono::milliseconds(100));
        if (requested()) return false;
    }
    return true;
}

}  // namespace deskreader::cancel_wait
