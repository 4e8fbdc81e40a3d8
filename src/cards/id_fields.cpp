// Where the fields of an identity card stand in its text (UCS-2, two bytes a character, filled with
// spaces) and behind it, and what becomes of each on the way to a host.
#include <deskreader.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "cards/countries.h"
#include "cards/nations.h"
#include "status.h"
#include "support/gb18030_literal.h"

namespace {

namespace countries = deskreader::countries;
namespace gb18030 = deskreader::gb18030;
namespace nations = deskreader::nations;
namespace status = deskreader::status;

// A place in the record, in bytes.
struct Field {
    std::uint16_t offset;
    std::uint16_t size;
};

namespace resident {
constexpr Field name{0, 30};
constexpr Field sex{30, 2};
constexpr Field nation{32, 4};
constexpr Field birth{36, 16};
constexpr Field address{52, 70};
constexpr Field number{122, 36};
constexpr Field authority{158, 30};
constexpr Field valid_from{188, 16};
constexpr Field valid_until{204, 16};
}  // namespace resident

// The residence card of Hong Kong, Macau and Taiwan: a resident card with more in it.
namespace gat {
constexpr Field pass_number{220, 18};
constexpr Field issues{238, 4};
constexpr Field chip_serial_number{2304, 8};
constexpr Field card_serial_number{2312, 16};
}  // namespace gat

namespace foreign {
constexpr Field english_name{0, 120};
constexpr Field sex{120, 2};
constexpr Field number{122, 30};
constexpr Field nationality{152, 6};
constexpr Field chinese_name{158, 30};
constexpr Field valid_from{188, 16};
constexpr Field valid_until{204, 16};
constexpr Field birth{220, 16};
constexpr Field version{236, 4};
constexpr Field authority{240, 8};
}  // namespace foreign

namespace any_card {
constexpr Field type{248, 2};
constexpr Field photo{256, 1024};
constexpr Field fingerprint{1280, 1024};
}  // namespace any_card

constexpr auto male = gb18030::encode<5>(u"男");
constexpr auto female = gb18030::encode<5>(u"女");
constexpr auto unknown = gb18030::encode<5>(u"未知");

// Replaces what stands in a host's buffer. Returns the text's length.
int write_text(std::string_view text, char* out) noexcept {
    std::ranges::copy(text, out);
    out[text.size()] = '\0';
    return static_cast<int>(text.size());
}

int convert(const unsigned char* record, Field field, char* out) noexcept {
    if (record == nullptr || out == nullptr) return status::invalid_argument;
    return GStrUnicode2GB18030(record + field.offset, reinterpret_cast<unsigned char*>(out),
                               field.size);
}

int convert_and_cut(const unsigned char* record, Field field, char* out) noexcept {
    const int result = convert(record, field, out);
    return result < 0 ? result : ID_FilterSpaces(out);
}

int sex_word(const unsigned char* record, Field field, char* out) noexcept {
    const int result = convert(record, field, out);
    if (result < 0) return result;
    const std::string_view code(out);
    if (code == "1") return write_text(male.view(), out);
    return write_text(code == "2" ? female.view() : unknown.view(), out);
}

int copy_block(const unsigned char* record, Field block, unsigned char* out) noexcept {
    if (record == nullptr || out == nullptr) return status::invalid_argument;
    std::memcpy(out, record + block.offset, block.size);
    return block.size;
}

}  // namespace

int ID_FilterSpaces(char* text) {
    if (text == nullptr) return status::invalid_argument;
    const std::string_view all(text);
    const std::size_t last_space = all.find_last_of(' ');
    const std::size_t before_run =
        last_space == all.npos ? all.npos : all.find_last_not_of(' ', last_space);
    if (before_run == all.npos) return static_cast<int>(all.size());
    // kept: what follows the last run of spaces goes with it.
    text[before_run + 1] = '\0';
    return static_cast<int>(before_run + 1);
}

int ID_GetName(const unsigned char* record, char* text) {
    return convert_and_cut(record, resident::name, text);
}

int ID_GetSexCode(const unsigned char* record, int, char* text) {
    return convert(record, resident::sex, text);
}

int ID_GetSex(const unsigned char* record, int, char* text) {
    return sex_word(record, resident::sex, text);
}

int ID_GetNationCode(const unsigned char* record, char* text) {
    return convert(record, resident::nation, text);
}

int ID_GetNation(const unsigned char* record, char* text) {
    const int result = ID_GetNationCode(record, text);
    return result < 0 ? result : write_text(nations::name_of(std::atoi(text)), text);
}

int ID_GetBirth(const unsigned char* record, char* text) {
    return convert(record, resident::birth, text);
}

int ID_GetAddress(const unsigned char* record, char* text) {
    return convert_and_cut(record, resident::address, text);
}

int ID_GetCardNumber(const unsigned char* record, char* text) {
    return convert(record, resident::number, text);
}

int ID_GetPolice(const unsigned char* record, char* text) {
    return convert_and_cut(record, resident::authority, text);
}

int ID_GetValidStart(const unsigned char* record, char* text) {
    return convert_and_cut(record, resident::valid_from, text);
}

int ID_GetValidEnd(const unsigned char* record, char* text) {
    return convert_and_cut(record, resident::valid_until, text);
}

int ID_GetCardType(const unsigned char* record, char* text) {
    const int result = convert(record, any_card::type, text);
    if (result < 0) return result;
    const std::string_view type(text);
    if (type != "I" && type != "J") write_text("N", text);
    return 1;
}

int ID_GetCardNo_GAT(const unsigned char* record, char* text) {
    return convert_and_cut(record, gat::pass_number, text);
}

int ID_GetIssueTimes_GAT(const unsigned char* record, char* text) {
    return convert(record, gat::issues, text);
}

int ID_GetASICSerialNumber_GAT(const unsigned char* record, unsigned char* number) {
    return copy_block(record, gat::chip_serial_number, number);
}

int ID_GetSerialCardNumber_GAT(const unsigned char* record, unsigned char* number) {
    return copy_block(record, gat::card_serial_number, number);
}

int ID_GetEnglishName_Foreign(const unsigned char* record, char* text) {
    return convert_and_cut(record, foreign::english_name, text);
}

int ID_GetSexCode_Foreign(const unsigned char* record, int, char* text) {
    return convert(record, foreign::sex, text);
}

int ID_GetSex_Foreign(const unsigned char* record, int, char* text) {
    return sex_word(record, foreign::sex, text);
}

int ID_GetCardNumber_Foreign(const unsigned char* record, char* text) {
    return convert(record, foreign::number, text);
}

int ID_GetNationCode_Foreign(const unsigned char* record, char* text) {
    return convert(record, foreign::nationality, text);
}

int ID_GetNation_Foreign(const unsigned char* record, char* text) {
    const int result = ID_GetNationCode_Foreign(record, text);
    if (result < 0) return result;
    const std::string_view country = countries::find(text);
    if (country.empty()) return static_cast<int>(std::strlen(text));
    // kept: without a terminator, which hosts have put there before.
    std::memcpy(text, country.data(), country.size());
    return static_cast<int>(country.size());
}

int ID_GetChineseName_Foreign(const unsigned char* record, char* text) {
    return convert_and_cut(record, foreign::chinese_name, text);
}

int ID_GetValidStart_Foreign(const unsigned char* record, char* text) {
    return convert_and_cut(record, foreign::valid_from, text);
}

int ID_GetValidEnd_Foreign(const unsigned char* record, char* text) {
    return convert_and_cut(record, foreign::valid_until, text);
}

int ID_GetBirth_Foreign(const unsigned char* record, char* text) {
    return convert(record, foreign::birth, text);
}

int ID_GetCardVer_Foreign(const unsigned char* record, char* text) {
    return convert(record, foreign::version, text);
}

int ID_GetPoliceCode_Foreign(const unsigned char* record, char* text) {
    return convert(record, foreign::authority, text);
}

int ID_GetPhotoInfo(const unsigned char* record, unsigned char* photo) {
    return copy_block(record, any_card::photo, photo);
}

int ID_GetFPInfo(const unsigned char* record, unsigned char* fingerprint) {
    return copy_block(record, any_card::fingerprint, fingerprint);
}
