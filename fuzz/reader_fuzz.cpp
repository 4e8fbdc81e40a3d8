// Whatever a host may send to the virtual reader: over a serial line, or in reports under the mode
// id that the first byte gives, with cards of every kind in their places.
#include "deck.h"
#include "expect.h"

namespace {

using virtual_reader::View;

constexpr const char* contact_cards[] = {"member", "bank", "citizen"};
constexpr const char* contactless_cards[] = {"visitor", "locker", "ticket"};

void put_in(virtual_reader::Reader& reader, unsigned choice) {
    reader.insert(contact_cards[choice % 3]);
    reader.insert(contactless_cards[choice / 3 % 3]);
    reader.insert("loyalty");
    reader.insert("residence");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const auto reader =
        virtual_reader::reader_from_deck(virtual_reader::default_deck(), "built-in");
    put_in(*reader, data[0]);
    const View bytes = View(data, size).subspan(2);
    const View half = bytes.first(bytes.size() / 2);
    if (data[1] == 0xFF) {
        reader->receive_serial(half);
        reader->receive_serial(bytes.subspan(half.size()));
        reader->take_late_serial();
    } else {
        reader->receive_usb(data[1], bytes);
        reader->take_late_usb();
    }
    reader->describe();
    return 0;
}
