// The entries that a payment card keeps of its transactions, as hosts read them.
#pragma once

#include "api/payment_flow.h"

namespace deskreader::api {

// Reads the transaction log. `kind` becomes the kind of card on success only.
int read_transaction_log(const FlowOptions& options, int slot, char* out, int timeout_s,
                         int& kind) noexcept;

}  // namespace deskreader::api
