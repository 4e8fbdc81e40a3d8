// What becomes of the photo of an identity card.
#include <deskreader.h>

#include <sys/stat.h>
#include <unistd.h>

#include "api/id_reads.h"
#include "kit/working_directory.h"

namespace {

using kit::Link;
using namespace id_reads;
namespace fs = std::filesystem;

// Photos in a working directory of the test's own.
class IdCardPhoto : public testing::TestWithParam<Link> {
  protected:
    ~IdCardPhoto() override { umask(mask_); }

    void expect_card() {
        module_.expect_card(kit::with_photo(kit::resident_card(), kit::striped_picture()));
    }

    // Reads a card whose photo goes to a path.
    int read_to(const std::string& path) {
        expect_card();
        const Read read = read_info(path.c_str());
        EXPECT_EQ(read.text(), resident_fields + "||") << "written whatever becomes of the photo";
        desk_->verify();
        return read.result;
    }

    static bool is_striped_photo(const fs::path& path) {
        return kit::bytes_of_file(path) == kit::striped_bmp();
    }

    // Directories are made without rights for us; only a privileged process can write into them.
    static int result_in_new_directory() { return geteuid() == 0 ? 0 : -3003; }

    mode_t mask_ = umask(0);
    kit::WorkingDirectory here_;
    kit::ConfigFile config_;
    kit::LogFile log_;
    kit::ScriptedDesk desk_{GetParam()};
    kit::IdModule module_{*desk_, GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Links, IdCardPhoto, testing::Values(Link::hid, Link::serial),
                         kit::link_name);

constexpr auto rights_of_a_made_directory = fs::perms(0007);

TEST_P(IdCardPhoto, GoesToTheBmpFileNamed) {
    here_.put_decoder();
    EXPECT_EQ(read_to("photo.bmp"), 0);
    EXPECT_TRUE(is_striped_photo(here_ / "photo.bmp"));
    EXPECT_EQ(read_to((here_ / "other.bmp.old").string()), 0) << "the name may go on";
    EXPECT_TRUE(is_striped_photo(here_ / "other.bmp.old"));
    EXPECT_TRUE(own_messages(log_).empty());
}

TEST_P(IdCardPhoto, DirectoryOfABmpFileIsMade) {
    here_.put_decoder();
    EXPECT_EQ(read_to("made/photo.bmp"), result_in_new_directory());
    EXPECT_EQ(fs::status(here_ / "made").permissions(), rights_of_a_made_directory);
    EXPECT_EQ(is_striped_photo(here_ / "made/photo.bmp"), geteuid() == 0);
}

TEST_P(IdCardPhoto, BackslashSeparatesTheDirectoryBeforeASlashDoes) {
    here_.put_decoder();
    EXPECT_EQ(read_to("back\\photo.bmp"), 0);
    EXPECT_TRUE(fs::is_directory(here_ / "back"));
    EXPECT_TRUE(is_striped_photo(here_ / "back\\photo.bmp")) << "the file has the name as given";
    EXPECT_EQ(read_to("left\\right/photo.bmp"), -3003);
    EXPECT_TRUE(fs::is_directory(here_ / "left"));
}

TEST_P(IdCardPhoto, GoesIntoADirectoryUnderTheCardsNumber) {
    here_.put_decoder();
    fs::create_directory(here_ / "photos");
    EXPECT_EQ(read_to("photos"), 0);
    EXPECT_TRUE(is_striped_photo(here_ / "photos/11010119800229001X.bmp"));

    EXPECT_EQ(read_to("made"), result_in_new_directory());
    EXPECT_EQ(fs::status(here_ / "made").permissions(), rights_of_a_made_directory);
}

TEST_P(IdCardPhoto, OfAForeignCardIsNamedByItsCardNumber) {
    here_.put_decoder();
    fs::create_directory(here_ / "photos");
    module_.expect_card(kit::with_photo(kit::foreign_card(), kit::striped_picture()));
    EXPECT_EQ(read_info("photos").result, 0);
    EXPECT_TRUE(is_striped_photo(here_ / "photos/CAN110078051501.bmp"));
}

TEST_P(IdCardPhoto, NumberWithASlashNamesNoFile) {
    here_.put_decoder();
    fs::create_directory(here_ / "photos");
    kit::IdRecord record = kit::resident_card();
    record.put(122, u"../escaped        ");
    module_.expect_card(kit::with_photo(record, kit::striped_picture()));
    EXPECT_EQ(read_info("photos").result, -3003);
    EXPECT_TRUE(fs::is_empty(here_ / "photos"));
    EXPECT_EQ(std::distance(fs::directory_iterator(here_.path()), {}), 2);
}

TEST_P(IdCardPhoto, BmpThatCannotBeWrittenIsANumberOfItsOwn) {
    EXPECT_EQ(read_to("photo.bmp"), -3003) << "no decoder";
    EXPECT_EQ(log_.messages().back(), "Error:iErrorCode = -3003\r\n");
    here_.put_decoder();
    EXPECT_EQ(read_to("/dev/full/photo.bmp"), -3003);
}

TEST_P(IdCardPhoto, PhotoDataIsAskedForAlsoWithoutAFile) {
    expect_card();
    unsigned char data[4];
    Read read;
    EXPECT_EQ(RD_ReadIdInfo("photo.bmp", 0, read.buffer.data(), &read.length, nullptr, 0, data,
                            &read.length, 5),
              -3003);
    EXPECT_TRUE(log_.has("Info:ID_GetBmpData start\r\n"));
}

TEST_P(IdCardPhoto, IsConvertedInTheWorkingDirectory) {
    here_.put_decoder();
    here_.put_converter();
    const std::pair<const char*, const char*> kinds_of_file[] = {
        {"photo.jpg", "FFD8FFE000104A464946"},
        {"photo.png", "89504E470D0A1A0A0000"},
        {"photo.gif", "47494638396166007E00"}};
    for (const auto& [name, beginning] : kinds_of_file) {
        EXPECT_EQ(read_to(name), 0);
        EXPECT_EQ(kit::to_hex(kit::bytes_of_file(here_ / name)).substr(0, 20), beginning);
        EXPECT_FALSE(fs::exists(here_ / "temp.bmp"));
    }
    const Messages messages = own_messages(log_);
    ASSERT_EQ(messages.size(), 6u);
    EXPECT_EQ(messages[0], "Info:ID_GetBmpFile ret = 0\r\n");
    EXPECT_EQ(messages[1], "Info:BmpToJpg szBmpFile = temp.bmp, szJpgFile = photo.jpg\r\n");
}

TEST_P(IdCardPhoto, IsConvertedInAnotherDirectoryWhereTheFileExists) {
    here_.put_decoder();
    here_.put_converter();
    fs::create_directory(here_ / "photos");
    kit::write_file(here_ / "photos/x.png", "before");
    EXPECT_EQ(read_to("photos/x.png"), 0);
    EXPECT_EQ(kit::to_hex(kit::bytes_of_file(here_ / "photos/x.png")).substr(0, 8), "89504E47");
    EXPECT_FALSE(fs::exists(here_ / "photos/temp.bmp"));
    EXPECT_TRUE(
        log_.has("Info:BmpToJpg szBmpFile = photos/temp.bmp, szJpgFile = photos/x.png\r\n"));
}

TEST_P(IdCardPhoto, DirectoryWithTheNameOfAConvertedFileIsMade) {
    here_.put_decoder();
    here_.put_converter();
    fs::create_directory(here_ / "photos");
    EXPECT_EQ(read_to("photos/x.jpg"), -2) << "the converter's own number, as it is";
    EXPECT_TRUE(fs::is_directory(here_ / "photos/x.jpg"));
    EXPECT_EQ(fs::status(here_ / "photos/x.jpg").permissions(), rights_of_a_made_directory);
    EXPECT_FALSE(fs::exists(here_ / "photos/temp.bmp"));
    EXPECT_FALSE(log_.has("Error:iErrorCode = -2\r\n"));
}

TEST_P(IdCardPhoto, DecoderThatFailsEndsAConversion) {
    here_.put_converter();
    kit::write_file(here_ / "temp.bmp", "someone's own");
    EXPECT_EQ(read_to("photo.jpg"), -1) << "ID_GetBmpFile's own number, as it is";
    EXPECT_EQ(own_messages(log_).back(), "Info:ID_GetBmpFile ret = -1\r\n");
    EXPECT_EQ(kit::read_file(here_ / "temp.bmp"), "someone's own");
    EXPECT_FALSE(fs::exists(here_ / "photo.jpg"));
}

TEST_P(IdCardPhoto, ConverterThatIsMissing) {
    here_.put_decoder();
    EXPECT_EQ(read_to("photo.jpg"), -1009);
    EXPECT_FALSE(fs::exists(here_ / "temp.bmp"));
    here_.put_empty("libPicConvert.so");
    EXPECT_EQ(read_to("photo.jpg"), -1010);
    EXPECT_FALSE(fs::exists(here_ / "temp.bmp"));
    EXPECT_FALSE(fs::exists(here_ / "photo.jpg"));
}

TEST_P(IdCardPhoto, ConversionIsTheLastThing) {
    here_.put_decoder();
    here_.put_converter();
    expect_card();
    unsigned char data[4];
    int length = -7;
    Read read;
    EXPECT_EQ(RD_ReadIdInfo("photo.png", 0, read.buffer.data(), &read.length, nullptr, 0, data,
                            &length, 5),
              0);
    EXPECT_FALSE(log_.has("Info:ID_GetBmpData start\r\n"));
}

TEST_P(IdCardPhoto, IsNotWrittenByTheOtherReads) {
    here_.put_decoder();
    expect_card();
    EXPECT_EQ(read_pic("photo.bmp").result, 0);
    expect_card();
    EXPECT_EQ(read_images("photo.bmp").result, 0);
    EXPECT_FALSE(fs::exists(here_ / "photo.bmp"));
}

}  // namespace
