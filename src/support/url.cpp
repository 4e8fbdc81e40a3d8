// URL encoding as HTML forms use it (application/x-www-form-urlencoded): letters, digits and * - .
// _ stand for themselves, a blank is '+', every other byte is '%' and two upper-case digits.
#include <deskreader.h>

#include <cstddef>
#include <string_view>

namespace {

constexpr char not_a_digit = 111;

constexpr std::string_view plain_characters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789*-._";

bool usable(const char* in, int length, const char* out, int out_size) {
    return in != nullptr && out != nullptr && length >= 1 && out_size >= 1;
}

}  // namespace

int hex2num(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'z') return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
    return not_a_digit;
}

int GURLDecode(const char* in, int length, char* out, int out_size) {
    if (!usable(in, length, out, out_size)) return 0;
    int written = 0;
    for (int at = 0; at < length && written < out_size; ++at) {
        if (in[at] == '+') {
            out[written++] = ' ';
        } else if (in[at] != '%') {
            out[written++] = in[at];
        } else if (at + 2 < length) {
            // kept: letters beyond 'f' count too, and a pair that is no number is dropped.
            const int high = hex2num(in[at + 1]);
            const int low = hex2num(in[at + 2]);
            if (high != not_a_digit && low != not_a_digit) {
                out[written++] = static_cast<char>(static_cast<unsigned char>(high * 16 | low));
            }
            at += 2;
        }
    }
    out[written] = '\0';
    return written;
}

int GURLEncode(const char* in, int length, char* out, int out_size) {
    static constexpr char digits[] = "0123456789ABCDEF";
    if (!usable(in, length, out, out_size)) return 0;
    int written = 0;
    for (int at = 0; at < length && written < out_size; ++at) {
        const auto byte = static_cast<unsigned char>(in[at]);
        if (byte != 0 && plain_characters.find(in[at]) != std::string_view::npos) {
            out[written++] = in[at];
        } else if (byte == ' ') {
            out[written++] = '+';
        } else {
            if (written + 3 >= out_size || byte == 0) return 0;
            out[written++] = '%';
            out[written++] = digits[byte >> 4];
            out[written++] = digits[byte & 0x0F];
        }
    }
    out[written] = '\0';
    return written;
}
