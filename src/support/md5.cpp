#include "support/md5.h"

#include <deskreader.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <utility>

#include "status.h"
#include "support/text.h"

namespace deskreader::md5 {
namespace {

using State = std::array<std::uint32_t, 4>;

constexpr std::size_t block_size = 64;
constexpr std::size_t text_size = 32;

// floor(2^32 * abs(sin(i + 1))), i from 0.
constexpr std::uint32_t sines[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};

constexpr int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// Step i of 64: which word of the block it takes and how it mixes the other three registers.
template <std::size_t I>
constexpr std::uint32_t mix(std::uint32_t b, std::uint32_t c, std::uint32_t d) noexcept {
    if constexpr (I < 16) return d ^ (b & (c ^ d));
    // Two words that have no bit in common: as a sum, of which one half need not wait for b.
    if constexpr (I >= 16 && I < 32) return (b & d) + (c & ~d);
    if constexpr (I >= 32 && I < 48) return b ^ c ^ d;
    if constexpr (I >= 48) return c ^ (b | ~d);
}

template <std::size_t I>
constexpr std::size_t word_of_step = I < 16   ? I
                                     : I < 32 ? (5 * I + 1) % 16
                                     : I < 48 ? (3 * I + 5) % 16
                                              : 7 * I % 16;

template <std::size_t I>
inline void step(std::uint32_t (&r)[4], const std::uint32_t (&words)[16]) noexcept {
    constexpr std::size_t a = (64 - I) % 4;
    constexpr std::size_t b = (65 - I) % 4;
    constexpr std::size_t c = (66 - I) % 4;
    constexpr std::size_t d = (67 - I) % 4;
    const std::uint32_t sum = r[a] + mix<I>(r[b], r[c], r[d]) + words[word_of_step<I>] + sines[I];
    r[a] = r[b] + std::rotl(sum, shifts[I / 16][I % 4]);
}

std::uint32_t load(const std::uint8_t* bytes) noexcept {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap32(word);
    return word;
}

void transform(State& state, const std::uint8_t* block) noexcept {
    std::uint32_t words[16];
    for (std::size_t i = 0; i < 16; ++i)
        words[i] = load(block + 4 * i);
    std::uint32_t registers[4] = {state[0], state[1], state[2], state[3]};
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        (step<I>(registers, words), ...);
    }
    (std::make_index_sequence<64>());
    for (std::size_t i = 0; i < 4; ++i)
        state[i] += registers[i];
}

int write_text(const Digest& digest, char* out, std::size_t out_size) noexcept {
    return MD5Result(digest.data(), out, static_cast<int>(out_size)) == nullptr ? status::failed
                                                                                : status::ok;
}

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { GCloseFile(file); }
};

}  // namespace

void Context::update(std::span<const std::uint8_t> data) noexcept {
    const std::size_t held = length_ % block_size;
    length_ += data.size();
    if (held + data.size() < block_size) {
        std::copy(data.begin(), data.end(), block_.begin() + static_cast<std::ptrdiff_t>(held));
        return;
    }
    if (held > 0) {
        const std::size_t missing = block_size - held;
        std::copy_n(data.begin(), missing, block_.begin() + static_cast<std::ptrdiff_t>(held));
        transform(state_, block_.data());
        data = data.subspan(missing);
    }
    for (; data.size() >= block_size; data = data.subspan(block_size))
        transform(state_, data.data());
    std::copy(data.begin(), data.end(), block_.begin());
}

Digest Context::finish() noexcept {
    static constexpr std::array<std::uint8_t, block_size> padding = {0x80};
    const std::uint64_t bits = length_ * 8;
    const std::size_t held = length_ % block_size;
    update(std::span(padding).first((held < 56 ? 56 : 120) - held));
    std::array<std::uint8_t, 8> length{};
    for (std::size_t i = 0; i < 8; ++i)
        length[i] = static_cast<std::uint8_t>(bits >> (8 * i));
    update(length);
    Digest digest;
    for (std::size_t i = 0; i < digest.size(); ++i) {
        digest[i] = static_cast<std::uint8_t>(state_[i / 4] >> (8 * (i % 4)));
    }
    return digest;
}

}  // namespace deskreader::md5

using namespace deskreader;

int GMd5Encode(const unsigned char* data, size_t length, char* out, size_t out_size) {
    if (data == nullptr || length == 0 || out == nullptr || out_size < md5::text_size) {
        return status::invalid_argument;
    }
    md5::Context digest;
    digest.update({data, length});
    return md5::write_text(digest.finish(), out, out_size);
}

int GGetFileMd5(const char* path, char* out, size_t out_size) {
    if (path == nullptr || out == nullptr || out_size < md5::text_size)
        return status::invalid_argument;
    constexpr int read_binary = 1;
    const long size = GGetFileSize(path);
    const std::unique_ptr<std::FILE, md5::CloseFile> file(GOpenFile(path, read_binary));
    if (!file) return status::failed;
    md5::Context digest;
    std::array<std::uint8_t, 4096> chunk;
    for (long total = 0; total < size;) {
        const int count = GReadFile(file.get(), chunk.data(), chunk.size());
        if (count <= 0) break;
        digest.update(std::span(chunk).first(static_cast<std::size_t>(count)));
        total += count;
    }
    return md5::write_text(digest.finish(), out, out_size);
}

char* MD5Result(const unsigned char digest[16], char* out, int out_size) {
    if (out_size < static_cast<int>(md5::text_size)) return nullptr;
    std::memset(out, 0, static_cast<std::size_t>(out_size));
    text::to_hex({digest, md5::text_size / 2}, {out, md5::text_size});
    out[md5::text_size] = '\0';
    return out;
}
