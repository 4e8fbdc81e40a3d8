// Which reader: one text with a scheme.
//
//   hid:              the reader on USB
//   serial:DEVICE     a reader on a serial device: ttyS1 or /dev/ttyS1
//   virtual:[DECK]    a virtual reader of its own, with the cards of a deck or built-in ones
//   virtual-usb:[DECK]  the same, as a USB device of this machine
//   replay:FILE       the reader of a recording
#pragma once

#include <string>
#include <vector>

namespace desk_tool {

enum class LinkKind { usb, serial, virtual_reader, virtual_usb, replay };

struct Link {
    LinkKind kind = LinkKind::usb;
    std::string place;  // device, deck or recording; empty for the only or the built-in one

    bool is_virtual() const {
        return kind == LinkKind::virtual_reader || kind == LinkKind::virtual_usb;
    }
};

// What the schemes look like, for help and completion.
inline constexpr const char* link_forms =
    "hid:, serial:DEVICE, virtual:[DECK], virtual-usb:[DECK] or replay:FILE";

// Throws MisuseError with what is wrong about the text.
Link link_from(const std::string& text);

// How a link is written.
std::string text_of(const Link& link);

// What a replay said of the host at its other end.
struct ReplayReport {
    bool strayed = false;
    std::vector<std::string> words;
};

struct LinkOptions {
    std::string link;  // as it was given; empty: the environment's, or the reader on USB
    int baud = 9600;
    std::string card;                       // of the deck, to put into the virtual reader
    const char* default_card = nullptr;     // if neither a deck nor a card was chosen
    ReplayReport* replay_report = nullptr;  // where it goes

    // Throws MisuseError for a link that makes no sense.
    Link chosen() const;
};

inline constexpr const char* link_variable = "DESKREADER_LINK";

}  // namespace desk_tool
