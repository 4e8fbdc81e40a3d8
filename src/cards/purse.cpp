// The commands of an electronic deposit or purse application, in the forms in which the cards in
// the field know them.
#include <deskreader.h>

#include <array>
#include <cstring>

#include "cards/bytes.h"
#include "cards/card_command.h"
#include "status.h"
#include "support/pointers.h"

using deskreader::any_null;
using deskreader::missing;
using deskreader::cards::CardCommand;
using deskreader::cards::low_byte;
namespace status = deskreader::status;

namespace {

constexpr std::size_t load_data = 11;
constexpr std::size_t purchase_data = 15;

// Exactly N bytes of a caller's text.
// kept: copied as a text, so bytes from the first zero on are zero.
template <std::size_t N>
std::array<std::uint8_t, N> as_text(const char* data) noexcept {
    std::array<std::uint8_t, N> bytes{};
    std::memcpy(bytes.data(), data, strnlen(data, N));
    return bytes;
}

int finish(CardCommand& command, unsigned char* out, int* out_length) noexcept {
    const int result = command.run();
    if (result == status::ok) command.copy_answer(out, out_length);
    return result;
}

}  // namespace

int EPED_ReadBinary(DEVCONTEXT* device, int slot, int sfi, int offset, unsigned char* out,
                    int* out_length) {
    if (any_null(out, out_length)) return status::invalid_argument;
    CardCommand command(device, slot,
                        {0x00, 0xB0, low_byte(0x80 | (sfi & 0x1F)), low_byte(offset)});
    return finish(command.byte(0x00), out, out_length);
}

int EPED_GetBalance(DEVCONTEXT* device, int slot, int p2, unsigned char* out, int* out_length) {
    if (any_null(out, out_length)) return status::invalid_argument;
    CardCommand command(device, slot, {0x80, 0x5C, 0x00, low_byte(p2)});
    return finish(command.byte(0x04), out, out_length);
}

int EPED_Verify(DEVCONTEXT* device, int slot, const unsigned char* pin, int pin_length) {
    if (missing(pin, pin_length)) return status::invalid_argument;
    CardCommand command(device, slot, {0x00, 0x20, 0x00, 0x00});
    return command.data(pin, pin_length).run();
}

int EPED_GetRandom(DEVCONTEXT* device, int slot, unsigned char* out, int* length) {
    if (any_null(out, length)) return status::invalid_argument;
    CardCommand command(device, slot, {0x00, 0x84, 0x00, 0x00});
    return finish(command.byte(low_byte(*length)), out, length);
}

int EPED_UpdateBinary(DEVCONTEXT* device, int slot, int sfi, int offset, const unsigned char* data,
                      int length) {
    if (missing(data, length)) return status::invalid_argument;
    // kept: the file identifier is not cut to its five bits here.
    CardCommand command(device, slot, {0x04, 0xD6, low_byte(0x90 | sfi), low_byte(offset)});
    return command.data(data, length).run();
}

int EPED_InitForLoad(DEVCONTEXT* device, int slot, int key_index, const char* data,
                     unsigned char* out, int* out_length) {
    if (any_null(data, out, out_length)) return status::invalid_argument;
    CardCommand command(device, slot, {0x80, 0x50, 0x00, low_byte(key_index)});
    return finish(command.data(as_text<load_data>(data)), out, out_length);
}

int EPED_Load(DEVCONTEXT* device, int slot, const char*, unsigned char* out, int* out_length) {
    if (any_null(out, out_length)) return status::invalid_argument;
    // kept: instruction 50, and the header with its Lc alone; the data stay behind.
    CardCommand command(device, slot, {0x80, 0x50, 0x00, 0x00});
    return finish(command.byte(load_data), out, out_length);
}

int EPED_InitForPurchase(DEVCONTEXT* device, int slot, int key_index, const char*, int,
                         unsigned char* out, int* out_length) {
    if (any_null(out, out_length)) return status::invalid_argument;
    // kept: the header with its Lc alone, as in EPED_Load.
    CardCommand command(device, slot, {0x80, 0x50, 0x01, low_byte(key_index)});
    return finish(command.byte(load_data), out, out_length);
}

int EPED_Purchase(DEVCONTEXT* device, int slot, int, const char* data, int, unsigned char* out,
                  int* out_length) {
    if (any_null(data, out, out_length)) return status::invalid_argument;
    // kept: without Le.
    CardCommand command(device, slot, {0x80, 0x54, 0x01, 0x00});
    return finish(command.data(as_text<purchase_data>(data)), out, out_length);
}
