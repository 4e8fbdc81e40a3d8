#include <deskreader.h>

namespace {

struct PathRow {
    int kind;
    const char* base_name;
    const char* given;
    const char* expected;
};

const PathRow rows[] = {
    {0, "110101", R"(C:\pic\x.jpg)", R"(C:\pic\110101.jpg)"},
    {1, "110101", R"(C:\pic\x.jpg)", R"(C:\pic\110101_1.jpg)"},
    {2, "110101", R"(C:\pic\x.jpg)", R"(C:\pic\110101_2.jpg)"},
    {3, "110101", R"(C:\pic\x.jpg)", R"(C:\pic\110101_3.jpg)"},
    {0, "110101", R"(C:\pic\x.bmp)", R"(C:\pic\110101.bmp)"},
    {1, "110101", R"(C:\pic\x.bmp)", R"(C:\pic\110101_1.bmp)"},
    {2, "110101", R"(C:\pic\x.bmp)", R"(C:\pic\110101_2.bmp)"},
    {3, "110101", R"(C:\pic\x.bmp)", R"(C:\pic\110101_3.bmp)"},
    {0, "110101", R"(C:\pic\x.png)", R"(C:\pic\110101.png)"},
    {1, "110101", R"(C:\pic\x.png)", R"(C:\pic\110101_1.png)"},
    {2, "110101", R"(C:\pic\x.png)", R"(C:\pic\110101_2.png)"},
    {3, "110101", R"(C:\pic\x.png)", R"(C:\pic\110101_3.png)"},
    {0, "110101", R"(C:\pic\x.gif)", R"(C:\pic\110101.gif)"},
    {1, "110101", R"(C:\pic\x.gif)", R"(C:\pic\110101_1.gif)"},
    {2, "110101", R"(C:\pic\x.gif)", R"(C:\pic\110101_2.gif)"},
    {3, "110101", R"(C:\pic\x.gif)", R"(C:\pic\110101_3.gif)"},
    {0, "110101", "/tmp/pic", R"(/tmp/pic\110101.bmp)"},
    {1, "110101", "/tmp/pic", R"(/tmp/pic\110101_1.bmp)"},
    {2, "110101", "/tmp/pic", R"(/tmp/pic\110101_2.bmp)"},
    {3, "110101", "/tmp/pic", R"(/tmp/pic\110101_3.bmp)"},
    // A file without backslash, whatever else separates its directory.
    {0, "110101", "abc.jpg", ""},
    {2, "110101", "/tmp/abc.gif", ""},
    // Extensions count in lower case and at the end.
    {0, "n", R"(d\x.JPG)", R"(d\x.JPG\n.bmp)"},
    {0, "n", R"(d\x.jpg.old)", R"(d\x.jpg.old\n.bmp)"},
    {0, "n", R"(d\x.jpeg)", R"(d\x.jpeg\n.bmp)"},
    // A file needs a name before its extension: four characters are a directory.
    {0, "n", ".jpg", R"(.jpg\n.bmp)"},
    {0, "n", R"(\.jpg)", R"(\n.jpg)"},
    {0, "n", R"(a\b\c.png)", R"(a\b\n.png)"},
    {0, "n", R"(/tmp\pic/x.png)", R"(/tmp\n.png)"},
    {0, "n", R"(C:\)", R"(C:\\n.bmp)"},
    {0, "n", "d", R"(d\n.bmp)"},
    {0, "", "d", R"(d\.bmp)"},
    {0, nullptr, "d", R"(d\.bmp)"},
    {0, "n", "", ""},
    {0, "n", nullptr, ""},
    // Other kinds leave the output as it is, but for paths that always empty it.
    {4, "n", "d", "before"},
    {-1, "n", R"(d\x.jpg)", "before"},
    {4, "n", "", ""},
    {4, "n", "x.jpg", ""},
};

TEST(IdPaths, AreDerivedFromOnePath) {
    for (const PathRow& row : rows) {
        char out[1024] = "before";
        EXPECT_EQ(RD_ModifyIdPath_KP(row.kind, row.base_name, row.given, out), 0);
        EXPECT_STREQ(out, row.expected) << row.kind << ' ' << (row.given ? row.given : "null");
    }
}

TEST(IdPaths, HaveAnEnd) {
    const std::string longest(1017, 'd');
    std::string out(1025, '#');
    EXPECT_EQ(RD_ModifyIdPath_KP(0, "n", longest.c_str(), out.data()), 0);
    EXPECT_EQ(std::string(out.c_str()), longest + R"(\n.bmp)");
    EXPECT_EQ(out[1023], '\0');
    EXPECT_EQ(RD_ModifyIdPath_KP(0, "n", (longest + 'd').c_str(), out.data()), 0);
    EXPECT_STREQ(out.c_str(), "");
    EXPECT_EQ(RD_ModifyIdPath_KP(3, "n", std::string(100'000, 'd').c_str(), out.data()), 0);
    EXPECT_STREQ(out.c_str(), "");
    EXPECT_EQ(out[1024], '#');
}

TEST(IdPaths, NullOutput) {
    EXPECT_EQ(RD_ModifyIdPath_KP(0, "n", "d", nullptr), 0);
}

}  // namespace
