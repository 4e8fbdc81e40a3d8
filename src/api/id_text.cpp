#include "api/id_text.h"

#include <deskreader.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace deskreader::api {
namespace {

using Accessor = int (*)(const unsigned char* record, char* text);

int sex(const unsigned char* record, char* text) {
    return ID_GetSex(record, 0, text);
}

int sex_foreign(const unsigned char* record, char* text) {
    return ID_GetSex_Foreign(record, 0, text);
}

int empty(const unsigned char*, char*) {
    return 0;
}

// A kind of card: how many fields it has, and where each comes from.
struct Kind {
    char type;
    std::size_t count;
    Accessor fields[14];
};

constexpr Kind kinds[] = {
    // Resident: name, sex, nation, birth, address, number, authority, validity, type.
    {'N',
     12,
     {ID_GetName, sex, ID_GetNation, ID_GetBirth, ID_GetAddress, ID_GetCardNumber, ID_GetPolice,
      ID_GetValidStart, ID_GetValidEnd, ID_GetCardType, empty, empty, empty, empty}},
    // Residents of Hong Kong, Macau and Taiwan: no nation, but pass number and number of issues.
    {'J',
     14,
     {ID_GetName, sex, empty, ID_GetBirth, ID_GetAddress, ID_GetCardNumber, ID_GetPolice,
      ID_GetValidStart, ID_GetValidEnd, ID_GetCardType, empty, empty, ID_GetCardNo_GAT,
      ID_GetIssueTimes_GAT}},
    // Foreigners: no address, but Chinese name and version.
    {'I',
     12,
     {ID_GetEnglishName_Foreign, sex_foreign, ID_GetNation_Foreign, ID_GetBirth_Foreign, empty,
      ID_GetCardNumber_Foreign, ID_GetPoliceCode_Foreign, ID_GetValidStart_Foreign,
      ID_GetValidEnd_Foreign, ID_GetCardType, ID_GetChineseName_Foreign, ID_GetCardVer_Foreign,
      empty, empty}},
};

const Kind& kind_of(const IdRecord& record) noexcept {
    std::array<char, 8> type{};
    ID_GetCardType(record.data(), type.data());
    const auto* kind = std::ranges::find(kinds, type[0], &Kind::type);
    return kind == std::end(kinds) ? kinds[0] : *kind;
}

}  // namespace

IdText::IdText(const IdRecord& record) noexcept {
    const Kind& kind = kind_of(record);
    count_of_kind_ = kind.count;
    for (std::size_t i = 0; i < field_count; ++i)
        kind.fields[i](record.data(), fields_[i].data());
}

std::size_t IdText::write(Length length, std::span<char> out) const noexcept {
    const std::size_t count = length == Length::all_fields ? field_count : count_of_kind_;
    std::span<char> rest = out.first(out.size() - 1);
    const auto put = [&rest](std::string_view text) {
        const std::size_t size = std::min(text.size(), rest.size());
        std::memcpy(rest.data(), text.data(), size);
        rest = rest.subspan(size);
    };
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) put("|");
        put(fields_[i].data());
    }
    const std::size_t written = out.size() - 1 - rest.size();
    out[written] = '\0';
    return written;
}

}  // namespace deskreader::api
