// record: runs a host with the recording companion in it, and writes down what that tells.
#include <deskreader.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include "commands.h"
#include "descriptor.h"
#include "exit_status.h"
#include "recording_writer.h"

namespace desk_tool {
namespace {

namespace fs = std::filesystem;

constexpr int poll_ms = 50;

// Beside the library, or in the build tree beside the tool.
std::string find_companion() {
    std::array<char, 1024> library{};
    GGetDllPath(library.size(), library.data());
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    for (const fs::path& directory : {fs::path(library.data()), here}) {
        const fs::path candidate = fs::absolute(directory) / record::companion_name;
        if (access(candidate.c_str(), R_OK) == 0) return candidate;
    }
    throw ToolError(fmt::format("{} is not installed", record::companion_name));
}

// Where the companion tells what it sees, in a directory of its own.
class Listener {
  public:
    Listener() {
        std::string pattern = fs::temp_directory_path() / "deskreader-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) throw ToolError("no temporary directory");
        directory_ = pattern;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path().size() >= sizeof address.sun_path)
            throw ToolError("the path of the socket is too long: " + path());
        std::strcpy(address.sun_path, path().c_str());
        listening_ = Descriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (bind(listening_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
                0 ||
            listen(listening_.get(), SOMAXCONN) != 0) {
            throw ToolError(fmt::format("no socket to record with: {}", std::strerror(errno)));
        }
    }
    ~Listener() {
        std::error_code ignored;
        fs::remove_all(directory_, ignored);
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    std::string path() const { return directory_ + "/socket"; }

    // Hands on what is there, or comes within the time. False if nothing was.
    bool take(RecordingWriter& writer, int limit_ms) {
        std::vector<pollfd> sources = {{listening_.get(), POLLIN, 0}};
        for (const Descriptor& one : hosts_)
            sources.push_back({one.get(), POLLIN, 0});
        if (poll(sources.data(), sources.size(), limit_ms) <= 0) return false;
        for (std::size_t i = sources.size() - 1; i > 0; --i) {
            if (sources[i].revents != 0 && !receive(hosts_[i - 1], writer))
                hosts_.erase(hosts_.begin() + static_cast<std::ptrdiff_t>(i - 1));
        }
        if (sources[0].revents != 0) {
            Descriptor host(accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (host.is_open()) hosts_.push_back(std::move(host));
        }
        return true;
    }

  private:
    static bool receive(const Descriptor& host, RecordingWriter& writer) {
        std::array<std::uint8_t, sizeof(record::Header) + record::max_bytes> message;
        const ssize_t count = recv(host.get(), message.data(), message.size(), 0);
        if (count > 0) writer.take(explain::View(message).first(static_cast<std::size_t>(count)));
        return count > 0;
    }

    std::string directory_;
    Descriptor listening_;
    std::vector<Descriptor> hosts_;
};

// Ctrl-C is the host's: it gets it from the terminal too, and ends the recording by its end.
class PatientWithSignals {
  public:
    PatientWithSignals()
        : interrupt_(std::signal(SIGINT, SIG_IGN)), quit_(std::signal(SIGQUIT, SIG_IGN)) {}
    ~PatientWithSignals() {
        std::signal(SIGINT, interrupt_);
        std::signal(SIGQUIT, quit_);
    }
    PatientWithSignals(const PatientWithSignals&) = delete;
    PatientWithSignals& operator=(const PatientWithSignals&) = delete;

  private:
    void (*interrupt_)(int);
    void (*quit_)(int);
};

[[noreturn]] void become(const std::vector<std::string>& command, const std::string& companion,
                         const std::string& socket_path) {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGQUIT, SIG_DFL);
    const char* others = std::getenv("LD_PRELOAD");
    const std::string preloaded =
        others == nullptr ? companion : companion + ":" + std::string(others);
    setenv("LD_PRELOAD", preloaded.c_str(), 1);
    setenv(record::socket_variable, socket_path.c_str(), 1);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int error = errno;
    fmt::print(stderr, "deskreader: {}: {}\n", command[0], std::strerror(error));
    _exit(error == ENOENT ? not_found : not_executable);
}

// Until the host has ended and all that it told is written.
int follow(pid_t host, Listener& listener, RecordingWriter& writer) {
    int state = 0;
    while (waitpid(host, &state, WNOHANG) == 0)
        listener.take(writer, poll_ms);
    while (listener.take(writer, 0)) {
    }
    writer.finish();
    return WIFEXITED(state) ? WEXITSTATUS(state) : ended_by_signal + WTERMSIG(state);
}

}  // namespace

void run_record(const Options& options, Output& output) {
    const std::string companion = find_companion();
    Listener listener;
    RecordingWriter writer(options.recording, options.unmasked);
    const PatientWithSignals patient;
    const pid_t host = fork();
    if (host < 0) throw ToolError("no process for the host");
    if (host == 0) become(options.host, companion, listener.path());
    output.end_with(follow(host, listener, writer));
    if (writer.lines() == 0) {
        fmt::print(stderr,
                   "deskreader: nothing was recorded: did the host open a reader through "
                   "libdeskreader?\n");
    }
}

}  // namespace desk_tool
