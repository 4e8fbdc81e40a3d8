#include "cards/ultralight_c.h"

#include <algorithm>
#include <utility>

namespace virtual_reader {
namespace {

constexpr std::uint8_t acknowledged = 0x0A;
constexpr std::uint8_t not_acknowledged = 0x00;

constexpr std::size_t low_lock_page = 0x02;  // its bytes 2 and 3 are lock bytes 0 and 1
constexpr std::size_t one_time_page = 0x03;
constexpr std::size_t first_data_page = 0x04;
constexpr std::size_t high_lock_page = 0x28;  // its bytes 0 and 1 are lock bytes 2 and 3
constexpr std::size_t counter_page = 0x29;
constexpr std::size_t protection_page = 0x2A;
constexpr std::size_t protection_kind_page = 0x2B;
constexpr std::size_t first_key_page = 0x2C;

struct LockBit {
    std::size_t lock;  // byte, 0 to 3
    unsigned bit;
    std::size_t first;  // pages
    std::size_t last;
};

constexpr std::array<LockBit, 23> lock_bits = {{
    {0, 3, 0x03, 0x03}, {0, 4, 0x04, 0x04}, {0, 5, 0x05, 0x05}, {0, 6, 0x06, 0x06},
    {0, 7, 0x07, 0x07}, {1, 0, 0x08, 0x08}, {1, 1, 0x09, 0x09}, {1, 2, 0x0A, 0x0A},
    {1, 3, 0x0B, 0x0B}, {1, 4, 0x0C, 0x0C}, {1, 5, 0x0D, 0x0D}, {1, 6, 0x0E, 0x0E},
    {1, 7, 0x0F, 0x0F}, {2, 1, 0x10, 0x13}, {2, 2, 0x14, 0x17}, {2, 3, 0x18, 0x1B},
    {2, 5, 0x1C, 0x1F}, {2, 6, 0x20, 0x23}, {2, 7, 0x24, 0x27}, {3, 4, 0x29, 0x29},
    {3, 5, 0x2A, 0x2A}, {3, 6, 0x2B, 0x2B}, {3, 7, 0x2C, 0x2F},
}};

// A bit that, once set, keeps other lock bits as they are.
struct FreezeBit {
    std::size_t lock;
    unsigned bit;
    std::array<std::uint8_t, 4> frozen;  // bits of each lock byte
};

constexpr std::array<FreezeBit, 9> freeze_bits = {{
    {0, 0, {0x08, 0x00, 0x00, 0x00}},
    {0, 1, {0xF0, 0x03, 0x00, 0x00}},
    {0, 2, {0x00, 0xFC, 0x00, 0x00}},
    {2, 0, {0x00, 0x00, 0x0E, 0x00}},
    {2, 4, {0x00, 0x00, 0xE0, 0x00}},
    {3, 0, {0x00, 0x00, 0x00, 0x10}},
    {3, 1, {0x00, 0x00, 0x00, 0x20}},
    {3, 2, {0x00, 0x00, 0x00, 0x40}},
    {3, 3, {0x00, 0x00, 0x00, 0x80}},
}};

// Where a lock byte stands in memory.
constexpr std::size_t lock_address(std::size_t lock) {
    return lock < 2 ? low_lock_page * 4 + 2 + lock : high_lock_page * 4 + lock - 2;
}

Block block_of(View bytes) {
    Block block{};
    std::ranges::copy(bytes.first(block.size()), block.begin());
    return block;
}

Block rotated_left(Block block) {
    std::rotate(block.begin(), block.begin() + 1, block.end());
    return block;
}

}  // namespace

UltralightC::UltralightC(UltralightCSettings settings)
    : name_(std::move(settings.name)), random_(settings.seed), fixed_random_(settings.random) {
    const auto& uid = settings.uid;
    constexpr std::uint8_t cascade_tag = 0x88;
    std::copy_n(uid.begin(), 3, page(0));
    page(0)[3] = static_cast<std::uint8_t>(cascade_tag ^ uid[0] ^ uid[1] ^ uid[2]);
    std::copy_n(uid.begin() + 3, 4, page(1));
    page(2)[0] = static_cast<std::uint8_t>(uid[3] ^ uid[4] ^ uid[5] ^ uid[6]);
    page(2)[1] = 0x48;
    settings.data.resize(std::min(settings.data.size(), ultralight_data_size));
    std::ranges::copy(settings.data, page(first_data_page));
    for (std::size_t lock = 0; lock < settings.locks.size(); ++lock)
        memory_[lock_address(lock)] = settings.locks[lock];
    page(protection_page)[0] = settings.protected_from;
    page(protection_kind_page)[0] = settings.protects_reading ? 0x00 : 0x01;
    // Each half of the key stands in its two pages backwards.
    std::reverse_copy(settings.key.begin(), settings.key.begin() + 8, page(first_key_page));
    std::reverse_copy(settings.key.begin() + 8, settings.key.end(), page(first_key_page + 2));
}

Bytes UltralightC::power_on() {
    power_off();
    listens_ = true;
    const std::uint8_t* stored = page(first_key_page);
    std::reverse_copy(stored, stored + 8, key_.begin());
    std::reverse_copy(stored + 8, stored + 16, key_.begin() + 8);
    Bytes uid(page(0), page(0) + 3);
    append(uid, View(page(1), page_size));
    return uid;
}

void UltralightC::power_off() {
    listens_ = false;
    authenticated_ = false;
    challenge_.reset();
}

Bytes UltralightC::transmit(View command) {
    return listens_ ? carry_out(command) : Bytes{};
}

Bytes UltralightC::refuse() {
    power_off();
    return {not_acknowledged};
}

Bytes UltralightC::carry_out(View command) {
    const auto challenge = std::exchange(challenge_, std::nullopt);
    if (command.size() == 2 && command[0] == 0x30) return read(command[1]);
    if (command.size() == 2 + page_size && command[0] == 0xA2)
        return write(command[1], command.subspan(2));
    if (command.size() == 2 && command[0] == 0x1A && command[1] == 0x00)
        return begin_authentication();
    if (command.size() == 17 && command[0] == 0xAF && challenge)
        return end_authentication(command.subspan(1), *challenge);
    if (command.size() == 2 && command[0] == 0x50 && command[1] == 0x00) {
        power_off();
        return {};
    }
    return refuse();
}

bool UltralightC::needs_authentication(std::size_t number, bool to_write) const {
    const bool to_read_too = (page(protection_kind_page)[0] & 1) == 0;
    return !authenticated_ && number >= page(protection_page)[0] && (to_write || to_read_too);
}

Bytes UltralightC::read(std::size_t first) {
    std::size_t end = 0;  // of what may be read
    while (end < first_key_page && !needs_authentication(end, false))
        ++end;
    if (first >= end) return refuse();
    Bytes data;
    for (std::size_t i = 0; i < 4; ++i)
        append(data, View(page((first + i) % end), page_size));
    return data;
}

bool UltralightC::is_locked(std::size_t number) const {
    return std::ranges::any_of(lock_bits, [&](const LockBit& one) {
        return number >= one.first && number <= one.last &&
               (memory_[lock_address(one.lock)] >> one.bit & 1) != 0;
    });
}

// Lock bits can be set and never cleared.
void UltralightC::set_locks(std::size_t first_lock, View bits) {
    std::array<std::uint8_t, 4> frozen{};
    for (const FreezeBit& one : freeze_bits) {
        if ((memory_[lock_address(one.lock)] >> one.bit & 1) == 0) continue;
        for (std::size_t lock = 0; lock < frozen.size(); ++lock)
            frozen[lock] = static_cast<std::uint8_t>(frozen[lock] | one.frozen[lock]);
    }
    for (std::size_t i = 0; i < bits.size(); ++i) {
        std::uint8_t& lock = memory_[lock_address(first_lock + i)];
        lock = static_cast<std::uint8_t>(lock | (bits[i] & ~frozen[first_lock + i]));
    }
}

// The first write sets the counter, and later ones add 0 to 15 to it.
bool UltralightC::count(View data) {
    constexpr unsigned highest = 0xFFFF;
    constexpr unsigned highest_step = 15;
    std::uint8_t* counter = page(counter_page);
    const unsigned held = static_cast<unsigned>(counter[1]) << 8 | counter[0];
    const unsigned wanted = static_cast<unsigned>(data[1]) << 8 | data[0];
    if (held != 0 && (wanted > highest_step || held + wanted > highest)) return false;
    const unsigned sum = held + wanted;
    counter[0] = static_cast<std::uint8_t>(sum);
    counter[1] = static_cast<std::uint8_t>(sum >> 8);
    return true;
}

Bytes UltralightC::write(std::size_t number, View data) {
    if (number < low_lock_page || number >= pages || is_locked(number) ||
        needs_authentication(number, true)) {
        return refuse();
    }
    if (number == low_lock_page) {
        set_locks(0, data.subspan(2));
    } else if (number == high_lock_page) {
        set_locks(2, data.first(2));
    } else if (number == one_time_page) {
        for (std::size_t i = 0; i < page_size; ++i)
            page(number)[i] = static_cast<std::uint8_t>(page(number)[i] | data[i]);
    } else if (number == counter_page) {
        if (!count(data)) return refuse();
    } else {
        std::ranges::copy(data, page(number));
    }
    return {acknowledged};
}

// Encryption goes on in one chain through the whole exchange, in both directions.
Bytes UltralightC::begin_authentication() {
    authenticated_ = false;
    Challenge challenge{};
    std::ranges::generate(challenge.random,
                          [this] { return static_cast<std::uint8_t>(random_()); });
    if (fixed_random_) challenge.random = *fixed_random_;
    const Bytes encrypted = triple_des_encrypt(key_, Block{}, challenge.random);
    challenge.encrypted = block_of(encrypted);
    challenge_ = challenge;
    Bytes answer = {0xAF};
    append(answer, encrypted);
    return answer;
}

Bytes UltralightC::end_authentication(View encrypted, const Challenge& challenge) {
    const Bytes randoms = triple_des_decrypt(key_, challenge.encrypted, encrypted);
    if (block_of(View(randoms).subspan(8)) != rotated_left(challenge.random)) return refuse();
    authenticated_ = true;
    Bytes answer = {0x00};
    append(answer, triple_des_encrypt(key_, block_of(encrypted.subspan(8)),
                                      rotated_left(block_of(randoms))));
    return answer;
}

}  // namespace virtual_reader
