#include "cards/id_photo.h"

#include <deskreader.h>

#include <dlfcn.h>

#include "kit/working_directory.h"

namespace {

using kit::Bytes;
namespace id_photo = deskreader::id_photo;

class IdPhoto : public testing::Test {
  protected:
    // Whether the library is still loaded after the call.
    static bool is_loaded(const char* path) {
        void* handle = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
        if (handle != nullptr) dlclose(handle);
        return handle != nullptr;
    }

    kit::LogFile log_;
    kit::WorkingDirectory here_;
    const Bytes picture_ = kit::striped_picture();
};

TEST_F(IdPhoto, IsWrittenAsBmpByteForByte) {
    here_.put_decoder();
    EXPECT_EQ(ID_GetBmpFile(picture_.data(), "photo.bmp"), 0);
    const Bytes file = kit::bytes_of_file(here_ / "photo.bmp");
    EXPECT_EQ(file.size(), 38862u);
    EXPECT_EQ(kit::to_hex(file), kit::to_hex(kit::striped_bmp()));
    EXPECT_FALSE(is_loaded("./libwlt.so"));
    EXPECT_TRUE(log_.messages().empty());
}

TEST_F(IdPhoto, RedGreenBlueStandAsBlueGreenRedAndRowsEndInFF) {
    here_.put_decoder();
    ASSERT_EQ(ID_GetBmpFile(picture_.data(), "photo.bmp"), 0);
    const Bytes file = kit::bytes_of_file(here_ / "photo.bmp");
    ASSERT_EQ(file.size(), 38862u);
    // The lowest row is the picture's row 47, of colour 141 % 16 at its left and 180 % 16 at its
    // right end; each takes two or three pixels.
    EXPECT_EQ(kit::to_hex(std::span(file).subspan(54, 12)), "D3D2D1D3D2D1D3D2D1E3E2E1");
    EXPECT_EQ(kit::to_hex(std::span(file).subspan(54 + 303, 8)), "434241FFFFD3D2D1");
    for (std::size_t end = 54 + 308; end <= file.size(); end += 308) {
        EXPECT_EQ(file[end - 2], 0xFF);
        EXPECT_EQ(file[end - 1], 0xFF);
    }
}

TEST_F(IdPhoto, ReplacesWhatHadTheName) {
    here_.put_decoder();
    kit::write_file(here_ / "photo.bmp", std::string(50000, 'x'));
    EXPECT_EQ(ID_GetBmpFile(picture_.data(), (here_ / "photo.bmp").c_str()), 0);
    EXPECT_EQ(kit::bytes_of_file(here_ / "photo.bmp"), kit::striped_bmp());
}

TEST_F(IdPhoto, MissingDecoderIsLoggedWithTheLoadersMessage) {
    EXPECT_EQ(ID_GetBmpFile(picture_.data(), "photo.bmp"), -1);
    EXPECT_EQ(log_.messages(),
              std::vector<std::string>{
                  "Info:dlopen libwlt.so error, dlerror = ./libwlt.so: cannot open shared object "
                  "file: No such file or directory\r\n"});
    EXPECT_FALSE(std::filesystem::exists(here_ / "photo.bmp"));
}

TEST_F(IdPhoto, DecoderThatIsNoLibraryIsAMissingOne) {
    kit::write_file(here_ / "libwlt.so", "not a library");
    EXPECT_EQ(ID_GetBmpFile(picture_.data(), "photo.bmp"), -1);
    EXPECT_EQ(log_.messages().size(), 1u);
}

TEST_F(IdPhoto, DecoderWithoutTheFunctionStaysLoaded) {
    here_.put_empty("libwlt.so");
    EXPECT_EQ(ID_GetBmpFile(picture_.data(), "photo.bmp"), -2);
    EXPECT_TRUE(is_loaded("./libwlt.so"));
    EXPECT_FALSE(std::filesystem::exists(here_ / "photo.bmp"));
}

TEST_F(IdPhoto, DecoderThatFailsStaysLoaded) {
    here_.put_decoder();
    const Bytes noise(1024, 0xA5);
    EXPECT_EQ(ID_GetBmpFile(noise.data(), "photo.bmp"), -3);
    EXPECT_TRUE(is_loaded("./libwlt.so"));
    EXPECT_FALSE(std::filesystem::exists(here_ / "photo.bmp"));
}

TEST_F(IdPhoto, FileThatCannotBeMade) {
    here_.put_decoder();
    EXPECT_EQ(ID_GetBmpFile(picture_.data(), "nowhere/photo.bmp"), -3);
    EXPECT_EQ(ID_GetBmpFile(picture_.data(), ""), -3);
    EXPECT_FALSE(is_loaded("./libwlt.so")) << "the decoder did its work";
}

TEST_F(IdPhoto, FullDisk) {
    here_.put_decoder();
    EXPECT_EQ(ID_GetBmpFile(picture_.data(), "/dev/full"), -3);
}

TEST_F(IdPhoto, NullPointers) {
    here_.put_decoder();
    EXPECT_EQ(ID_GetBmpFile(nullptr, "photo.bmp"), -22);
    EXPECT_EQ(ID_GetBmpFile(picture_.data(), nullptr), -22);
}

TEST_F(IdPhoto, OtherFormsOfThePhotoAreNotMade) {
    Bytes data(16, 0x77);
    char front[4] = "fff";
    char back[4] = "bbb";
    int length = -7;
    EXPECT_EQ(ID_GetBmpData(picture_.data(), 0, data.data(), &length), 0);
    EXPECT_EQ(ID_GetFrontBackImg(picture_.data(), picture_.data(), front, back), 0);
    EXPECT_EQ(data, Bytes(16, 0x77));
    EXPECT_EQ(length, -7);
    EXPECT_STREQ(front, "fff");
    EXPECT_STREQ(back, "bbb");
    EXPECT_EQ(ID_GetBmpData(nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(ID_GetFrontBackImg(nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(IdPhoto, ConverterIsCalledAndItsResultPassedOn) {
    here_.put_decoder();
    here_.put_converter();
    ASSERT_EQ(ID_GetBmpFile(picture_.data(), "photo.bmp"), 0);
    EXPECT_EQ(id_photo::convert("photo.bmp", "photo.png"), 0);
    EXPECT_EQ(kit::to_hex(kit::bytes_of_file(here_ / "photo.png")).substr(0, 16),
              "89504E470D0A1A0A");
    EXPECT_EQ(
        log_.messages(),
        std::vector<std::string>{"Info:BmpToJpg szBmpFile = photo.bmp, szJpgFile = photo.png\r\n"});
    EXPECT_EQ(id_photo::convert("none.bmp", "photo.png"), -1) << "the converter's own number";
    EXPECT_EQ(id_photo::convert("photo.bmp", "nowhere/photo.png"), -2);
}

TEST_F(IdPhoto, ConverterMissingOrWithoutTheFunction) {
    EXPECT_EQ(id_photo::convert("photo.bmp", "photo.jpg"), -1009);
    here_.put_empty("libPicConvert.so");
    EXPECT_EQ(id_photo::convert("photo.bmp", "photo.jpg"), -1010);
    EXPECT_TRUE(log_.messages().empty());
    EXPECT_FALSE(is_loaded("./libPicConvert.so"));
}

}  // namespace
