// Which of the reader's modules a command is for. On USB HID a mode id in every report says so; a
// serial line has no such thing.
#pragma once

#include <deskreader.h>

namespace deskreader::protocol {

enum class Module : int {
    base = 1,   // base unit and magnetic stripe: escape commands
    cards = 2,  // IC and identity modules: frames
};

// Makes the next commands go to the module. Readers of another "devtype" than 0 take all under mode
// id 0.
void address(DEVCONTEXT* target, Module module) noexcept;

}  // namespace deskreader::protocol
