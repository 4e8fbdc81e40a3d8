// id: identity cards.
#include <fstream>
#include <string_view>

#include "commands.h"
#include "connection.h"
#include "identity_calls.h"
#include "photo.h"
#include "text.h"

namespace desk_tool {
namespace {

struct FieldName {
    std::size_t field;
    std::string_view kinds;  // of card, that have it
    const char* key;
    const char* label;
};

constexpr FieldName names[] = {
    {0, "NJ", "name", "name"},
    {0, "I", "english_name", "English name"},
    {10, "I", "chinese_name", "Chinese name"},
    {1, "NJI", "sex", "sex"},
    {2, "N", "ethnic_group", "ethnic group"},
    {2, "I", "nationality", "nationality"},
    {3, "NJI", "date_of_birth", "date of birth"},
    {4, "NJ", "address", "address"},
    {5, "NJI", "number", "number"},
    {12, "J", "pass_number", "pass number"},
    {13, "J", "issues", "issues"},
    {6, "NJI", "authority", "authority"},
    {7, "NJI", "valid_from", "valid from"},
    {8, "NJI", "valid_until", "valid until"},
    {11, "I", "version", "version"},
};

const char* kind_name(char kind) {
    switch (kind) {
        case 'N':
            return "resident identity card";
        case 'J':
            return "residence card";
        case 'I':
            return "foreign permanent resident's card";
        default:
            throw ToolError("the card is of an unknown kind");
    }
}

bool is_date(std::size_t field) {
    return field == 3 || field == 7 || field == 8;
}

void write_photo(const std::string& path, const std::string& bmp) {
    std::ofstream file(path, std::ios::binary);
    if (!(file << bmp).flush()) throw ToolError(path + ": cannot be written");
}

void report_photo(const Options& options, const IdentityRecord& record, Output& output) {
    if (!record.photo) {
        if (options.photo) throw ReaderError("RD_ReadIdInfo", no_photo);
        output.line("the photo is not shown: ./libwlt.so, its decoder, did not give it");
        return;
    }
    draw(*record.photo, output);
    if (!options.photo) return;
    write_photo(*options.photo, *record.photo);
    output.field("photo", "photo", *options.photo);
}

}  // namespace

void run_identity(const Options& options, Output& output) {
    const Connection connection(options.link);
    const bool drawn = !output.json() && colours_of_output() != Colours::none;
    const bool with_photo = options.photo || drawn;
    const IdentityRecord record =
        with_photo ? read_identity_with_photo(options.timeout_s) : read_identity(options.timeout_s);
    output.field("kind", "kind", kind_name(record.kind()));
    for (const FieldName& name : names) {
        if (name.kinds.find(record.kind()) == std::string_view::npos) continue;
        const std::string value = trimmed(record.fields[name.field]);
        const bool as_date = is_date(name.field) && !output.json();
        output.field(name.key, name.label, as_date ? long_date(value) : value);
    }
    if (with_photo) report_photo(options, record, output);
}

}  // namespace desk_tool
