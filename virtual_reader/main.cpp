// virtual-reader: a reader with cards in it, on a pseudo-terminal, in a USB port of this machine or
// for PC/SC programs. Prints where it is to be found, also when that has become another place, then
// serves until its standard input ends; lines there and at its control socket move cards (see
// desk_control.h).
#include <array>
#include <chrono>
#include <csignal>
#include <iostream>
#include <optional>
#include <thread>
#include <vector>

#include <poll.h>
#include <unistd.h>

#include "control_socket.h"
#include "deck.h"
#include "links/serial_line.h"
#include "links/usb_line.h"
#include "links/vpcd_link.h"
#include "options.h"
#include "replay_program.h"

namespace {

using namespace virtual_reader;

int complain(const std::exception& error) {
    std::cerr << "virtual-reader: " << error.what() << '\n';
    return failed;
}

volatile std::sig_atomic_t stopped = 0;

// The link that was asked for.
std::unique_ptr<Link> make_link(const Options& options, Reader& reader) {
    const auto vpcd = [&](std::unique_ptr<Door> door) {
        return std::make_unique<VpcdLink>(std::move(door),
                                          VpcdLink::place_of(options.card, reader));
    };
    if (!options.vpcd.empty()) return vpcd(connecting_door(address_from_text(options.vpcd)));
    if (!options.vpcd_listen.empty())
        return vpcd(listening_door(address_from_text(options.vpcd_listen)));
    if (options.usb) return std::make_unique<UsbLine>(reader);
    return std::make_unique<SerialLine>(options.true_timing ? Timing::true_to_wire
                                                            : Timing::at_once);
}

std::unique_ptr<Reader> make_reader(const Options& options) {
    auto reader = options.deck.empty() ? reader_from_deck(default_deck(), "built-in deck")
                                       : reader_from_deck_file(options.deck);
    if (!options.card.empty()) reader->insert(options.card);
    return reader;
}

// Says what is wrong with the deck, if anything.
int check(const Options& options) {
    try {
        make_reader(options);
        return ended;
    } catch (const std::exception& error) {
        return complain(error);
    }
}

// The reader, its link, and whoever tells it what to do.
class Desk {
  public:
    explicit Desk(const Options& options)
        : reader_(make_reader(options)), link_(make_link(options, *reader_)) {
        if (!options.control.empty()) control_.emplace(options.control);
    }

    void serve() {
        while (stopped == 0) {
            show_place();
            wait();
            if (!serve_input() || !serve_control()) return;
            if (!link_->serve(*reader_)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

  private:
    void show_place() {
        if (shown_ == link_->place()) return;
        shown_ = link_->place();
        if (!shown_.empty()) std::cout << shown_ << std::endl;
    }

    void wait() {
        constexpr Time longest = std::chrono::milliseconds(5);
        waiting_.assign(1, {input_is_open_ ? STDIN_FILENO : -1, POLLIN, 0});
        waiting_.push_back({link_->descriptor(), POLLIN, 0});
        if (control_) control_->add_to(waiting_);
        const timespec time = as_timespec(wait_for(*link_, longest));
        ppoll(waiting_.data(), waiting_.size(), &time, nullptr);
    }

    // False once the program is to end.
    bool serve_input() {
        if (waiting_[0].revents == 0) return true;
        std::array<char, longest_line> bytes;
        const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
        input_is_open_ = count > 0;
        if (input_is_open_) input_.feed({bytes.data(), static_cast<std::size_t>(count)});
        while (const auto line = input_.next()) {
            const ControlAnswer answer = control(*reader_, *line);
            std::cout << answer.text << std::flush;
            if (answer.quit) return false;
        }
        if (input_.is_too_long()) input_ = {};
        return input_is_open_ || control_;
    }

    bool serve_control() {
        return !control_ ||
               control_->serve([this](std::string_view line) { return control(*reader_, line); });
    }

    std::unique_ptr<Reader> reader_;
    std::unique_ptr<Link> link_;
    std::optional<ControlSocket> control_;
    TextLines input_;
    bool input_is_open_ = true;
    std::vector<pollfd> waiting_;
    std::string shown_;
};

}  // namespace

int main(int argc, char** argv) {
    int status = ended;
    const auto options = read_options(argc, argv, std::cout, std::cerr, status);
    if (!options) return status;
    if (options->show_deck) {
        std::cout << default_deck();
        return ended;
    }
    if (options->check) return check(*options);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, [](int) { stopped = 1; });
    std::signal(SIGPIPE, SIG_IGN);
    try {
        if (!options->recording.empty())
            return replay_until_input_ends(options->recording, stopped);
        Desk(*options).serve();
        return ended;
    } catch (const std::exception& error) {
        return complain(error);
    }
}
