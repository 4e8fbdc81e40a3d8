// The functions on the lowest floor with their fuzzed arguments: texts, sums, files, records. They
// count and convert; what they return is not looked at here.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "host.h"

namespace fuzzing {
namespace {

using robustness::Call;

// Where a function is told the room it has.
template <class Function>
void into_room(Host& h, Function function) {
    const int room = h.size(2048);
    function(h.room(room), room);
}

// 32 digits and a terminator. The digest functions also take 32 and write as much.
constexpr int digest_room = 33;

// Of a size that may have been drawn below zero.
std::size_t count(int number) {
    return static_cast<std::size_t>(std::max(number, 0));
}

int hexadecimal(Host& h) {
    const char* text = h.text("0123456789abcdefABCDEF");
    into_room(h,
              [&](unsigned char* out, int room) { GHex2Byte(text, std::strlen(text), out, room); });
    const auto data = h.data({0x01, 0xAB});
    into_room(h, [&](unsigned char* out, int room) {
        GByte2Hex(data.bytes, data.size, reinterpret_cast<char*>(out), count(room));
    });
    return hex2num(static_cast<char>(h.number('A'))) < 0 ? -1 : 0;
}
int nibbles(Host& h) {
    const auto data = h.data({0x12, 0x3F});
    into_room(h, [&](unsigned char* out, int room) {
        GBCD2Ansi(data.bytes, data.size, reinterpret_cast<char*>(out), count(room));
    });
    const char* text = h.text("123?");
    into_room(h, [&](unsigned char* out, int room) {
        GAnsi2BCD(text, std::strlen(text), out, count(room));
    });
    return 0;
}
int url(Host& h) {
    const char* text = h.text("a+b%20%E4%zz%2");
    const int length = static_cast<int>(std::strlen(text));
    const int room = h.size(2048);
    GURLDecode(text, length, h.text_room(room + 1), room);
    const auto data = h.data({'a', ' ', 0xE4, '/'});
    const int more = h.size(2048);
    GURLEncode(reinterpret_cast<const char*>(data.bytes), data.size, h.text_room(more + 1), more);
    return 0;
}
int base64(Host& h) {
    const auto data = h.data({1, 2, 3, 4});
    std::free(base64_encode(data.bytes, static_cast<unsigned>(data.size)));
    const char* text = h.text("AQIDBA==");
    int length = 0;
    std::free(base64_decode(text, static_cast<int>(std::strlen(text)), &length));
    return 0;
}
int sums(Host& h) {
    const auto data = h.data({1, 2, 3, 4});
    GCalXor(data.bytes, count(data.size));
    GCalSum(data.bytes, count(data.size));
    GCalCRC16(data.bytes, data.size);
    GXor(data.bytes, data.bytes, h.room(data.size), count(data.size));
    into_room(h, [&](unsigned char* out, int room) {
        GTrimZero(data.bytes, count(data.size), out, count(room));
    });
    const int room = h.size(64);
    GMd5Encode(data.bytes, count(data.size), h.text_room(std::max(room, digest_room)), count(room));
    return 0;
}
int ciphers(Host& h) {
    const auto block = h.data_of(8);
    const auto key = h.data_of(24);
    const int length = h.number(16);
    GDesEncrypt(block.bytes, key.bytes, block.bytes);
    GDesDecrypt(block.bytes, key.bytes, block.bytes);
    G3DesEncrypt(block.bytes, key.bytes, block.bytes, length);
    G3DesDecrypt(block.bytes, key.bytes, block.bytes, length);
    return 0;
}
int files(Host& h) {
    const char* path = h.path("file.txt");
    const auto data = h.data({'t', 'e', 'x', 't'});
    if (FILE* file = GOpenFile(path, h.number(4))) {
        GWriteFile(file, data.bytes, count(data.size));
        GReadFile(file, h.room(data.size), count(data.size));
        GCloseFile(file);
    }
    GGetFileSize(path);
    GGetFileMd5(path, h.text_room(digest_room), digest_room);
    const char* name = h.text("a/b\\c");
    GGetFileName(name, h.text_room(static_cast<int>(std::strlen(name)) + 1), 1);
    return 0;
}
int scan(Host& h) {
    const char* path = h.path("sd_20200101.log");
    if (FILE* file = GOpenFile(path, 4)) GCloseFile(file);
    return GScanDirectory(".", ScanDirCallback, nullptr);
}
int characters(Host& h) {
    const auto data = h.data({0x2D, 0x4E, 0xFD, 0x56, 0x00, 0x00});
    const int whole = data.size + data.size % 2;
    GStrUnicode2GB18030(data.bytes, h.room(2 * whole + 2), data.size);
    const auto text = h.data_of(2);
    // It ends at a zero unit.
    unsigned char* terminated = h.room(text.size / 2 * 2 + 2);
    std::copy_n(text.bytes, text.size / 2 * 2, terminated);
    mmi_chset_ucs2_to_gb18030_str(h.room(2 * text.size + 2), terminated, h.number(1024));
    app_ucs2_strlen(terminated);
    return 0;
}
int checks(Host& h) {
    const char* text = h.text_or_null("0123456789ABCDEF");
    IsHexDataValue(text);
    IsNumDataValue(text);
    IsPbocDataValue(text);
    IsTagListValue(text);
    return 0;
}
int numbers(Host& h) {
    const int code = h.number(-1007);
    RD_GetErrorCode(code);
    RD_GetErrInfo(code, 0, h.text_room(56), h.place());
    return Ovan_GetErrorCode(code) > 0 ? -1 : 0;
}
int spaces(Host& h) {
    return ID_FilterSpaces(h.text("AB CD "));
}
int log_message(Host& h) {
    const std::string text = h.draw.text("message");
    if (text.empty()) return 0;  // an empty message would lock the log
    GLogI("%s", text.c_str());
    GLogE("%.*s", std::max(h.number(3), 1), text.c_str());
    GDbgPrintStr(1, text.c_str());
    return 0;
}
int record(Host& h) {
    const auto data = h.data_of(2328);
    ID_GetAddress(data.bytes, h.text_room(142));
    ID_GetEnglishName_Foreign(data.bytes, h.text_room(242));
    ID_GetNation_Foreign(data.bytes, h.text_room(32));
    ID_GetNation(data.bytes, h.text_room(32));
    return ID_GetBmpFile(data.bytes, h.path("photo.bmp"));
}
int settings(Host& h) {
    const char* section = h.text_or_null("devcfg");
    const char* key = h.text_or_null("IcBaud");
    const char* fallback = h.text_or_null("9600");
    const int longest = fallback == nullptr ? 0 : static_cast<int>(std::strlen(fallback)) + 1;
    GGetConfigString(section, key, fallback, h.text_room(std::max(longest, 256)), 0);
    GGetConfigInt(section, key, h.number(), h.place());
    GSetConfigString(section, key, h.text_or_null("19200"));
    return GGetConfigInt("devcfg", "Iccmd", 0, h.place());
}

constexpr Call calls[] = {
    {"host hexadecimal", "bank", with_host<hexadecimal>},
    {"host nibbles", "bank", with_host<nibbles>},
    {"host url", "bank", with_host<url>},
    {"host base64", "bank", with_host<base64>},
    {"host sums", "bank", with_host<sums>},
    {"host ciphers", "bank", with_host<ciphers>},
    {"host files", "bank", with_host<files>},
    {"host scan", "bank", with_host<scan>},
    {"host characters", "bank", with_host<characters>},
    {"host checks", "bank", with_host<checks>},
    {"host numbers", "bank", with_host<numbers>},
    {"host spaces", "bank", with_host<spaces>},
    {"host log message", "bank", with_host<log_message>},
    {"host record", "resident", with_host<record>},
    {"host settings", "bank", with_host<settings>},
};

}  // namespace

std::span<const Call> host_text_calls() {
    return calls;
}

}  // namespace fuzzing
