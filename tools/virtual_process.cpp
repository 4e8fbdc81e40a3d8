#include "virtual_process.h"

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "errors.h"

namespace desk_tool {
namespace {

using namespace std::chrono_literals;

constexpr char program[] = "virtual-reader";
constexpr auto start_limit = 10s;

// Beside the tool, in the build tree, or on the PATH.
std::string find_program() {
    const auto here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    for (const auto& candidate :
         {here / program, here.parent_path() / "virtual_reader" / program}) {
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return program;
}

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) throw ToolError("no pipe for the virtual reader");
        reading = Descriptor(ends[0]);
        writing = Descriptor(ends[1]);
    }

    Descriptor reading;
    Descriptor writing;
};

[[noreturn]] void become(const std::string& path, const VirtualProcess::Arguments& given, int input,
                         int output, int errors) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    // A key combination that interrupts the tool is not meant for the reader on the desk, and what
    // the tool blocks is not blocked there.
    setpgid(0, 0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::vector<const char*> arguments = {program};
    for (const std::string& argument : given)
        arguments.push_back(argument.c_str());
    arguments.push_back(nullptr);
    execvp(path.c_str(), const_cast<char* const*>(arguments.data()));
    _exit(127);
}

// A line, or what came of it by then.
std::string read_line(int file, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    std::string line;
    for (char byte = 0;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        pollfd source{file, POLLIN, 0};
        if (left.count() <= 0 || poll(&source, 1, static_cast<int>(left.count())) <= 0) return line;
        if (read(file, &byte, 1) != 1 || byte == '\n') return line;
        line += byte;
    }
}

std::vector<std::string> words_of(int errors) {
    std::string text;
    std::array<char, 1024> bytes;
    for (ssize_t count; (count = read(errors, bytes.data(), bytes.size())) > 0;)
        text.append(bytes.data(), static_cast<std::size_t>(count));
    constexpr std::string_view name = "virtual-reader: ";
    std::vector<std::string> lines;
    while (!text.empty()) {
        std::string line = text.substr(0, text.find('\n'));
        text.erase(0, line.size() + 1);
        lines.push_back(line.starts_with(name) ? line.substr(name.size()) : line);
    }
    return lines;
}

}  // namespace

VirtualProcess::VirtualProcess(const Arguments& arguments) {
    start(arguments);
    device_ = read_line(output_.get(), start_limit);
    if (!device_.empty()) return;
    std::string words;
    for (const std::string& line : end())
        words += (words.empty() ? "" : "\n") + line;
    throw ToolError(words.empty() ? "the virtual reader did not start" : words);
}

void VirtualProcess::start(const Arguments& arguments) {
    Pipe to_child;
    Pipe from_child;
    Pipe child_errors;
    const std::string path = find_program();
    child_ = fork();
    if (child_ < 0) throw ToolError("no process for the virtual reader");
    if (child_ == 0) {
        become(path, arguments, to_child.reading.get(), from_child.writing.get(),
               child_errors.writing.get());
    }
    input_ = std::move(to_child.writing);
    output_ = std::move(from_child.reading);
    errors_ = std::move(child_errors.reading);
}

std::vector<std::string> VirtualProcess::end() {
    if (child_ <= 0) return {};
    input_.reset();
    output_.reset();
    if (device_.empty()) kill(child_, SIGTERM);  // it may be anything but a reader that listens
    auto words = words_of(errors_.get());
    errors_.reset();
    waitpid(child_, nullptr, 0);
    child_ = -1;
    return words;
}

void VirtualProcess::tell(const std::string& text) const {
    const std::string line = text + "\n";
    if (write(input_.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw ToolError("the virtual reader does not listen");
    const std::string answer = read_line(output_.get(), start_limit);
    const std::string error = "error ";
    if (answer.starts_with(error)) throw ToolError(answer.substr(error.size()));
    if (answer != "ok") throw ToolError(answer);
}

}  // namespace desk_tool
