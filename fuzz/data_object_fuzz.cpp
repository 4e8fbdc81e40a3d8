// Card data: the walker, the search and the setter over any bytes. The first byte says how many of
// the next ones are the tag that is looked for.
#include <deskreader.h>

#include <algorithm>
#include <vector>

#include "cards/tlv.h"
#include "expect.h"

namespace tlv = deskreader::tlv;

namespace {

void walk(Input data, tlv::LongTemplate rule) {
    tlv::Walker walker(data, rule);
    std::size_t before = 0;
    while (const auto object = walker.next()) {
        expect(object->offset > before || before == 0);
        expect(object->offset + object->length <= data.size());
        expect(object->tag.size() == 1 || object->tag.size() == 2);
        before = object->offset;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const Input input(bytes, size);
    if (input.size() < 3) return 0;
    const std::size_t tag_size = 1 + input[0] % 2;
    const Input tag = input.subspan(1, tag_size);
    const Input data = input.subspan(3);
    walk(data, tlv::LongTemplate::ends_walk);
    walk(data, tlv::LongTemplate::is_entered);

    const auto value = tlv::find_value(data, tag);
    std::vector<std::uint8_t> out(std::max<std::size_t>(data.size(), 8), 0xEE);
    int length = -7;
    const int offset = PBOC_GetTagValue(tag.data(), static_cast<int>(tag_size), data.data(),
                                        static_cast<int>(data.size()), out.data(), &length);
    expect(value.has_value() == (offset >= 0));
    expect(!value || std::equal(value->begin(), value->end(), out.begin()));
    expect(length == (value ? static_cast<int>(value->size()) : 0));

    std::vector<std::uint8_t> changed(data.begin(), data.end());
    const std::uint8_t replacement[] = {1, 2, 3, 4};
    PBOC_SetTagValue(tag.data(), static_cast<int>(tag_size), changed.data(),
                     static_cast<int>(changed.size()), replacement, input[0] % 5);
    return 0;
}
