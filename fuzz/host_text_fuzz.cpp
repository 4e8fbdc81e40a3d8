// A host's tagged text: the field search, the checks of characters, and the way into the stores.
#include <deskreader.h>

#include <array>
#include <string>

#include "api/transaction_data.h"
#include "cards/host_text.h"
#include "expect.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    GSetLogFilePath("/dev/null");
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        const auto value = deskreader::host_text::find_field(text, {&letter, 1});
        if (!value) continue;
        expect(value->data() >= text.data());
        expect(value->data() + value->size() <= text.data() + text.size());
    }
    const std::string key = text.substr(0, size % 3);
    std::array<char, 512 + 1> value;
    value.back() = '#';
    int length = 0;
    PBOC_GetSimpTagValue(key.c_str(), static_cast<int>(key.size()), text.c_str(), 0, value.data(),
                         &length);
    expect(length >= 0 && length <= 512 && value.back() == '#');

    IsTagListValue(text.c_str());
    IsPbocDataValue(text.c_str());
    IsNumDataValue(text.c_str());
    IsHexDataValue(text.c_str());
    deskreader::api::is_transaction_text(text.c_str());
    deskreader::api::store_transaction_fields(text.c_str());
    deskreader::api::store_terminal_fields(text.c_str());
    expect(g_iTxDataLen == 87 && g_iAppInitDataLen == 113);
    return 0;
}
