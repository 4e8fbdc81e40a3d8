#include "replay_program.h"

#include <array>
#include <chrono>
#include <iostream>
#include <thread>

#include <poll.h>
#include <unistd.h>

#include "links/pseudo_terminal.h"
#include "replay.h"

namespace virtual_reader {
namespace {

using Clock = std::chrono::steady_clock;

// Hosts write a request at once; what has come by then is all of it.
constexpr std::chrono::milliseconds request_pause(50);
constexpr int poll_ms = 10;

class ReplayLine {
  public:
    explicit ReplayLine(Replay& replay) : replay_(replay), terminal_(open_pseudo_terminal()) {}
    ~ReplayLine() { close(terminal_.master); }
    ReplayLine(const ReplayLine&) = delete;
    ReplayLine& operator=(const ReplayLine&) = delete;

    const std::string& device() const { return terminal_.device; }
    int descriptor() const { return terminal_.master; }

    // False while no host has the line open.
    bool serve() {
        pollfd line{terminal_.master, POLLIN, 0};
        if (poll(&line, 1, 0) < 0) return true;
        if ((line.revents & POLLIN) != 0) take();
        if (replay_.is_waiting() && Clock::now() - last_ >= request_pause)
            write_all(replay_.settle());
        return (line.revents & POLLHUP) == 0;
    }

  private:
    void take() {
        std::array<std::uint8_t, 4096> bytes;
        const ssize_t count = read(terminal_.master, bytes.data(), bytes.size());
        if (count <= 0) return;
        last_ = Clock::now();
        write_all(replay_.receive(View(bytes).first(static_cast<std::size_t>(count))));
    }

    void write_all(View bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = write(terminal_.master, bytes.data(), bytes.size());
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) return;
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
    }

    Replay& replay_;
    PseudoTerminal terminal_;
    Clock::time_point last_ = Clock::now();
};

void report(Replay& replay) {
    for (const std::string& text : replay.take_complaints())
        std::cerr << "virtual-reader: " << text << std::endl;
}

// Answers lines of standard input. False at their end.
bool take_input(const Replay& replay, std::string& held) {
    std::array<char, 512> bytes;
    const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count <= 0) return false;
    held.append(bytes.data(), static_cast<std::size_t>(count));
    for (std::size_t end; (end = held.find('\n')) != std::string::npos; held.erase(0, end + 1)) {
        const std::string line = held.substr(0, end);
        if (line == "quit") return false;
        std::cout << (line == "status" ? replay.describe() : "a recording takes only: status, quit")
                  << std::endl;
    }
    return true;
}

}  // namespace

int replay_until_input_ends(const std::string& path, const volatile std::sig_atomic_t& stopped) {
    Replay replay(read_recording_file(path));
    ReplayLine line(replay);
    std::cout << line.device() << std::endl;
    std::string held;
    while (stopped == 0) {
        std::array<pollfd, 2> sources{{{STDIN_FILENO, POLLIN, 0}, {line.descriptor(), POLLIN, 0}}};
        poll(sources.data(), sources.size(), poll_ms);
        const bool host_is_there = line.serve();
        report(replay);
        if (sources[0].revents != 0 && !take_input(replay, held)) break;
        if (!host_is_there) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    line.serve();  // what came last
    replay.end();
    report(replay);
    return replay.has_strayed() ? strayed : ended;
}

}  // namespace virtual_reader
