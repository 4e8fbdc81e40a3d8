// virtual-reader: a reader with cards in it on a pseudo-terminal, or in a USB port of this machine.
// Prints the device's name, also when it has become another one, then serves until its standard
// input ends; lines there move cards (see desk_control.h).
#include <array>
#include <chrono>
#include <csignal>
#include <iostream>
#include <thread>

#include <CLI/CLI.hpp>
#include <poll.h>
#include <unistd.h>

#include "deck.h"
#include "desk_control.h"
#include "links/serial_line.h"
#include "links/usb_line.h"

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

bool serve_once(SerialLine& line, Reader& reader) {
    return line.serve(reader);
}
bool serve_once(UsbLine& line, Reader&) {
    return line.serve();
}

template <class Line>
void serve(Reader& reader, Line line) {
    std::string shown;
    InputLines input;
    constexpr int poll_ms = 5;  // answers that are late on purpose come this much later at the most
    while (stopped == 0) {
        if (shown != line.device()) {
            shown = line.device();
            if (!shown.empty()) std::cout << shown << std::endl;
        }
        std::array<pollfd, 2> sources{{{STDIN_FILENO, POLLIN, 0}, {line.descriptor(), POLLIN, 0}}};
        poll(sources.data(), sources.size(), poll_ms);
        if (sources[0].revents != 0) {
            const bool more = input.read_available([&](std::string_view text) {
                const ControlAnswer answer = control(reader, text);
                std::cout << answer.text << std::flush;
                return !answer.quit;
            });
            if (!more) return;
        }
        if (!serve_once(line, reader)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "A card reader with cards in it, in software, on a pseudo-terminal or as a USB device.\n"
        "Prints the device to open, then serves until its standard input ends. Lines there:\n"
        "  insert NAME [slot N], remove NAME, fault ..., unplug, plug, status, help, quit"};
    std::string deck;
    bool show_deck = false;
    bool usb = false;
    app.add_option("--deck", deck,
                   "JSON file with the reader's settings and cards; one is built in");
    app.add_flag("--usb", usb,
                 "Be a USB device of this machine, not a serial one: needs root and the kernel\n"
                 "module vhci-hcd (modprobe vhci-hcd); prints USB when the host has found it");
    app.add_flag("--show-deck", show_deck, "Print the built-in deck and end");
    CLI11_PARSE(app, argc, argv);
    if (show_deck) {
        std::cout << default_deck();
        return 0;
    }
    for (const int signal : {SIGINT, SIGTERM})
        std::signal(signal, [](int) { stopped = 1; });
    try {
        const auto reader = deck.empty() ? reader_from_deck(default_deck(), "built-in deck")
                                         : reader_from_deck_file(deck);
        if (usb) {
            serve(*reader, UsbLine(*reader));
        } else {
            serve(*reader, SerialLine());
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "virtual-reader: " << error.what() << '\n';
        return 1;
    }
}
