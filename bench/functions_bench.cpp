// The support functions beside what a user would take instead. Every pair has one name, "what/who";
// who is "deskreader" or the other one. Google Benchmark runs them in one process, in random order.
#include <deskreader.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <iconv.h>
#include <unistd.h>
#define OPENSSL_SUPPRESS_DEPRECATED  // its single-block ciphers have no newer form that is as fast
#include <openssl/crypto.h>
#include <openssl/des.h>
#include <openssl/evp.h>
#include <openssl/md5.h>

namespace {

using Bytes = std::vector<unsigned char>;

// Bytes without a pattern, the same ones in every run.
Bytes some_bytes(std::size_t count) {
    Bytes bytes(count);
    std::uint32_t state = 2026;
    for (unsigned char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<unsigned char>(state >> 24);
    }
    return bytes;
}

std::string hex_of(const Bytes& bytes) {
    std::string text(2 * bytes.size(), '\0');
    GByte2Hex(bytes.data(), static_cast<int>(bytes.size()), text.data(), text.size());
    return text;
}

void set_bytes(benchmark::State& state, std::size_t each) {
    state.SetBytesProcessed(static_cast<std::int64_t>(each) * state.iterations());
}

std::size_t size_of(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

// Hexadecimal

void to_hex_here(benchmark::State& state) {
    const Bytes bytes = some_bytes(size_of(state));
    std::string text(2 * bytes.size() + 1, '\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            GByte2Hex(bytes.data(), static_cast<int>(bytes.size()), text.data(), text.size()));
        benchmark::ClobberMemory();
    }
    set_bytes(state, bytes.size());
}

void to_hex_openssl(benchmark::State& state) {
    const Bytes bytes = some_bytes(size_of(state));
    std::string text(2 * bytes.size() + 1, '\0');
    for (auto _ : state) {
        std::size_t length = 0;
        benchmark::DoNotOptimize(OPENSSL_buf2hexstr_ex(text.data(), text.size(), &length,
                                                       bytes.data(), bytes.size(), '\0'));
        benchmark::ClobberMemory();
    }
    set_bytes(state, bytes.size());
}

void from_hex_here(benchmark::State& state) {
    const std::string text = hex_of(some_bytes(size_of(state)));
    Bytes bytes(size_of(state));
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            GHex2Byte(text.data(), text.size(), bytes.data(), static_cast<int>(bytes.size())));
        benchmark::ClobberMemory();
    }
    set_bytes(state, bytes.size());
}

void from_hex_openssl(benchmark::State& state) {
    const std::string text = hex_of(some_bytes(size_of(state)));
    Bytes bytes(size_of(state));
    for (auto _ : state) {
        std::size_t length = 0;
        benchmark::DoNotOptimize(
            OPENSSL_hexstr2buf_ex(bytes.data(), bytes.size(), &length, text.c_str(), '\0'));
        benchmark::ClobberMemory();
    }
    set_bytes(state, bytes.size());
}

// Base64. Both sides give the text in memory of its own, as a user needs it.

void encode_base64_here(benchmark::State& state) {
    const Bytes bytes = some_bytes(size_of(state));
    for (auto _ : state) {
        char* text = base64_encode(bytes.data(), static_cast<unsigned>(bytes.size()));
        benchmark::DoNotOptimize(text);
        std::free(text);
    }
    set_bytes(state, bytes.size());
}

void encode_base64_openssl(benchmark::State& state) {
    const Bytes bytes = some_bytes(size_of(state));
    for (auto _ : state) {
        auto* text = static_cast<unsigned char*>(std::malloc(4 * ((bytes.size() + 2) / 3) + 1));
        EVP_EncodeBlock(text, bytes.data(), static_cast<int>(bytes.size()));
        benchmark::DoNotOptimize(text);
        std::free(text);
    }
    set_bytes(state, bytes.size());
}

std::string base64_of(const Bytes& bytes) {
    char* text = base64_encode(bytes.data(), static_cast<unsigned>(bytes.size()));
    std::string copy = text;
    std::free(text);
    return copy;
}

void decode_base64_here(benchmark::State& state) {
    const std::string text = base64_of(some_bytes(size_of(state)));
    for (auto _ : state) {
        int length = 0;
        unsigned char* bytes = base64_decode(text.data(), static_cast<int>(text.size()), &length);
        benchmark::DoNotOptimize(bytes);
        std::free(bytes);
    }
    set_bytes(state, text.size());
}

void decode_base64_openssl(benchmark::State& state) {
    const std::string text = base64_of(some_bytes(size_of(state)));
    for (auto _ : state) {
        auto* bytes = static_cast<unsigned char*>(std::malloc(text.size() / 4 * 3));
        EVP_DecodeBlock(bytes, reinterpret_cast<const unsigned char*>(text.data()),
                        static_cast<int>(text.size()));
        benchmark::DoNotOptimize(bytes);
        std::free(bytes);
    }
    set_bytes(state, text.size());
}

// GB 18030

Bytes utf16(const std::u16string& text) {
    Bytes bytes;
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<unsigned char>(unit));
        bytes.push_back(static_cast<unsigned char>(unit >> 8));
    }
    return bytes;
}

// The text of an identity card: name, address and issuer in Chinese, digits and blanks.
Bytes identity_text() {
    std::u16string text = u"样本甲";
    text.resize(15, u' ');
    text += u"10119900307";
    text += u"北京市东城区示例大街十二号院三号楼二单元六零一室";
    text.resize(61, u' ');
    text += u"110101199003070017北京市公安局示例分局";
    text.resize(94, u' ');
    text += u"2016030720360307";
    text.resize(128, u' ');
    return utf16(text);
}

// As long as the function takes it: Chinese, punctuation, some letters, and characters of four
// bytes.
Bytes long_text() {
    std::u16string text;
    while (text.size() < 255)
        text += u"二代身份证上的文字，以及（括号）、ABC 123 与少见的㐀㐁䶮字。";
    text.resize(255);
    return utf16(text);
}

const Bytes& text_of(const benchmark::State& state) {
    static const Bytes texts[] = {identity_text(), long_text()};
    return texts[state.range(0)];
}

void gb18030_here(benchmark::State& state) {
    const Bytes& text = text_of(state);
    std::array<unsigned char, 1100> out;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            GStrUnicode2GB18030(text.data(), out.data(), static_cast<int>(text.size())));
        benchmark::ClobberMemory();
    }
    set_bytes(state, text.size());
}

void gb18030_iconv(benchmark::State& state) {
    const Bytes& text = text_of(state);
    std::array<unsigned char, 1100> out;
    const iconv_t conversion = iconv_open("GB18030", "UTF-16LE");
    for (auto _ : state) {
        Bytes source = text;  // iconv takes no constant text
        auto* from = reinterpret_cast<char*>(source.data());
        auto* to = reinterpret_cast<char*>(out.data());
        std::size_t left = source.size();
        std::size_t room = out.size();
        benchmark::DoNotOptimize(iconv(conversion, &from, &left, &to, &room));
        benchmark::ClobberMemory();
    }
    iconv_close(conversion);
    set_bytes(state, text.size());
}

// Ciphers: one block and its key at a time, as the functions take them.

constexpr std::size_t block_size = 8;

void des_here(benchmark::State& state) {
    const Bytes key = some_bytes(block_size);
    Bytes block = some_bytes(block_size);
    for (auto _ : state)
        GDesEncrypt(block.data(), key.data(), block.data());
    set_bytes(state, block_size);
}

DES_key_schedule schedule_of(const unsigned char* key) {
    DES_cblock copy;
    std::memcpy(copy, key, sizeof copy);
    DES_key_schedule schedule;
    DES_set_key_unchecked(&copy, &schedule);
    return schedule;
}

void des_openssl(benchmark::State& state) {
    const Bytes key = some_bytes(block_size);
    DES_cblock block{};
    for (auto _ : state) {
        DES_key_schedule schedule = schedule_of(key.data());
        DES_ecb_encrypt(&block, &block, &schedule, DES_ENCRYPT);
    }
    set_bytes(state, block_size);
}

void triple_des_here(benchmark::State& state) {
    const Bytes key = some_bytes(size_of(state));
    Bytes block = some_bytes(block_size);
    for (auto _ : state)
        G3DesEncrypt(block.data(), key.data(), block.data(), static_cast<int>(key.size()));
    set_bytes(state, block_size);
}

void triple_des_openssl(benchmark::State& state) {
    const Bytes key = some_bytes(size_of(state));
    DES_cblock block{};
    for (auto _ : state) {
        DES_key_schedule first = schedule_of(key.data());
        DES_key_schedule second = schedule_of(key.data() + 8);
        DES_key_schedule third = key.size() == 24 ? schedule_of(key.data() + 16) : first;
        DES_ecb3_encrypt(&block, &block, &first, &second, &third, DES_ENCRYPT);
    }
    set_bytes(state, block_size);
}

// Digests and checksums

void md5_here(benchmark::State& state) {
    const Bytes bytes = some_bytes(size_of(state));
    std::array<char, 33> text;
    for (auto _ : state) {
        benchmark::DoNotOptimize(GMd5Encode(bytes.data(), bytes.size(), text.data(), text.size()));
        benchmark::ClobberMemory();
    }
    set_bytes(state, bytes.size());
}

void md5_openssl(benchmark::State& state) {
    const Bytes bytes = some_bytes(size_of(state));
    std::array<unsigned char, MD5_DIGEST_LENGTH> digest;
    std::array<char, 33> text;
    for (auto _ : state) {
        MD5(bytes.data(), bytes.size(), digest.data());
        std::size_t length = 0;
        benchmark::DoNotOptimize(OPENSSL_buf2hexstr_ex(text.data(), text.size(), &length,
                                                       digest.data(), digest.size(), '\0'));
        benchmark::ClobberMemory();
    }
    set_bytes(state, bytes.size());
}

void crc16_here(benchmark::State& state) {
    const Bytes bytes = some_bytes(size_of(state));
    for (auto _ : state) {
        benchmark::DoNotOptimize(GCalCRC16(bytes.data(), static_cast<long>(bytes.size())));
        benchmark::ClobberMemory();
    }
    set_bytes(state, bytes.size());
}

// One table row a byte, as it is written everywhere.
constexpr auto crc_rows = [] {
    std::array<std::uint16_t, 256> rows{};
    for (unsigned byte = 0; byte < rows.size(); ++byte) {
        unsigned crc = byte << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000) != 0 ? crc << 1 ^ 0x1021 : crc << 1;
        rows[byte] = static_cast<std::uint16_t>(crc);
    }
    return rows;
}();

void crc16_by_table(benchmark::State& state) {
    const Bytes bytes = some_bytes(size_of(state));
    for (auto _ : state) {
        std::uint16_t crc = 0;
        for (const unsigned char byte : bytes)
            crc = static_cast<std::uint16_t>(crc << 8 ^ crc_rows[(crc >> 8 ^ byte) & 0xFF]);
        benchmark::DoNotOptimize(crc);
        benchmark::ClobberMemory();
    }
    set_bytes(state, bytes.size());
}

// Data objects

// A payment card's records, 256 bytes of them; the object asked for is the last one.
Bytes record_set() {
    Bytes bytes;
    const auto add = [&bytes](std::initializer_list<unsigned char> header, std::size_t length) {
        bytes.insert(bytes.end(), header);
        bytes.insert(bytes.end(), length, 0x55);
    };
    bytes = {0x70, 0x81, 0xFD};
    add({0x5A, 0x08}, 8);
    add({0x5F, 0x24, 0x03}, 3);
    add({0x5F, 0x25, 0x03}, 3);
    add({0x5F, 0x28, 0x02}, 2);
    add({0x5F, 0x34, 0x01}, 1);
    add({0x9F, 0x07, 0x02}, 2);
    add({0x8C, 0x1B}, 27);
    add({0x8D, 0x1A}, 26);
    add({0x8E, 0x0C}, 12);
    add({0x9F, 0x0D, 0x05}, 5);
    add({0x9F, 0x0E, 0x05}, 5);
    add({0x9F, 0x0F, 0x05}, 5);
    add({0x57, 0x13}, 19);
    add({0x5F, 0x20, 0x1A}, 26);
    add({0x9F, 0x1F, 0x18}, 24);
    add({0x9F, 0x0B, 0x20}, 32);
    const std::size_t last = 4;
    add({0x90, static_cast<unsigned char>(256 - bytes.size() - last - 2)},
        256 - bytes.size() - last - 2);
    add({0x9F, 0x74, 0x01}, 1);
    return bytes;
}

constexpr unsigned char wanted_tag[] = {0x9F, 0x74};

void find_object_here(benchmark::State& state) {
    const Bytes records = record_set();
    std::array<unsigned char, 256> value;
    for (auto _ : state) {
        int length = 0;
        benchmark::DoNotOptimize(PBOC_GetTagValue(wanted_tag, sizeof wanted_tag, records.data(),
                                                  static_cast<int>(records.size()), value.data(),
                                                  &length));
        benchmark::ClobberMemory();
    }
}

// The same walk, written straight down, as a function of the same arguments.
[[gnu::noinline]] int find_straight(const unsigned char* tag, std::size_t tag_size,
                                    const unsigned char* data, std::size_t size,
                                    unsigned char* value, std::size_t* length) {
    for (std::size_t at = 0; at < size;) {
        const std::size_t begin = at;
        const bool constructed = (data[at] & 0x20) != 0;
        at += (data[at] & 0x1F) == 0x1F ? 2 : 1;
        const std::size_t found_size = at - begin;
        if (at >= size) return -1;
        std::size_t count = data[at++];
        if (count == 0x81 && at < size) {
            count = data[at++];
        } else if (count == 0x82 && at + 1 < size) {
            count = static_cast<std::size_t>(data[at] << 8 | data[at + 1]);
            at += 2;
        }
        if (constructed) continue;
        if (at + count > size) return -1;
        if (found_size == tag_size && std::memcmp(data + begin, tag, tag_size) == 0) {
            std::memcpy(value, data + at, count);
            *length = count;
            return static_cast<int>(at);
        }
        at += count;
    }
    return -1;
}

void find_object_straight(benchmark::State& state) {
    const Bytes records = record_set();
    std::array<unsigned char, 256> value;
    for (auto _ : state) {
        std::size_t length = 0;
        benchmark::DoNotOptimize(find_straight(wanted_tag, sizeof wanted_tag, records.data(),
                                               records.size(), value.data(), &length));
        benchmark::ClobberMemory();
    }
}

// The log

constexpr char log_text[] = "iErrorCode = -4005\r\n";

std::string scratch_file(const char* name) {
    return std::string(std::getenv("DESKREADER_BENCH_DIRECTORY")) + "/" + name;
}

void log_line_here(benchmark::State& state) {
    GSetLogFilePath(scratch_file("here.log").c_str());
    for (auto _ : state)
        GLogE("%s", log_text);
}

// One line as durable: opened, appended, forced to the disk, closed.
void log_line_straight(benchmark::State& state) {
    const std::string path = scratch_file("straight.log");
    for (auto _ : state) {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        benchmark::DoNotOptimize(write(file, log_text, sizeof log_text - 1));
        fsync(file);
        close(file);
    }
}

void read_config(benchmark::State& state) {
    for (auto _ : state) {
        int value = 0;
        GGetConfigInt("devcfg", "Iccmd", 0, &value);
        benchmark::DoNotOptimize(value);
    }
}

void unwritten_log(benchmark::State& state) {
    for (auto _ : state)
        GLogI("Send szPackage: %s\r\n", log_text);
}

constexpr std::int64_t one_mebibyte = 1 << 20;

BENCHMARK(to_hex_here)->Name("GByte2Hex/deskreader")->Arg(64)->Arg(1024);
BENCHMARK(to_hex_openssl)->Name("GByte2Hex/OpenSSL")->Arg(64)->Arg(1024);
BENCHMARK(from_hex_here)->Name("GHex2Byte/deskreader")->Arg(64)->Arg(1024);
BENCHMARK(from_hex_openssl)->Name("GHex2Byte/OpenSSL")->Arg(64)->Arg(1024);
BENCHMARK(encode_base64_here)->Name("base64_encode/deskreader")->Arg(48)->Arg(1024);
BENCHMARK(encode_base64_openssl)->Name("base64_encode/OpenSSL")->Arg(48)->Arg(1024);
BENCHMARK(decode_base64_here)->Name("base64_decode/deskreader")->Arg(48)->Arg(1024);
BENCHMARK(decode_base64_openssl)->Name("base64_decode/OpenSSL")->Arg(48)->Arg(1024);
BENCHMARK(gb18030_here)->Name("GStrUnicode2GB18030/deskreader")->Arg(0)->Arg(1);
BENCHMARK(gb18030_iconv)->Name("GStrUnicode2GB18030/iconv")->Arg(0)->Arg(1);
BENCHMARK(des_here)->Name("GDesEncrypt/deskreader");
BENCHMARK(des_openssl)->Name("GDesEncrypt/OpenSSL");
BENCHMARK(triple_des_here)->Name("G3DesEncrypt/deskreader")->Arg(16)->Arg(24);
BENCHMARK(triple_des_openssl)->Name("G3DesEncrypt/OpenSSL")->Arg(16)->Arg(24);
BENCHMARK(md5_here)->Name("GMd5Encode/deskreader")->Arg(one_mebibyte);
BENCHMARK(md5_openssl)->Name("GMd5Encode/OpenSSL")->Arg(one_mebibyte);
BENCHMARK(crc16_here)->Name("GCalCRC16/deskreader")->Arg(16)->Arg(1024);
BENCHMARK(crc16_by_table)->Name("GCalCRC16/one row a byte")->Arg(16)->Arg(1024);
BENCHMARK(find_object_here)->Name("PBOC_GetTagValue/deskreader");
BENCHMARK(find_object_straight)->Name("PBOC_GetTagValue/straight walk");
BENCHMARK(log_line_here)->Name("GLogE/deskreader")->UseRealTime();
BENCHMARK(log_line_straight)->Name("GLogE/open, append, fsync, close")->UseRealTime();
BENCHMARK(read_config)->Name("GGetConfigInt/deskreader");
BENCHMARK(unwritten_log)->Name("GLogI at level 1/deskreader");

}  // namespace

// functions_bench, with a directory for its files in DESKREADER_BENCH_DIRECTORY.
int main(int argc, char** argv) {
    if (std::getenv("DESKREADER_BENCH_DIRECTORY") == nullptr) return 2;
    std::ofstream(scratch_file("config.ini"))
        << "[log]\nloglevel=1\nsaveday=15\n[devcfg]\nDevBaud=9600\nIdChange=1\nIdBaud=9600\n"
           "IcBaud=9600\nIccmd=0\ndevtype=0\n";
    GSetConfigFilePath(scratch_file("config.ini").c_str());
    GSetLogLevel(1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
