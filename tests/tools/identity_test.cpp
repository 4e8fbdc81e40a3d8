// The tool's command for identity cards, from the card to the photo's pixels.
#include <numeric>

#include "cards/portrait.h"
#include "kit/working_directory.h"
#include "tool_process.h"

namespace {

using namespace tool_tests;
using kit::Bytes;

constexpr const char* resident_lines =
    "kind            resident identity card\n"
    "name            样本甲\n"
    "sex             女\n"
    "ethnic group    汉\n"
    "date of birth   2000-01-01\n"
    "address         样本市无名路1号\n"
    "number          999999200001019991\n"
    "authority       样本市无名局\n"
    "valid from      2020-01-01\n"
    "valid until     2040-01-01\n";

// In a terminal of 24-bit colours unless told otherwise.
Surroundings terminal(const char* kind = "xterm-256color", const char* depth = "truecolor",
                      const char* no_colour = "", const char* locale = "C.UTF-8") {
    return {{{"LC_ALL", locale}, {"TERM", kind}, {"COLORTERM", depth}, {"NO_COLOR", no_colour}},
            true};
}

std::size_t count_of(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
        ++count;
    return count;
}

// The BMP file of a picture on a virtual card, as its format and the decoder's scale tell.
Bytes bmp_of(const Bytes& picture) {
    Bytes file = kit::striped_bmp();
    file.resize(54);  // the header is the same for all
    for (std::size_t row = 126; row-- > 0;) {
        for (std::size_t column = 0; column < 102; ++column) {
            const std::size_t pixel = row * 48 / 126 * 40 + column * 40 / 102;
            const unsigned pair = picture[64 + pixel / 2];
            const std::size_t colour = 16 + 3 * (pixel % 2 == 0 ? pair >> 4 : pair & 0x0F);
            for (const std::size_t part : {2u, 1u, 0u})
                file.push_back(picture[colour + part]);
        }
        file.insert(file.end(), {0xFF, 0xFF});
    }
    return file;
}

// The picture that a card without one of its own gets, by its name.
Bytes portrait_of(const std::string& name) {
    return virtual_reader::portrait(
        static_cast<std::uint32_t>(std::accumulate(name.begin(), name.end(), 0)));
}

TEST(IdentityTool, ShowsAResident) {
    const Finished run = virtual_tool({"id"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, resident_lines);
    EXPECT_EQ(run.errors, "");
}

TEST(IdentityTool, ShowsAForeigner) {
    EXPECT_EQ(tool({"--virtual", "--card", "foreign", "id"}).output,
              "kind            foreign permanent resident's card\n"
              "English name    EXAMPLE DAN\n"
              "Chinese name    样本乙\n"
              "sex             男\n"
              "nationality     加拿大/CAN\n"
              "date of birth   1990-01-01\n"
              "number          CAN999900010199\n"
              "authority       9999\n"
              "valid from      2020-01-01\n"
              "valid until     2030-01-01\n"
              "version         01\n");
}

TEST(IdentityTool, ShowsSomebodyWithAResidenceCard) {
    EXPECT_EQ(tool({"--virtual", "--card", "residence", "id"}).output,
              "kind            residence card\n"
              "name            样本丙\n"
              "sex             男\n"
              "date of birth   1995-01-01\n"
              "address         样本市无名路2号\n"
              "number          830000199501019992\n"
              "pass number     Z99999999\n"
              "issues          01\n"
              "authority       样本市无名局\n"
              "valid from      2020-01-01\n"
              "valid until     2025-01-01\n");
}

TEST(IdentityTool, TellsPrograms) {
    EXPECT_EQ(
        tool({"--json", "--virtual", "id"}).output,
        R"({"kind":"resident identity card","name":"样本甲","sex":"女","ethnic_group":"汉",)"
        R"("date_of_birth":"20000101","address":"样本市无名路1号","number":"999999200001019991",)"
        R"("authority":"样本市无名局","valid_from":"20200101","valid_until":"20400101"})"
        "\n");
}

TEST(IdentityTool, TellsItInTheEncodingOfTheTerminal) {
    const Finished run = tool({"--virtual", "id"}, {{{"LC_ALL", "C"}}});
    EXPECT_NE(run.output.find("name            ?\?\?\n"), std::string::npos) << run.output;
}

TEST(IdentityTool, ReportsThatNoCardCame) {
    const Deck deck = empty_deck();
    const Finished run = tool({"--timeout", "1", "--virtual", deck.path(), "id"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "deskreader: RD_ReadIdInfo_Pic: -3001 no identity card (找不到二代证)\n");
    const Json object = json(tool({"--json", "--timeout", "1", "--virtual", deck.path(), "id"}));
    EXPECT_EQ(error(object, "number"), "-3001");
}

TEST(IdentityTool, WritesThePhoto) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    const Finished run = virtual_tool({"id", "--photo", "photo.bmp"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, std::string(resident_lines) + "photo           photo.bmp\n");
    EXPECT_EQ(kit::to_hex(kit::bytes_of_file(here / "photo.bmp")),
              kit::to_hex(bmp_of(portrait_of("resident"))));
}

TEST(IdentityTool, PhotoHasTheCardsPixels) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    const Deck deck(R"({"cards": [{"type": "identity", "name": "striped", "inserted": true,
        "photo": {"hex": ")" +
                    kit::to_hex(kit::striped_picture()) + R"("}}]})");
    const Finished run = tool({"--virtual", deck.path(), "id", "--photo", "striped.bmp"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(kit::to_hex(kit::bytes_of_file(here / "striped.bmp")),
              kit::to_hex(kit::striped_bmp()));
}

TEST(IdentityTool, PhotoGoesToTheFileThatIsNamedWhateverItsName) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    const Json object = virtual_json({"id", "--photo", "no.jpg"});
    EXPECT_EQ(text(object, "photo"), "no.jpg");
    EXPECT_EQ(kit::bytes_of_file(here / "no.jpg"), bmp_of(portrait_of("resident")));
}

TEST(IdentityTool, LeavesNoTemporaryFiles) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    std::filesystem::create_directory(here / "temporary");
    const std::string directory = (here / "temporary").string();
    const Finished run = tool({"--virtual", "id", "--photo", "photo.bmp"},
                              {{{"LC_ALL", "C.UTF-8"}, {"TMPDIR", directory.c_str()}}});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_TRUE(std::filesystem::is_empty(here / "temporary"));
}

TEST(IdentityTool, ReportsAPhotoWithoutDecoder) {
    const kit::WorkingDirectory here;
    const Finished run = virtual_tool({"id", "--photo", "photo.bmp"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, resident_lines) << "the texts are there all the same";
    EXPECT_EQ(run.errors,
              "deskreader: RD_ReadIdInfo: -3003 photo not written (无法生成二代证头像图片)\n");
    EXPECT_FALSE(std::filesystem::exists(here / "photo.bmp"));
}

TEST(IdentityTool, ReportsAPhotoThatCannotBeWritten) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    const Finished run = virtual_tool({"id", "--photo", "nowhere/photo.bmp"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "deskreader: nowhere/photo.bmp: cannot be written\n");
    EXPECT_EQ(virtual_tool({"id", "--photo", "/dev/full"}).status, 1);
}

TEST(IdentityTool, DrawsThePhotoInATerminalOfAllColours) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    const Finished run = tool({"--virtual", "id"}, terminal());
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(count_of(run.output, "\u2580"), 34u * 21u);
    EXPECT_EQ(count_of(run.output, "\x1B[0m\r\n"), 21u);
    // The wall in a corner of the picture that this name gets.
    const Bytes picture = portrait_of("resident");
    const std::string wall = std::to_string(picture[16]) + ";" + std::to_string(picture[17]) + ";" +
                             std::to_string(picture[18]);
    EXPECT_NE(run.output.find("\r\n  \x1B[38;2;" + wall + ";48;2;" + wall + "m\u2580"),
              std::string::npos)
        << run.output;
}

TEST(IdentityTool, DrawsThePhotoInATerminalOf256Colours) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    // One colour, FF 87 00: step 5, 2 and 0 of the cube, 16 + 5 * 36 + 2 * 6.
    Bytes picture = kit::striped_picture();
    for (std::size_t colour = 0; colour < 16; ++colour) {
        picture[16 + 3 * colour] = 0xFF;
        picture[17 + 3 * colour] = 0x87;
        picture[18 + 3 * colour] = 0x00;
    }
    const Deck deck(R"({"cards": [{"type": "identity", "name": "orange", "inserted": true,
        "photo": {"hex": ")" +
                    kit::to_hex(picture) + R"("}}]})");
    const Finished run = tool({"--virtual", deck.path(), "id"}, terminal("xterm-256color", "yes"));
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(count_of(run.output, "\x1B[38;5;208;48;5;208m\u2580"), 34u * 21u) << run.output;
}

TEST(IdentityTool, DrawsNothingWhereItCannotBeShown) {
    const kit::WorkingDirectory here;
    here.put_decoder();
    for (const Surroundings& surroundings :
         {terminal("dumb"), terminal(""), terminal("vt100"), terminal("xterm", "truecolor", "1"),
          terminal("xterm", "truecolor", "", "C")}) {
        const Finished run = tool({"--virtual", "id"}, surroundings);
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.output.find('\x1B'), std::string::npos) << run.output;
        EXPECT_NE(run.output.find("999999200001019991"), std::string::npos);
    }
    const Finished run = tool({"--json", "--virtual", "id"}, terminal());
    EXPECT_EQ(run.output.find('\x1B'), std::string::npos) << run.output;
}

TEST(IdentityTool, SaysInATerminalThatThereIsNoDecoder) {
    const kit::WorkingDirectory here;
    const Finished run = tool({"--virtual", "id"}, terminal());
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(
        run.output.find("the photo is not shown: ./libwlt.so, its decoder, did not give it\r\n"),
        std::string::npos)
        << run.output;
}

TEST(IdentityTool, KnowsWrongUse) {
    EXPECT_EQ(virtual_tool({"id", "--photo"}).status, 2);
    EXPECT_EQ(virtual_tool({"id", "resident"}).status, 2);
}

}  // namespace
