#include "mifare_calls.h"

#include <deskreader.h>

#include <array>

#include "errors.h"
#include "waiting.h"

namespace desk_tool {
namespace {

constexpr int uid_room = 512;
constexpr std::size_t value_size = 4;
constexpr std::size_t page_digits = 8;

// Sectors 1 to 32 have 4 blocks, 33 to 40 have 16.
constexpr int small_sectors = 32;
constexpr int small_size = 4;
constexpr int large_size = 16;
constexpr int first_large_block = small_sectors * small_size;

using Uid = std::array<char, uid_room + 1>;

std::string hex_of(const unsigned char* bytes, std::size_t count) {
    std::string text(2 * count, '0');
    GByte2Hex(bytes, static_cast<int>(count), text.data(), text.size());
    return text;
}

template <std::size_t Size>
std::array<unsigned char, Size> bytes_of(const std::string& hex) {
    std::array<unsigned char, Size> bytes{};
    GHex2Byte(hex.c_str(), hex.size(), bytes.data(), bytes.size());
    return bytes;
}

// Four bytes, the least significant first.
std::int32_t number_of(const unsigned char* bytes) {
    std::uint32_t number = 0;
    for (std::size_t i = value_size; i-- > 0;)
        number = number << 8 | bytes[i];
    return static_cast<std::int32_t>(number);
}

}  // namespace

int sector_of(int block) {
    return block < first_large_block ? block / small_size + 1
                                     : small_sectors + (block - first_large_block) / large_size + 1;
}

int first_block_of(int sector) {
    return sector <= small_sectors ? (sector - 1) * small_size
                                   : first_large_block + (sector - 1 - small_sectors) * large_size;
}

int trailer_of(int sector) {
    return first_block_of(sector + 1) - 1;
}

std::optional<std::int32_t> value_in(const std::string& block) {
    constexpr std::size_t address_at = 12;
    constexpr unsigned char inverted = 0xFF;
    const auto bytes = bytes_of<16>(block);
    for (std::size_t i = 0; i < value_size; ++i) {
        if (bytes[i] != bytes[i + 8] || bytes[i + 4] != (bytes[i] ^ inverted)) return std::nullopt;
    }
    const unsigned char address = bytes[address_at];
    if (bytes[address_at + 2] != address || bytes[address_at + 1] != (address ^ inverted) ||
        bytes[address_at + 3] != bytes[address_at + 1]) {
        return std::nullopt;
    }
    return number_of(bytes.data());
}

ClassicCard::ClassicCard(int timeout_s) {
    activate(timeout_s);
}

ClassicCard::~ClassicCard() {
    RD_M1Powerdown();
}

void ClassicCard::activate(int timeout_s) {
    Uid uid{};
    int length = 0;
    const Waiting waiting(timeout_s);
    check("RD_M1Powerup", RD_M1Powerup(uid_room, uid.data(), &length, timeout_s));
    uid_ = uid.data();
    lost_ = false;
}

void ClassicCard::attempt(const char* call, int result) {
    lost_ = lost_ || result != 0;
    check(call, result);
}

void ClassicCard::open_sector(int sector, KeyType type, const std::vector<std::string>& keys) {
    int result = 0;
    for (const std::string& key : keys) {
        if (lost_) activate(1);
        result = RD_M1Verify(sector, static_cast<int>(type), key.c_str());
        lost_ = result != 0;
        if (result == 0) return;
    }
    check("RD_M1Verify", result);
}

std::string ClassicCard::read(int block) {
    std::array<char, 33> data{};
    attempt("RD_M1ReadBlock", RD_M1ReadBlock(block, data.size() - 1, data.data()));
    return data.data();
}

void ClassicCard::write(int block, const std::string& data) {
    attempt("RD_M1WriteBlock", RD_M1WriteBlock(block, data.c_str()));
}

std::int32_t ClassicCard::value(int block) {
    std::array<char, 2 * value_size + 1> value{};
    attempt("RD_M1Read", RD_M1Read(block, value.size() - 1, value.data()));
    return number_of(bytes_of<value_size>(value.data()).data());
}

void ClassicCard::set_value(int block, std::int32_t value) {
    std::array<unsigned char, value_size> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(static_cast<std::uint32_t>(value) >> (8 * i));
    attempt("RD_M1Write", RD_M1Write(block, hex_of(bytes.data(), bytes.size()).c_str()));
}

void ClassicCard::increase(int block, unsigned amount) {
    attempt("RD_M1IncreaseValue", RD_M1IncreaseValue(block, amount));
}

void ClassicCard::decrease(int block, unsigned amount) {
    attempt("RD_M1DecreaseValue", RD_M1DecreaseValue(block, amount));
}

UltralightCard::UltralightCard(int timeout_s) {
    Uid uid{};
    int length = 0;
    const Waiting waiting(timeout_s);
    check("RD_M0PowerOn", RD_M0PowerOn(uid_room, uid.data(), &length, timeout_s));
    uid_ = uid.data();
}

UltralightCard::~UltralightCard() {
    RD_M0PowerOff();
}

void UltralightCard::verify_key(const std::string& key) {
    check("RD_M0VerifyKey", RD_M0VerifyKey(static_cast<int>(key.size()), key.c_str()));
}

std::vector<std::string> UltralightCard::read(int page, int count) {
    std::array<char, 1025> data{};
    check("RD_M0Read", RD_M0Read(page, count, data.size() - 1, data.data()));
    std::vector<std::string> pages;
    for (std::string rest = data.data(); !rest.empty(); rest.erase(0, page_digits))
        pages.push_back(rest.substr(0, page_digits));
    return pages;
}

// The library takes a character for each half byte, and of it the low four bits: '0' to '?'.
void UltralightCard::write(int page, const std::string& data) {
    const auto bytes = bytes_of<page_digits / 2>(data);
    std::array<char, page_digits + 1> characters{};
    GBCD2Ansi(bytes.data(), bytes.size(), characters.data(), characters.size() - 1);
    check("RD_M0Write", RD_M0Write(page, characters.data()));
}

}  // namespace desk_tool
