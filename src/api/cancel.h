// The request to end a wait for a card, which another thread makes through g_IsCancelWait.
#pragma once

#include <deskreader.h>

#include <atomic>

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

}  // namespace deskreader::cancel_wait
