#include "errors.h"

#include <deskreader.h>

#include <algorithm>
#include <array>
#include <iterator>

#include <iconv.h>
#include <langinfo.h>

namespace desk_tool {
namespace {

struct Name {
    int number;
    const char* name;
};

constexpr Name names[] = {
    {-1, "device reported an error"},
    {-2, "port or file not found"},
    {-5, "no exchange took place"},
    {-16, "busy"},
    {-19, "no such device"},
    {-22, "invalid argument"},
    {-62, "timed out"},
    {-74, "malformed answer"},
    {-99, "failed"},
    {-125, "cancelled"},
    {-1000, "port cannot be opened"},
    {-1001, "reader does not answer"},
    {-1002, "reader is in use"},
    {-1003, "reader not connected"},
    {-1004, "no answer in time"},
    {-1005, "nothing sent in time"},
    {-1006, "cancelled"},
    {-1007, "invalid parameter"},
    {-1008, "not supported"},
    {-1009, "library not loaded"},
    {-1010, "library call failed"},
    {-1011, "module not switched"},
    {-1012, "invalid initial parameter"},
    {-1013, "malformed answer"},
    {-1014, "communication failed"},
    {-2000, "no track readable"},
    {-2001, "track 1 not readable"},
    {-2002, "track 2 not readable"},
    {-2003, "track 3 not readable"},
    {-2004, "tracks 2 and 3 not readable"},
    {-2005, "track 2 is empty"},
    {-2006, "track 3 is empty"},
    {-2007, "tracks 2 and 3 are empty"},
    {-2100, "no track written"},
    {-2101, "track 1 not written"},
    {-2102, "track 2 not written"},
    {-2103, "track 3 not written"},
    {-2104, "tracks 2 and 3 not written"},
    {-2105, "no card number"},
    {-2106, "tracks 1 and 2 not readable"},
    {-2107, "tracks 1 and 3 not readable"},
    {-2108, "tracks 1 and 3 are empty"},
    {-2109, "tracks 1 and 2 are empty"},
    {-2110, "all tracks are empty"},
    {-2111, "track 1 is empty"},
    {-3000, "identity module does not answer"},
    {-3001, "no identity card"},
    {-3002, "identity card not readable"},
    {-3003, "photo not written"},
    {-3004, "identity module's baud rate not set"},
    {-4000, "power-on failed"},
    {-4001, "power-on timed out"},
    {-4002, "power-off failed"},
    {-4003, "invalid APDU"},
    {-4004, "card not powered"},
    {-4005, "card absent"},
    {-4006, "APDU failed"},
    {-4100, "payment directory not selected"},
    {-4101, "no list of applications"},
    {-4102, "application not selected"},
    {-4103, "processing options list not filled"},
    {-4104, "no processing options"},
    {-4105, "no application data"},
    {-4106, "dynamic data list not filled"},
    {-4107, "no cryptogram"},
    {-4108, "no ARQC data"},
    {-4109, "issuer not authenticated"},
    {-4110, "script not executed"},
    {-4111, "second data list missing"},
    {-4114, "approval refused"},
    {-4115, "transaction declined"},
    {-4117, "no log entry"},
    {-5001, "activation refused"},
    {-5002, "card not halted"},
    {-5003, "wrong key"},
    {-5004, "block not readable"},
    {-5005, "block not written"},
    {-5006, "value not readable"},
    {-5007, "value not written"},
    {-5008, "value not increased"},
    {-5009, "value not decreased"},
    {-5010, "invalid block"},
    {-5011, "invalid sector"},
    {-5012, "data are not 16 bytes"},
    {-5013, "data are not 4 bytes"},
    {-5014, "key is not 6 bytes"},
    {-5015, "invalid key type"},
    {-5016, "invalid value"},
    {-5105, "key not written"},
    {-5106, "invalid page"},
};

struct Mapping {
    int internal;
    int api;
};

// As RD_GetErrorCode has them, which logs what it is asked.
constexpr Mapping api_numbers[] = {
    {-1, -1014},  {-2, -1000},  {-16, -1002}, {-19, -1003},
    {-22, -1007}, {-62, -1004}, {-74, -1013}, {-125, -1006},
};

// Closes a conversion with its scope.
class Converter {
  public:
    explicit Converter(const char* to) : handle_(iconv_open(to, "UTF-8")) {}
    ~Converter() {
        if (usable()) iconv_close(handle_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool usable() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    // One character's bytes, empty if the encoding lacks it.
    std::string convert(std::string character) {
        std::array<char, 16> out{};
        char* from = character.data();
        std::size_t from_left = character.size();
        char* to = out.data();
        std::size_t to_left = out.size();
        if (iconv(handle_, &from, &from_left, &to, &to_left) == static_cast<std::size_t>(-1)) {
            iconv(handle_, nullptr, nullptr, nullptr, nullptr);
            return {};
        }
        return {out.data(), out.size() - to_left};
    }

  private:
    iconv_t handle_;
};

bool continues_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

ReaderError::ReaderError(std::string call, int number)
    : std::runtime_error(call + ": " + std::to_string(number)),
      call_(std::move(call)),
      number_(number) {}

std::string name_of(int number) {
    const auto* row = std::ranges::find(names, number, &Name::number);
    return row == std::end(names) ? "error" : row->name;
}

int api_number_of(int number) {
    const auto* row = std::ranges::find(api_numbers, number, &Mapping::internal);
    return row == std::end(api_numbers) ? number : row->api;
}

std::string message_of(int number) {
    std::array<char, 64> text{};
    int length = 0;
    RD_GetErrInfo(number, text.size(), text.data(), &length);
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string to_terminal(const std::string& utf8) {
    Converter converter(nl_langinfo(CODESET));
    if (!converter.usable()) return utf8;
    std::string text;
    for (std::size_t at = 0; at < utf8.size();) {
        std::size_t end = at + 1;
        while (end < utf8.size() && continues_character(utf8[end]))
            ++end;
        const std::string converted = converter.convert(utf8.substr(at, end - at));
        text += converted.empty() ? "?" : converted;
        at = end;
    }
    return text;
}

void check(const char* call, int result) {
    if (result == 0) return;
    const bool internal = result > -1000;
    throw ReaderError(call, internal ? RD_GetErrorCode(result) : result);
}

}  // namespace desk_tool
