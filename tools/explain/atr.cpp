#include "atr.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "status_words.h"
#include "values.h"

namespace explain {
namespace {

constexpr std::uint8_t direct = 0x3B;
constexpr std::uint8_t inverse = 0x3F;
constexpr std::uint8_t global_bytes = 15;  // T=15: interface bytes that are for no protocol

// Clock rate conversion and highest frequency, by the upper half of TA1.
struct Rate {
    int cycles;  // 0: reserved
    const char* frequency;
};
constexpr std::array<Rate, 16> rates = {{
    {372, "4"},
    {372, "5"},
    {558, "6"},
    {744, "8"},
    {1116, "12"},
    {1488, "16"},
    {1860, "20"},
    {0, ""},
    {0, ""},
    {512, "5"},
    {768, "7.5"},
    {1024, "10"},
    {1536, "15"},
    {2048, "20"},
    {0, ""},
    {0, ""},
}};
// Baud rate adjustment, by the lower half.
constexpr std::array<int, 16> adjustments = {0, 1, 2, 4, 8, 16, 32, 64, 12, 20, 0, 0, 0, 0, 0, 0};

constexpr std::array<int, 4> programming_currents = {25, 50, 100, 0};

constexpr const char* voltages[] = {"",
                                    "5 V (class A)",
                                    "3 V (class B)",
                                    "5 V and 3 V (classes A, B)",
                                    "1.8 V (class C)",
                                    "",
                                    "3 V and 1.8 V (classes B, C)",
                                    "5 V, 3 V and 1.8 V (classes A, B, C)"};
constexpr const char* clock_stops[] = {"the clock must not stop", "the clock may stop low",
                                       "the clock may stop high", "the clock may stop anywhere"};

struct InterfaceByte {
    char letter;               // A to D
    int group;                 // 1 for TA1
    int protocol;              // that it is for, of the TD before it; -1 for the first group
    int protocols_before = 0;  // of the same, so 0 for the first of its kind
    std::uint8_t value = 0;
};

// What the bytes say of themselves.
struct Layout {
    std::vector<InterfaceByte> interface_bytes;
    std::size_t historical_at = 0;
    std::size_t historical_count = 0;
    bool has_check = false;  // TCK, unless T=0 is all there is
    bool whole = false;

    std::size_t end() const { return historical_at + historical_count + (has_check ? 1 : 0); }
};

Layout layout_of(View bytes) {
    Layout layout;
    if (bytes.size() < 2) return layout;
    layout.historical_count = bytes[1] & 0x0F;
    std::array<int, 16> seen{};
    std::size_t at = 2;
    std::uint8_t follow = bytes[1] >> 4;
    int protocol = -1;
    for (int group = 1; follow != 0; ++group) {
        const std::uint8_t present = follow;
        follow = 0;
        const int before = protocol < 0 ? 0 : seen[static_cast<std::size_t>(protocol)]++;
        for (int i = 0; i < 4; ++i) {
            if ((present >> i & 1) == 0) continue;
            if (at >= bytes.size()) return layout;
            const std::uint8_t value = bytes[at++];
            layout.interface_bytes.push_back(
                {static_cast<char>('A' + i), group, protocol, before, value});
            if (i != 3) continue;
            follow = value >> 4;
            protocol = value & 0x0F;
            layout.has_check = layout.has_check || protocol != 0;
        }
    }
    layout.historical_at = at;
    layout.whole = bytes.size() >= layout.end();
    return layout;
}

std::string in_bits_a_second(int cycles, int adjustment) {
    constexpr int usual_clock = 4'000'000;  // hertz
    return std::to_string(usual_clock * adjustment / cycles);
}

std::string speed_text(std::uint8_t value) {
    const Rate& rate = rates[value >> 4];
    const int adjustment = adjustments[value & 0x0F];
    if (rate.cycles == 0 || adjustment == 0) return "reserved speed";
    return "F = " + std::to_string(rate.cycles) + ", D = " + std::to_string(adjustment) +
           ", clock up to " + rate.frequency +
           " MHz: " + in_bits_a_second(rate.cycles, adjustment) + " bit/s at 4 MHz";
}

std::string programming_text(std::uint8_t value) {
    const int volts = value & 0x1F;
    if (volts == 0) return "VPP not connected";
    const int current = programming_currents[value >> 5 & 3];
    return "VPP " + std::to_string(volts) + " V, at most " + std::to_string(current) + " mA";
}

std::string guard_text(std::uint8_t value) {
    constexpr std::uint8_t least = 0xFF;
    if (value == least) return "shortest guard time: 12 etu at T=0, 11 etu at T=1";
    return "extra guard time: " + std::to_string(value) + " etu";
}

std::string mode_text(std::uint8_t value) {
    return "only T=" + std::to_string(value & 0x0F) + " is spoken at once (specific mode), " +
           ((value & 0x80) != 0 ? "which cannot change" : "which can change") + ", " +
           ((value & 0x10) != 0 ? "speed as the reader knows it" : "speed of TA1");
}

std::string power_text(std::uint8_t value) {
    const std::string classes = (value & 0x3F) < std::size(voltages) ? voltages[value & 0x3F] : "";
    return std::string(clock_stops[value >> 6]) + ", " +
           (classes.empty() ? "reserved voltage class" : classes);
}

std::string waiting_text(std::uint8_t value) {
    return "block waiting time 2^" + std::to_string(value >> 4) + ", character waiting time 2^" +
           std::to_string(value & 0x0F);
}

std::string follow_text(std::uint8_t present, int group) {
    std::string text;
    for (int i = 0; i < 4; ++i) {
        if ((present >> i & 1) == 0) continue;
        text += text.empty() ? "" : " ";
        text += std::string("T") + static_cast<char>('A' + i) + std::to_string(group);
    }
    return text.empty() ? "no more interface bytes"
                        : text + (text.size() > 3 ? " follow" : " follows");
}

std::string protocol_text(const InterfaceByte& byte) {
    const int protocol = byte.value & 0x0F;
    const std::string kind = protocol == global_bytes ? "for no protocol (T=15)"
                                                      : "protocol T=" + std::to_string(protocol);
    return kind + ", " + follow_text(byte.value >> 4, byte.group + 1);
}

// Of groups behind the second.
std::string later_text(const InterfaceByte& byte) {
    const bool first = byte.protocols_before == 0 ||
                       (byte.protocol == 1 && byte.group == 3 && byte.protocols_before == 1);
    if (byte.protocol == global_bytes && byte.letter == 'A') return power_text(byte.value);
    if (byte.protocol == 1 && first) {
        if (byte.letter == 'A')
            return "T=1: the card takes blocks of " + std::to_string(byte.value) + " bytes";
        if (byte.letter == 'B') return "T=1: " + waiting_text(byte.value);
        if (byte.letter == 'C')
            return (byte.value & 1) != 0 ? "T=1: error code CRC" : "T=1: error code LRC";
    }
    return "for T=" + std::to_string(byte.protocol);
}

std::string meaning_of(const InterfaceByte& byte) {
    if (byte.letter == 'D') return protocol_text(byte);
    if (byte.group == 1) {
        if (byte.letter == 'A') return speed_text(byte.value);
        return byte.letter == 'B' ? programming_text(byte.value) : guard_text(byte.value);
    }
    if (byte.group == 2) {
        if (byte.letter == 'A') return mode_text(byte.value);
        if (byte.letter == 'B') return "VPP " + std::to_string(byte.value) + " tenths of a volt";
        return "T=0: waiting time integer " + std::to_string(byte.value);
    }
    return later_text(byte);
}

// Compact objects of ISO 7816-4: a tag and a length of four bits each.
struct CompactTag {
    int tag;
    const char* name;
};
constexpr CompactTag compact_tags[] = {
    {1, "country code"},       {2, "issuer identification number"},
    {3, "card service data"},  {4, "initial access data"},
    {5, "card issuer's data"}, {6, "pre-issuing data"},
    {7, "card capabilities"},  {8, "status indicator"},
};

std::string compact_name(int tag) {
    const auto* row = std::ranges::find(compact_tags, tag, &CompactTag::tag);
    return row == std::end(compact_tags) ? "unknown" : row->name;
}

void explain_compact(View bytes, Note& note) {
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t size = bytes[at] & 0x0F;
        const View value = part(bytes, at + 1, size);
        Note object{.label = hex(part(bytes, at, 1)),
                    .name = compact_name(bytes[at] >> 4),
                    .bytes = hex(value)};
        if (value.size() < size) object.add_problem("cut short");
        note.add(std::move(object));
        at += 1 + size;
    }
}

void explain_historical(View bytes, Note& note) {
    constexpr std::uint8_t compact = 0x80;
    constexpr std::uint8_t compact_then_status = 0x00;
    constexpr std::uint8_t reference = 0x10;
    constexpr std::size_t status_size = 3;
    if (bytes.empty()) return;
    Note historical{.name = "historical bytes", .bytes = hex(bytes), .meaning = shown_text(bytes)};
    if (bytes[0] == compact) {
        historical.meaning = "compact data objects";
        explain_compact(bytes.subspan(1), historical);
    } else if (bytes[0] == compact_then_status && bytes.size() > status_size) {
        historical.meaning = "compact data objects and a status";
        explain_compact(bytes.subspan(1, bytes.size() - 1 - status_size), historical);
        const View status = bytes.last(status_size);
        historical.add({.name = "card life cycle", .bytes = hex(status.first(1))});
        historical.add({.label = "SW",
                        .bytes = hex(status.subspan(1)),
                        .meaning = status_word_name(word_at(status, 1))});
    } else if (bytes[0] == reference) {
        historical.meaning = "where the data are to be found";
    }
    note.add(std::move(historical));
}

void explain_check(View bytes, const Layout& layout, Note& note) {
    if (!layout.has_check) return;
    std::uint8_t sum = 0;
    for (const std::uint8_t byte : bytes.subspan(1, layout.end() - 2))
        sum ^= byte;
    const bool right = sum == bytes[layout.end() - 1];
    note.add({.label = "TCK",
              .bytes = hex(bytes.subspan(layout.end() - 1, 1)),
              .meaning = right ? "check byte, right"
                               : "check byte, wrong: " + hex({&sum, 1}) + " is right",
              .problem = !right});
}

}  // namespace

bool is_answer_to_reset(View bytes) {
    if (bytes.size() < 2 || (bytes[0] != direct && bytes[0] != inverse)) return false;
    const Layout layout = layout_of(bytes);
    return layout.whole && layout.end() == bytes.size();
}

Note explain_answer_to_reset(View bytes) {
    Note note{.label = "ATR", .name = "answer to reset", .bytes = hex(bytes)};
    const Layout layout = layout_of(bytes);
    const std::uint8_t start = bytes.empty() ? std::uint8_t{0} : bytes[0];
    note.add({.label = "TS",
              .bytes = hex(part(bytes, 0, 1)),
              .meaning = start == direct    ? "direct convention"
                         : start == inverse ? "inverse convention"
                                            : "neither direct (3B) nor inverse (3F) convention",
              .problem = start != direct && start != inverse});
    if (bytes.size() > 1) {
        note.add({.label = "T0",
                  .bytes = hex(part(bytes, 1, 1)),
                  .meaning = follow_text(bytes[1] >> 4, 1) + ", " +
                             std::to_string(bytes[1] & 0x0F) + " historical bytes"});
    }
    for (const InterfaceByte& byte : layout.interface_bytes) {
        note.add({.label = std::string("T") + byte.letter + std::to_string(byte.group),
                  .bytes = hex({&byte.value, 1}),
                  .meaning = meaning_of(byte)});
    }
    if (!layout.whole) {
        if (layout.historical_at > 0) explain_historical(part(bytes, layout.historical_at), note);
        note.add_problem("cut short");
        return note;
    }
    explain_historical(part(bytes, layout.historical_at, layout.historical_count), note);
    explain_check(bytes, layout, note);
    if (bytes.size() > layout.end()) {
        note.add(
            {.name = "behind the end", .bytes = hex(part(bytes, layout.end())), .problem = true});
    }
    return note;
}

}  // namespace explain
