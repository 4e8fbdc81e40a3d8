#include "api/card_data.h"

#include <deskreader.h>

#include <algorithm>

namespace deskreader::api {

std::span<const std::uint8_t> CardData::view() const noexcept {
    return std::span(bytes).first(
        std::min(static_cast<std::size_t>(std::max(length, 0)), capacity));
}

int HexBuffer::write(const CardData& data) const noexcept {
    const auto bytes = data.view();
    return GByte2Hex(bytes.data(), static_cast<int>(bytes.size()), text,
                     static_cast<std::size_t>(std::max(size, 0)));
}

void give_block(const char* name, const CardData& block, HexBuffer out) noexcept {
    GLogI("%s, iOutLen = %d, szOutBuf = %s\r\n", name, block.length,
          reinterpret_cast<const char*>(block.bytes.data()));
    const int written = out.write(block);
    GLogI("%s, szOutData = %.*s\r\n", name, std::max(written, 0), out.text);
}

}  // namespace deskreader::api
