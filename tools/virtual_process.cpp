#include "virtual_process.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "errors.h"

namespace desk_tool {
namespace {

constexpr char program[] = "virtual-reader";

// Beside the tool, in the build tree, or on the PATH.
std::string find_program() {
    const auto here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    for (const auto& candidate :
         {here / program, here.parent_path() / "virtual_reader" / program}) {
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return program;
}

std::array<int, 2> make_pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw ToolError("no pipe for the virtual reader");
    return ends;
}

[[noreturn]] void become(const std::string& path, const std::string& deck, int input, int output,
                         int errors) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    // A key combination that interrupts the tool is not meant for the reader on the desk.
    setpgid(0, 0);
    std::vector<const char*> arguments = {program};
    if (!deck.empty()) arguments.insert(arguments.end(), {"--deck", deck.c_str()});
    arguments.push_back(nullptr);
    execvp(path.c_str(), const_cast<char* const*>(arguments.data()));
    _exit(127);
}

std::string read_line(int file) {
    std::string line;
    for (char byte = 0; read(file, &byte, 1) == 1 && byte != '\n';)
        line += byte;
    return line;
}

// What a program that did not start had to say, without its name.
std::string words_of(int errors) {
    const std::string words = read_line(errors);
    const std::string name = std::string(program) + ": ";
    if (words.empty()) return "the virtual reader did not start";
    return words.rfind(name, 0) == 0 ? words.substr(name.size()) : words;
}

}  // namespace

VirtualProcess::VirtualProcess(const std::string& deck) {
    const auto to_child = make_pipe();
    const auto from_child = make_pipe();
    const auto child_errors = make_pipe();
    const std::string path = find_program();
    child_ = fork();
    if (child_ == 0) become(path, deck, to_child[0], from_child[1], child_errors[1]);
    close(to_child[0]);
    close(from_child[1]);
    close(child_errors[1]);
    input_ = to_child[1];
    output_ = from_child[0];
    errors_ = child_errors[0];
    device_ = read_line(output_);
    if (!device_.empty()) return;
    const std::string words = words_of(errors_);
    stop();
    throw ToolError(words);
}

VirtualProcess::~VirtualProcess() {
    stop();
}

void VirtualProcess::stop() {
    for (const int file : {input_, output_, errors_})
        close(file);
    if (child_ > 0) waitpid(child_, nullptr, 0);
}

void VirtualProcess::tell(const std::string& text) const {
    const std::string line = text + "\n";
    if (write(input_, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw ToolError("the virtual reader does not listen");
    const std::string answer = read_line(output_);
    const std::string error = "error ";
    if (answer.starts_with(error)) throw ToolError(answer.substr(error.size()));
    if (answer != "ok") throw ToolError(answer);
}

}  // namespace desk_tool
