#include <deskreader.h>

#include <sys/stat.h>
#include <unistd.h>

#include "kit/child.h"
#include "kit/scratch.h"

namespace {

using kit::ConfigFile;
using namespace std::chrono_literals;

int read_int(const char* section, const char* key, int fallback) {
    int value = 12345;
    EXPECT_EQ(GGetConfigInt(section, key, fallback, &value), 0);
    return value;
}

std::string read_text(const char* section, const char* key, const char* fallback) {
    char value[1024] = "";
    EXPECT_EQ(GGetConfigString(section, key, fallback, value, sizeof value), 0);
    return value;
}

struct ReadRow {
    const char* what;
    const char* file;
    int loglevel;  // read with default 1
};

class ConfigReader : public testing::TestWithParam<ReadRow> {};

TEST_P(ConfigReader, ReadsLoglevel) {
    const ConfigFile config(GetParam().file);
    EXPECT_EQ(read_int("log", "loglevel", 1), GetParam().loglevel) << GetParam().file;
}

constexpr ReadRow read_rows[] = {
    {"PlainValue", "[log]\nloglevel=2\n", 2},
    {"NoEndOfLine", "[log]\nloglevel=2", 2},
    {"CarriageReturns", "[log]\r\nloglevel=2\r\n", 2},
    {"NegativeValue", "[log]\nloglevel=-3\n", -3},
    {"BlankBeforeTheValue", "[log]\nloglevel= 2\n", 2},
    {"StopsAtTheFirstNonDigit", "[log]\nloglevel=2x3\n", 2},
    {"KeyMissing", "[log]\nsaveday=3\n", 1},
    {"SectionMissing", "[devcfg]\nloglevel=2\n", 1},
    {"EmptyFile", "", 1},
    {"NoDigits", "[log]\nloglevel=abc\n", 0},
    {"EmptyValue", "[log]\nloglevel=\n", 0},
    {"NoEqualsSign", "[log]\nloglevel\n", 0},
    {"NoEqualsSignEndsTheSearch", "[log]\nloglevel\nloglevel=2\n", 0},
    {"BlankBeforeTheKey", "[log]\n loglevel=2\n", 1},
    {"BlankBeforeTheHeader", " [log]\nloglevel=2\n", 1},
    {"BlankBeforeTheEqualsSign", "[log]\nloglevel =2\n", 2},
    {"LastOneWins", "[log]\nloglevel=2\nloglevel=5\n", 5},
    {"SecondSectionOfTheNameIsNotRead", "[log]\n[log]\nloglevel=2\n", 1},
    {"HeaderEndsTheSection", "[log]\n[x]\nloglevel=2\n", 1},
    {"TextAfterTheHeader", "[log] ; the log\nloglevel=2\n", 2},
    {"HeaderInAComment", ";[log]\nloglevel=2\n", 1},
    {"CommentInTheSection", "[log]\n;loglevel=9\nloglevel=2\n", 2},
    {"BlankLines", "\n\r\n[log]\n\n\r\nloglevel=2\n", 2},
    {"OtherCase", "[LOG]\nloglevel=2\n", 1},
    {"OtherCaseOfTheKey", "[log]\nLogLevel=2\n", 1},
    {"KeyIsAPrefixOfTheLine", "[log]\nloglevelofthereader=7\n", 7},
    {"ZeroByteEndsTheValue", "[log]\nloglevel=2\n", 2},
};

INSTANTIATE_TEST_SUITE_P(Files, ConfigReader, testing::ValuesIn(read_rows),
                         [](const auto& row) { return std::string(row.param.what); });

TEST(Config, SearchesTheEqualsSignBehindThePrefix) {
    const ConfigFile config("[devcfg]\nIcBaud=1\n");
    EXPECT_EQ(read_int("devcfg", "Ic", 5), 1);
}

TEST(Config, LastOfTwoBaudRatesWins) {
    const ConfigFile config("[devcfg]\nIdBaud=9600\nIdBaud=115200\n");
    EXPECT_EQ(read_int("devcfg", "IdBaud", 0), 115200);
}

TEST(Config, HeaderMayCarryAComment) {
    const ConfigFile config("[devcfg] ; reader\nIccmd=1\n");
    EXPECT_EQ(read_int("devcfg", "Iccmd", 0), 1);
}

TEST(Config, ReadsAnewEveryTime) {
    const ConfigFile config("[log]\nloglevel=1\n");
    EXPECT_EQ(read_int("log", "loglevel", 0), 1);
    config.write("[log]\nloglevel=2\n");
    EXPECT_EQ(read_int("log", "loglevel", 0), 2);
}

TEST(Config, MissingFileGivesDefaults) {
    const ConfigFile config;
    EXPECT_EQ(read_int("log", "loglevel", 7), 7);
    EXPECT_EQ(read_text("log", "loglevel", "none"), "none");
    EXPECT_FALSE(std::filesystem::exists(config.path()));
}

TEST(Config, NullNamesGiveTheDefault) {
    const ConfigFile config("[log]\nloglevel=2\n");
    EXPECT_EQ(read_int(nullptr, "loglevel", 7), 7);
    EXPECT_EQ(read_int("log", nullptr, 7), 7);
}

TEST(Config, TextKeepsItsBlanks) {
    const ConfigFile config("[a]\nkey=  two words \r\n");
    EXPECT_EQ(read_text("a", "key", "none"), "  two words ");
}

TEST(Config, TextWithANullArgumentIsTheDefault) {
    const ConfigFile config("[a]\nkey=value\n");
    EXPECT_EQ(read_text(nullptr, "key", "none"), "none");
    EXPECT_EQ(read_text("a", nullptr, "none"), "none");
    char kept[8] = "kept";
    EXPECT_EQ(GGetConfigString("a", "key", nullptr, kept, sizeof kept), 0);
    EXPECT_STREQ(kept, "kept");
    EXPECT_EQ(GGetConfigString("a", "key", "none", nullptr, 0), 0);
}

TEST(Config, TextWithoutAnEqualsSignLeavesTheBuffer) {
    const ConfigFile config("[a]\nkey\n");
    char value[16] = "before";
    EXPECT_EQ(GGetConfigString("a", "key", "none", value, sizeof value), 0);
    EXPECT_STREQ(value, "before");
}

TEST(Config, LongLineGoesOnAsTheNextOne) {
    // 255 bytes are one line, and what follows them stands at the beginning of the next.
    const std::string filler = "filler=" + std::string(255 - 7, 'x');
    const ConfigFile config("[a]\n" + filler + "key=5\n");
    EXPECT_EQ(read_int("a", "key", 1), 5);
    EXPECT_EQ(read_text("a", "filler", "none"), std::string(255 - 7, 'x'));
}

TEST(Config, ReadsFarIntoALongFile) {
    std::string file = "[a]\n";
    for (int i = 0; i < 2000; ++i)
        file += "line" + std::to_string(i) + "=some text\n";
    const ConfigFile config(file + "key=5\n");
    EXPECT_EQ(read_int("a", "key", 1), 5);
}

TEST(Config, ReadOnlyFileGivesDefaults) {
    const kit::ScratchDirectory directory;
    const auto path = directory / "config.ini";
    kit::write_file(path, "[log]\nloglevel=2\n");
    std::filesystem::permissions(path, std::filesystem::perms(0444));
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0777));
    const kit::ChildEnd end = kit::run_in_child(5s, [&] {
        constexpr uid_t nobody = 65534;
        if (setuid(nobody) != 0) _exit(9);
        GSetConfigFilePath(path.c_str());
        _exit(read_int("log", "loglevel", 1));
    });
    EXPECT_EQ(end.exit_status, 1);
}

TEST(Config, PathsAreRememberedAndNullIsRefused) {
    EXPECT_EQ(GSetDllPath("/opt/desk"), 0);
    EXPECT_EQ(GSetDllPath(nullptr), -22);
    EXPECT_EQ(GSetConfigFilePath(nullptr), -22);
    char path[1024] = "";
    EXPECT_EQ(GGetDllPath(0, path), 0);
    EXPECT_STREQ(path, "/opt/desk");
}

struct WriteRow {
    const char* what;
    std::string before;
    std::string after;  // once Iccmd of devcfg is set to 1
};

class ConfigWriter : public testing::TestWithParam<WriteRow> {};

TEST_P(ConfigWriter, SetsIccmd) {
    const ConfigFile config(GetParam().before);
    EXPECT_EQ(GSetConfigString("devcfg", "Iccmd", "1"), 0);
    EXPECT_EQ(config.content(), GetParam().after);
}

std::string many_lines(const char* name, int count) {
    std::string lines;
    for (int i = 0; i < count; ++i)
        lines += name + std::to_string(i) + "=1\n";
    return lines;
}

const WriteRow write_rows[] = {
    {"ReplacesTheLine", "[devcfg]\nIccmd=0\n", "[devcfg]\nIccmd=1\n"},
    {"KeepsAllOtherLines",
     ";c\n[log]\nloglevel=2\n[devcfg]\nDevBaud=9600\nIccmd=0\nIdBaud=1\n[x]\ny=2\n",
     ";c\n[log]\nloglevel=2\n[devcfg]\nDevBaud=9600\nIccmd=1\nIdBaud=1\n[x]\ny=2\n"},
    {"WritesAPlainLineEnd", "[devcfg]\r\nIccmd=0\r\nx=1\r\n", "[devcfg]\r\nIccmd=1\nx=1\r\n"},
    {"EndsTheLastLine", "[devcfg]\nIccmd=0", "[devcfg]\nIccmd=1\n"},
    {"ReplacesTheFirstOnly", "[devcfg]\nIccmd=0\nIccmd=3\n", "[devcfg]\nIccmd=1\nIccmd=3\n"},
    {"DropsALineThatBeginsWithTheKey", "[devcfg]\nIccmdOld=0\n", "[devcfg]\nIccmd=1\n"},
    {"MissingKeyIsNotCreated", "[devcfg]\nDevBaud=9600\n", "[devcfg]\nDevBaud=9600\n"},
    {"KeyInTheNextSectionIsNotIt", "[devcfg]\n[x]\nIccmd=0\n", "[devcfg]\n[x]\nIccmd=0\n"},
    {"MissingSectionIsNotCreated", "[log]\nIccmd=0\n", "[log]\nIccmd=0\n"},
    {"HeaderInACommentIsNone", ";[devcfg]\nIccmd=0\n", ";[devcfg]\nIccmd=0\n"},
    {"LosesNoLineOfLongGroups",
     many_lines("a", 50) + "[devcfg]\n" + many_lines("b", 50) + "Iccmd=0\n" + many_lines("c", 50),
     many_lines("a", 50) + "[devcfg]\n" + many_lines("b", 50) + "Iccmd=1\n" + many_lines("c", 50)},
    {"LosesNothingOfLongLines",
     std::string(10'000, 'a') + "\n[devcfg]\nIccmd=0\n" + std::string(10'000, 'c'),
     std::string(10'000, 'a') + "\n[devcfg]\nIccmd=1\n" + std::string(10'000, 'c')},
};

INSTANTIATE_TEST_SUITE_P(Files, ConfigWriter, testing::ValuesIn(write_rows),
                         [](const auto& row) { return std::string(row.param.what); });

TEST(Config, WriterNeverCreatesTheFile) {
    const ConfigFile config;
    EXPECT_EQ(GSetConfigString("devcfg", "Iccmd", "1"), 0);
    EXPECT_FALSE(std::filesystem::exists(config.path()));
}

TEST(Config, WriterTakesNoNull) {
    const ConfigFile config("[devcfg]\nIccmd=0\n");
    EXPECT_EQ(GSetConfigString(nullptr, "Iccmd", "1"), 0);
    EXPECT_EQ(GSetConfigString("devcfg", nullptr, "1"), 0);
    EXPECT_EQ(GSetConfigString("devcfg", "Iccmd", nullptr), 0);
    EXPECT_EQ(config.content(), "[devcfg]\nIccmd=0\n");
}

TEST(Config, OtherFilesCanBeReadAndWritten) {
    const kit::ScratchDirectory directory;
    const auto path = directory / "other.ini";
    kit::write_file(path, "[a]\nb=1\n");
    EXPECT_EQ(_IniWriteValue("a", "b", "22", path.c_str()), 0);
    char value[256] = "";
    EXPECT_EQ(_IniReadValue("a", "b", "none", value, path.c_str()), 0);
    EXPECT_STREQ(value, "22");
}

TEST(Config, WriterKeepsWhoMayReadAndWriteTheFile) {
    const ConfigFile config("[devcfg]\nIccmd=0\n");
    chmod(config.path().c_str(), 0664);
    const mode_t mask = umask(077);
    GSetConfigString("devcfg", "Iccmd", "1");
    umask(mask);
    EXPECT_EQ(config.content(), "[devcfg]\nIccmd=1\n");
    EXPECT_EQ(std::filesystem::status(config.path()).permissions(), std::filesystem::perms(0664));
}

TEST(Config, WriterReplacesTheTextOfAFileThatItMayNotDelete) {
    const ConfigFile config("[devcfg]\nIccmd=0\ndevtype=0\n");
    const std::filesystem::path directory = std::filesystem::path(config.path()).parent_path();
    chmod(config.path().c_str(), 0666);
    chmod(directory.c_str(), 0555);
    constexpr uid_t nobody = 65534;
    const bool root = geteuid() == 0;
    ASSERT_EQ(root ? seteuid(nobody) : 0, 0);
    EXPECT_NE(std::remove(std::string(config.path()).c_str()), 0);
    GSetConfigString("devcfg", "Iccmd", "1");
    ASSERT_EQ(root ? seteuid(0) : 0, 0);
    chmod(directory.c_str(), 0755);
    EXPECT_EQ(config.content(), "[devcfg]\nIccmd=1\ndevtype=0\n");
}

TEST(Config, HostileFilesAreRead) {
    for (const std::string& file :
         {std::string("[a\n[\n]\n=\n"), std::string(5000, '['), std::string(3, '\0'),
          std::string("[log]\nloglevel=") + std::string(5000, '9')}) {
        const ConfigFile config(file);
        read_int("log", "loglevel", 1);
        read_int("", "", 1);
        GSetConfigString("log", "loglevel", "1");
    }
}

}  // namespace
