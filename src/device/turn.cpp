#include "device/turn.h"

#include <chrono>

#include <pthread.h>

#include "device/transport.h"
#include "support/clock.h"

namespace deskreader::device {
namespace {

constexpr std::chrono::milliseconds cancel_again(1);

// The system's own: the one of C++ reports failures that this one cannot have by exceptions.
constinit pthread_mutex_t turns = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

void cancel_until_free() noexcept {
    while (pthread_mutex_trylock(&turns) != 0) {
        cancel_flag::raise();
        clock::sleep(cancel_again);
    }
}

}  // namespace

Turn::Turn() noexcept {
    pthread_mutex_lock(&turns);
}

Turn::~Turn() {
    pthread_mutex_unlock(&turns);
}

CancellingTurn::CancellingTurn() noexcept : Turn((cancel_until_free(), Taken{})) {}

}  // namespace deskreader::device
