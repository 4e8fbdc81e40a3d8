// Triple DES with two keys in cipher block chaining, by OpenSSL.
#pragma once

#include <array>

#include "bytes.h"

namespace virtual_reader {

using Block = std::array<std::uint8_t, 8>;

// `key` has 16 bytes, `data` whole blocks of 8; throw std::invalid_argument for others.
Bytes triple_des_encrypt(View key, const Block& initial, View data);
Bytes triple_des_decrypt(View key, const Block& initial, View data);

}  // namespace virtual_reader
