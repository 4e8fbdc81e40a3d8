#include "cards/social_security_card.h"

#include "cards/tlv.h"

namespace virtual_reader {
namespace {

// "sx1.sh." and the first eight bytes of the UTF-8 text "social security": the name ends within a
// character, as on the cards.
constexpr std::uint8_t directory_name[] = {0x73, 0x78, 0x31, 0x2E, 0x73, 0x68, 0x2E, 0xE7,
                                           0xA4, 0xBE, 0xE4, 0xBC, 0x9A, 0xE4, 0xBF};

constexpr std::size_t first_file_records = 7;

Bytes record(const SocialSecurityCardSettings& settings, std::size_t element) {
    const int tag = static_cast<int>(element + 1);
    if (settings.without.contains(tag)) return {};
    return data_object(static_cast<Tag>(tag), settings.elements[element]);
}

}  // namespace

std::array<Bytes, citizen_elements> SocialSecurityCardSettings::example_citizen() {
    const auto text = [](std::string_view value) { return to_bytes(value); };
    return {
        from_hex("990000D156000005000000000000ABCD"),  // card identification code
        from_hex("33"),                                // card type
        text("3.00"),                                  // version
        from_hex("999999000000000000000001"),          // initialising organisation
        from_hex("20260101"),                          // issued
        from_hex("20360101"),                          // expires
        text("X00000013"),                             // card number
        text("999999190001010013"),                    // social security number
        text("ADA EXAMPLE"),                           // name
        text("2"),                                     // sex
        from_hex("01"),                                // nationality
        from_hex("999999"),                            // place of birth
        from_hex("19000101"),                          // date of birth
    };
}

IsoCardSettings social_security_card(const SocialSecurityCardSettings& settings) {
    ElementaryFile first{0xEF05, 5, {}, {}};
    ElementaryFile second{0xEF06, 6, {}, {}};
    for (std::size_t element = 0; element < settings.ends_after; ++element) {
        ElementaryFile& file = element < first_file_records ? first : second;
        file.records.push_back(record(settings, element));
    }
    // The file number of the directory, as hosts look for it.
    const Bytes proprietary = data_object(0x88, Bytes{first.sfi});
    IsoCardSettings card;
    card.name = settings.name;
    card.contactless = settings.contactless;
    card.answer = settings.answer;
    card.by_procedure_bytes = settings.by_procedure_bytes;
    card.files.directories.push_back(
        {0xDF01, to_bytes(View(directory_name)), {first, second}, proprietary});
    return card;
}

}  // namespace virtual_reader
