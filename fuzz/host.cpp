#include "host.h"

#include <iterator>
#include <string>

#include "cards/tlv.h"

namespace fuzzing {
namespace {

constexpr std::uint8_t tag_command[] = {0x86};

struct CardInDeck {
    std::string_view name;
    std::string_view json;
};

constexpr CardInDeck deck[] = {
    {"bank", R"("type": "payment", "pin": "1234", "balance": 10000)"},
    {"purse", R"("type": "purse", "pin": "1234", "purse": 5000,
                 "files": [ { "id": "EF15", "sfi": 21, "data": "0123456789ABCDEF" } ])"},
    {"citizen", R"("type": "social-security", "person": "ADA EXAMPLE")"},
    {"visitor", R"("type": "iso", "contactless": true)"},
    {"locker", R"("type": "mifare-classic", "size": "1K", "uid": "5A5B5C5D",
                  "sectors": [ { "number": 2, "key_a": "A0A1A2A3A4A5" } ],
                  "blocks": [ { "number": 5, "value": 250 } ])"},
    {"loyalty", R"("type": "magnetic", "track1": "B9999000000000003^EXAMPLE/CAT^3012",
                   "track2": "9999000000000003=3012", "track3": "009999000000000003'0012'0")"},
    {"resident", R"("type": "identity", "kind": "resident",
                    "texts": { "name": "样本甲", "number": "999999200001019991" })"},
};

}  // namespace

char* Host::path(std::string_view example) {
    std::string drawn = draw.text(example);
    if (drawn.starts_with('/')) drawn.insert(0, 1, '.');
    for (std::size_t at = 0; (at = drawn.find("..", at)) != std::string::npos;)
        drawn[at] = '_';
    return buffers_.copy(drawn.c_str());
}

Host::Data Host::data_of(std::size_t size) {
    Bytes drawn = draw.piece();
    drawn.resize(std::max(drawn.size(), size));
    unsigned char* bytes = room(static_cast<int>(drawn.size()));
    std::copy(drawn.begin(), drawn.end(), bytes);
    return {bytes, static_cast<int>(drawn.size())};
}

bool runs_for_ever(View script) {
    std::size_t position = 0;
    for (std::size_t steps = 0; steps <= script.size(); ++steps) {
        if (position >= script.size()) return false;
        const auto found = deskreader::tlv::find(script.subspan(position), tag_command);
        if (!found) return false;
        position = found->offset + found->length;
    }
    return true;
}

bool runs_for_ever(std::string_view hexadecimal) {
    Bytes script(hexadecimal.size() / 2);
    if (script.empty()) return false;
    GHex2Byte(hexadecimal.data(), hexadecimal.size(), script.data(),
              static_cast<int>(script.size()));
    return runs_for_ever(script);
}

std::span<const robustness::Call> host_calls() {
    static const std::vector<robustness::Call> calls = [] {
        std::vector<robustness::Call> all;
        // An input names its call by the number: further ones go to the end of the last family.
        for (const auto family : {host_card_calls(), host_command_calls(), host_text_calls()})
            all.insert(all.end(), family.begin(), family.end());
        expect(all.size() <= 256);
        return all;
    }();
    return calls;
}

std::unique_ptr<virtual_reader::Reader> reader_for(const robustness::Call& call) {
    const auto* card = std::ranges::find(deck, std::string_view(call.card), &CardInDeck::name);
    expect(card != std::end(deck));
    const std::string json = R"({ "cards": [ { "inserted": true, "name": ")" +
                             std::string(card->name) + "\", " + std::string(card->json) + " } ] }";
    auto reader = virtual_reader::reader_from_deck(json, "host's deck");
    if (card->name == "bank") pay_once(*reader);
    return reader;
}

}  // namespace fuzzing
