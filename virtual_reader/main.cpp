// virtual-reader: a reader with cards in it, on a pseudo-terminal, in a USB port of this machine or
// for PC/SC programs. Prints where it is to be found, also when that has become another place, then
// serves until its standard input ends; lines there move cards (see desk_control.h).
#include <array>
#include <chrono>
#include <csignal>
#include <iostream>
#include <thread>

#include <poll.h>
#include <unistd.h>

#include "deck.h"
#include "desk_control.h"
#include "links/serial_line.h"
#include "links/usb_line.h"
#include "links/vpcd_link.h"
#include "options.h"
#include "replay_program.h"

namespace {

using namespace virtual_reader;

volatile std::sig_atomic_t stopped = 0;

// Lines of standard input, as they come.
class InputLines {
  public:
    // Reads what is there and hands whole lines to `take`. False at the end of the input.
    template <class Take>
    bool read_available(Take take) {
        std::array<char, 512> bytes;
        const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count <= 0) return false;
        held_.append(bytes.data(), static_cast<std::size_t>(count));
        for (std::size_t end; (end = held_.find('\n')) != std::string::npos;
             held_.erase(0, end + 1)) {
            if (!take(std::string_view(held_).substr(0, end))) return false;
        }
        return true;
    }

  private:
    std::string held_;
};

constexpr Place first_slot{false, 0};
constexpr Place field{true, 0};

// Where the card for PC/SC programs is.
Place place_for_vpcd(const Reader& reader, const std::string& card) {
    if (card.empty()) return first_slot;
    for (const Place place : {first_slot, field}) {
        const Card* there = reader.ic().card_at(place);
        if (there != nullptr && there->name() == card) return place;
    }
    throw std::invalid_argument("the card " + card + " takes no commands from PC/SC programs");
}

// The link that was asked for.
std::unique_ptr<Link> make_link(const Options& options, Reader& reader) {
    const auto vpcd = [&](std::unique_ptr<Door> door) {
        return std::make_unique<VpcdLink>(std::move(door), place_for_vpcd(reader, options.card));
    };
    if (!options.vpcd.empty()) return vpcd(connecting_door(address_from_text(options.vpcd)));
    if (!options.vpcd_listen.empty())
        return vpcd(listening_door(address_from_text(options.vpcd_listen)));
    if (options.usb) return std::make_unique<UsbLine>(reader);
    return std::make_unique<SerialLine>(options.true_timing ? Timing::true_to_wire
                                                            : Timing::at_once);
}

void serve(Reader& reader, Link& link) {
    std::string shown;
    InputLines input;
    constexpr Time longest_wait = std::chrono::milliseconds(5);
    while (stopped == 0) {
        if (shown != link.place()) {
            shown = link.place();
            if (!shown.empty()) std::cout << shown << std::endl;
        }
        std::array<pollfd, 2> sources{{{STDIN_FILENO, POLLIN, 0}, {link.descriptor(), POLLIN, 0}}};
        const timespec wait = as_timespec(wait_for(link, longest_wait));
        ppoll(sources.data(), sources.size(), &wait, nullptr);
        if (sources[0].revents != 0) {
            const bool more = input.read_available([&](std::string_view text) {
                const ControlAnswer answer = control(reader, text);
                std::cout << answer.text << std::flush;
                return !answer.quit;
            });
            if (!more) return;
        }
        if (!link.serve(reader)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

std::unique_ptr<Reader> make_reader(const Options& options) {
    auto reader = options.deck.empty() ? reader_from_deck(default_deck(), "built-in deck")
                                       : reader_from_deck_file(options.deck);
    if (!options.card.empty()) reader->insert(options.card);
    return reader;
}

}  // namespace

int main(int argc, char** argv) {
    int status = ended;
    const auto options = read_options(argc, argv, std::cout, std::cerr, status);
    if (!options) return status;
    if (options->show_deck) {
        std::cout << default_deck();
        return ended;
    }
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, [](int) { stopped = 1; });
    try {
        if (!options->recording.empty())
            return replay_until_input_ends(options->recording, stopped);
        const auto reader = make_reader(*options);
        const auto link = make_link(*options, *reader);
        serve(*reader, *link);
        return ended;
    } catch (const std::exception& error) {
        std::cerr << "virtual-reader: " << error.what() << '\n';
        return failed;
    }
}
