#include "cards/social_security_card.h"

#include "kit/bytes.h"

namespace {

using kit::hex;
using kit::to_hex;
using namespace virtual_reader;

constexpr const char* select_directory = "00 A4 04 00 0F 7378312E73682EE7A4BEE4BC9AE4BF";

// All records of both files, as a host reads them; the status where they end.
std::vector<std::string> read_all(IsoCard& card) {
    std::vector<std::string> answers;
    for (const auto& [select, count] :
         {std::pair{"00 A4 00 00 02 EF05", 7}, std::pair{"00 A4 00 00 02 EF06", 6}}) {
        card.transmit(hex(select));
        for (int number = 1; number <= count; ++number) {
            const Bytes command = {0x00, 0xB2, static_cast<std::uint8_t>(number), 0x04, 0x00};
            answers.push_back(to_hex(card.transmit(command)));
        }
    }
    return answers;
}

TEST(SocialSecurityCard, HoldsThirteenElements) {
    IsoCard card(social_security_card({}));
    card.power_on();
    EXPECT_EQ(to_hex(card.transmit(hex(select_directory))),
              "6F16840F7378312E73682EE7A4BEE4BC9AE4BFA5038801059000");
    EXPECT_EQ(to_hex(card.transmit(hex("00 A4 00 00 02 EF05"))), "6F048302EF059000");
    EXPECT_EQ(to_hex(card.transmit(hex("00 A4 00 00 02 EF06"))), "6F048302EF069000");
    const std::vector<std::string> expected = {
        "0110990000D156000005000000000000ABCD9000",
        "0201339000",
        "0304332E30309000",
        "040C9999990000000000000000019000",
        "0504202601019000",
        "0604203601019000",
        "07095830303030303031339000",
        "08123939393939393139303030313031303031339000",
        "090B414441204558414D504C459000",
        "0A01329000",
        "0B01019000",
        "0C039999999000",
        "0D04190001019000",
    };
    EXPECT_EQ(read_all(card), expected);
}

TEST(SocialSecurityCard, LeavesElementsOut) {
    SocialSecurityCardSettings settings;
    settings.without = {2};
    settings.ends_after = 12;
    IsoCard card(social_security_card(settings));
    card.power_on();
    card.transmit(hex(select_directory));
    const auto answers = read_all(card);
    EXPECT_EQ(answers[1], "9000") << "an empty record";
    EXPECT_EQ(answers[11], "0C039999999000");
    EXPECT_EQ(answers[12], "6A83");
}

TEST(SocialSecurityCard, SpeaksByProcedureBytes) {
    SocialSecurityCardSettings settings;
    settings.name = "citizen";
    settings.contactless = true;
    settings.answer = hex("04 00");
    settings.by_procedure_bytes = true;
    settings.without = {2};
    IsoCard card(social_security_card(settings));
    EXPECT_EQ(card.name(), "citizen");
    EXPECT_TRUE(card.contactless());
    EXPECT_EQ(card.power_on(), hex("04 00"));
    EXPECT_EQ(to_hex(card.transmit(hex(select_directory))), "6118");
    card.transmit(hex("00 A4 00 00 02 EF05"));
    EXPECT_EQ(to_hex(card.transmit(hex("00 B2 01 04 00"))), "6C12");
    EXPECT_EQ(to_hex(card.transmit(hex("00 B2 02 04 00"))), "9000") << "no length is right";
}

}  // namespace
