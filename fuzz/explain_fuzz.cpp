// What somebody types, pastes or has in a log, explained in every way. Masked bytes are as many as
// before, and are masked alike when they come again.
#include <string>

#include "expect.h"
#include "explain/decode.h"
#include "explain/log_views.h"
#include "explain/mask.h"

namespace {

using namespace explain;

void explain_bytes(View bytes) {
    for (const Kind kind : {Kind::objects, Kind::answer_to_reset, Kind::apdu, Kind::frame}) {
        const Note note = explain::explain(bytes, kind);
        expect(!as_text(note, true).empty());
        cJSON_Delete(as_json(note));
    }
    likely_kind(bytes);
}

void explain_log(std::string_view text) {
    for (const bool unmasked : {false, true}) {
        for (const auto view : {view_messages, view_timeline}) {
            LogDecoder decoder(text, {unmasked, nullptr});
            view(decoder, false, [](cJSON* object, const std::string&) { cJSON_Delete(object); });
            expect(decoder.counts().answered <= decoder.counts().lines + 1);
        }
    }
}

void mask_bytes(View bytes) {
    for (const Direction direction : {Direction::to_reader, Direction::from_reader}) {
        Mask mask;
        const Bytes masked = mask.wire(direction, bytes);
        expect(masked.size() == bytes.size());
        const auto halves = Mask().pieces(direction, {copy_of(part(bytes, 0, bytes.size() / 2)),
                                                      copy_of(part(bytes, bytes.size() / 2))});
        expect(halves[0].size() + halves[1].size() == bytes.size());
    }
    expect(Mask().command(bytes).size() == bytes.size());
    expect(Mask().response(bytes).size() == bytes.size());
    expect(Mask().objects(bytes).size() == bytes.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Input input(data, size);
    const std::string text(input.begin(), input.end());
    explain_bytes(input);
    explain_bytes(read_typed(text).bytes);
    explain_log(text);
    mask_bytes(input);
    expect(Mask().text(text).size() == text.size());
    return 0;
}
