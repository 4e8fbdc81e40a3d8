#include <deskreader.h>

#include <cstdint>

#include "kit/bytes.h"
#include "kit/scratch.h"

namespace {

using kit::ascii;
using kit::Bytes;

class Files : public testing::Test {
  protected:
    std::string path(const char* name) const { return (directory_ / name).string(); }

    kit::ScratchDirectory directory_;
};

struct ModeRow {
    int mode;
    bool needs_file;
    bool truncates;
    bool reads;
    bool writes;
};

constexpr ModeRow modes[] = {
    {1, true, false, true, false}, {2, true, false, true, true},  {3, false, false, true, true},
    {4, false, true, true, true},  {5, true, false, true, false}, {6, true, false, true, true},
    {7, false, false, true, true}, {8, false, true, true, true},  {0, true, false, true, true},
    {9, true, false, true, true},  {-1, true, false, true, true},
};

TEST_F(Files, OpenInTheModesOfTheirNumbers) {
    for (const ModeRow& row : modes) {
        SCOPED_TRACE(row.mode);
        const std::string missing = path(("missing" + std::to_string(row.mode)).c_str());
        FILE* created = GOpenFile(missing.c_str(), row.mode);
        EXPECT_EQ(created == nullptr, row.needs_file);
        if (created != nullptr) {
            EXPECT_EQ(GCloseFile(created), 0);
        }

        kit::write_file(path("there"), "content");
        FILE* stream = GOpenFile(path("there").c_str(), row.mode);
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(GGetFileSize(path("there").c_str()), row.truncates ? 0 : 7);
        EXPECT_EQ(std::fputc('x', stream) != EOF && std::fflush(stream) == 0, row.writes);
        EXPECT_EQ(GCloseFile(stream), 0);
    }
    EXPECT_EQ(GOpenFile(nullptr, 1), nullptr);
}

TEST_F(Files, ReadWhatIsThere) {
    kit::write_file(path("f"), "0123456789");
    FILE* stream = GOpenFile(path("f").c_str(), 1);
    Bytes buffer(20, '#');
    EXPECT_EQ(GReadFile(stream, buffer.data(), 4), 4);
    EXPECT_EQ(GReadFile(stream, buffer.data() + 4, 16), 6);
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 11), ascii("0123456789#"));
    EXPECT_EQ(GReadFile(stream, buffer.data(), 1), -99);
    EXPECT_EQ(GReadFile(stream, buffer.data(), 0), 0);
    GCloseFile(stream);
}

TEST_F(Files, MoveMoreThanOneChunk) {
    const std::size_t size = 200'001;
    Bytes data(size);
    for (std::size_t i = 0; i < size; ++i)
        data[i] = static_cast<std::uint8_t>(i * 31);
    FILE* stream = GOpenFile(path("f").c_str(), 4);
    EXPECT_EQ(GWriteFile(stream, data.data(), size), 200'001);
    EXPECT_EQ(GGetFileSize(path("f").c_str()), 200'001) << "flushed";
    GCloseFile(stream);
    Bytes back(size + 100);
    stream = GOpenFile(path("f").c_str(), 1);
    EXPECT_EQ(GReadFile(stream, back.data(), back.size()), 200'001);
    GCloseFile(stream);
    back.resize(size);
    EXPECT_EQ(back, data);
}

TEST_F(Files, WritingToAReadOnlyStreamFails) {
    kit::write_file(path("f"), "x");
    FILE* stream = GOpenFile(path("f").c_str(), 1);
    EXPECT_EQ(GWriteFile(stream, ascii("abc").data(), 3), -99);
    EXPECT_EQ(GWriteFile(stream, ascii("abc").data(), 0), 0);
    GCloseFile(stream);
}

TEST_F(Files, RefuseNullAndTheLargestLength) {
    kit::write_file(path("f"), "x");
    FILE* stream = GOpenFile(path("f").c_str(), 2);
    unsigned char byte = 0;
    EXPECT_EQ(GReadFile(nullptr, &byte, 1), -22);
    EXPECT_EQ(GReadFile(stream, nullptr, 1), -22);
    EXPECT_EQ(GReadFile(stream, &byte, SIZE_MAX), -22);
    EXPECT_EQ(GWriteFile(nullptr, &byte, 1), -22);
    EXPECT_EQ(GWriteFile(stream, nullptr, 1), -22);
    EXPECT_EQ(GWriteFile(stream, &byte, SIZE_MAX), -22);
    GCloseFile(stream);
}

TEST_F(Files, SizeOfAMissingFileIsNought) {
    EXPECT_EQ(GGetFileSize(path("missing").c_str()), 0);
    EXPECT_EQ(GGetFileSize(nullptr), -22);
}

TEST(FileName, IsWhatFollowsTheLastSeparator) {
    const struct {
        const char* path;
        const char* name;
    } rows[] = {{"C:\\dir/sub\\name.txt", "name.txt"},
                {"a/b\\c", "c"},
                {"a\\b/c", "c"},
                {"plain", "plain"},
                {"dir/", ""},
                {"", ""}};
    for (const auto& row : rows) {
        char name[64] = "#";
        EXPECT_EQ(GGetFileName(row.path, name, 1), 0);
        EXPECT_STREQ(name, row.name);
    }
    char name[4];
    EXPECT_EQ(GGetFileName(nullptr, name, 4), -22);
    EXPECT_EQ(GGetFileName("a", nullptr, 4), -22);
    EXPECT_EQ(GGetFileName("a", name, 0), -22);
}

TEST(LocalFilePath, IsNotToBeHad) {
    char path[8];
    EXPECT_EQ(GGetLocalFilePath(path, 8), -99);
    EXPECT_EQ(GGetLocalFilePath(nullptr, 8), -22);
    EXPECT_EQ(GGetLocalFilePath(path, 0), -22);
    EXPECT_EQ(GGetLocalFilePath(path, -1), -22);
}

}  // namespace
