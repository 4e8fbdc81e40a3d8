// Decks: each is refused with an error that says why, or gives a reader that can be asked for its
// cards.
#include <string_view>

#include "deck.h"
#include "expect.h"
#include "wire/reply.h"

namespace {

using virtual_reader::Bytes;
using virtual_reader::from_hex;
using virtual_reader::Reader;

// Power for every place, and the beginning of what a host asks of each kind of card.
void ask(Reader& reader) {
    static constexpr const char* commands[] = {
        "E101",
        "E30100A404000E315041592E5359532E4444463031",
        "E30100A4040008A000000333010101",
        "E30180A800000B8309010000000012340156",
        "E30100A404000F7378312E73682EE7A4BEE4BC9AE4BF",
        "E30100B2010C00",
        "E30100B0950000",
        "D1",
        "D33000",
        "D31A00",
        "420160FFFFFFFFFFFF",
        "4301",
    };
    for (const char* command : commands)
        reader.receive_serial(virtual_reader::ic_reply(from_hex(command)));
    reader.receive_serial(
        virtual_reader::to_bytes("\x1B"
                                 "F]"));
    reader.receive_serial(virtual_reader::to_bytes("\x1B$S0"));
    for (const char* command : {"2001", "2002", "3010", "3001"})
        reader.id().answer(from_hex(command));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    try {
        const auto reader = virtual_reader::reader_from_deck(json, "fuzzed");
        expect(reader != nullptr);
        reader->describe();
        ask(*reader);
    } catch (const virtual_reader::DeckError& error) {
        expect(std::string_view(error.what()).starts_with("fuzzed"));
    }
    return 0;
}
