#include "protocol/module.h"

#include "device/context.h"
#include "support/config.h"

namespace deskreader::protocol {

void address(DEVCONTEXT* target, Module module) noexcept {
    if (target == nullptr || !device::is_hid(*target)) return;
    const bool by_mode_id = config::integer("devcfg", "devtype", 0) == 0;
    DC_SetModeId(target, by_mode_id ? static_cast<int>(module) : 0);
}

}  // namespace deskreader::protocol
