// One transport-neutral way to the reader. The COMM_ functions are declared in deskreader.h; here
// stand the scope in which a command holds the device, the cancel flag, and the reading loop of
// both adapters.
#pragma once

#include <deskreader.h>

#include <cstdint>
#include <span>

#include "status.h"

namespace deskreader::device {

// Holds the transport open for one command: a reference more, and one less at the end of the scope.
class Session {
  public:
    explicit Session(DEVCONTEXT* target) noexcept : target_(target), status_(COMM_Open(target)) {}
    ~Session() {
        if (status_ == status::ok) COMM_Close(target_);
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // 0, or why the transport could not be opened.
    int status() const noexcept { return status_; }

  private:
    DEVCONTEXT* target_;
    int status_;
};

namespace cancel_flag {

void raise() noexcept;
void clear() noexcept;

// Whether it was raised; it no longer is.
bool take() noexcept;

}  // namespace cancel_flag

// A handle by which an adapter's open says that it failed, and why.
inline void* failed_handle(int result) noexcept {
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(result));
}

// A time limit in milliseconds; 0 means none.
inline std::uint64_t limit_of(unsigned timeout_ms) noexcept {
    return timeout_ms == 0 ? 2147483647u : timeout_ms;
}

// One slice of a read: waits a little and returns the bytes placed in `room`, 0 for none, negative
// for an error.
using ReceiveSlice = int (*)(void* handle, std::span<unsigned char> room);

// Gathers slices until the packet is complete, the buffer full, the limit over or a cancel raised.
// The end test is asked `asks` times in each pass at the most.
int gather(void* handle, std::span<unsigned char> buffer, unsigned timeout_ms,
           COMM_PacketIsEnd is_end, int asks, ReceiveSlice receive) noexcept;

}  // namespace deskreader::device
