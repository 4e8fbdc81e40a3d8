// The tool and the virtual reader as a person or a script runs them.
#pragma once

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <cJSON.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tool_tests {

// Where the programs were built.
extern const char* const tool_program;
extern const char* const virtual_reader_program;
extern const char* const reader_library;      // libdeskreader.so.2
extern const char* const record_companion;    // libdeskreader_record.so
extern const char* const usb_reader_library;  // see usb_reader.cpp

struct Finished {
    int status = -1;  // exit status, or 128 and the signal
    std::string output;
    std::string errors;
};

inline std::string read_all(int file) {
    std::string text;
    std::array<char, 1024> bytes;
    for (ssize_t count; (count = read(file, bytes.data(), bytes.size())) > 0;)
        text.append(bytes.data(), static_cast<std::size_t>(count));
    close(file);
    return text;
}

// Variables of a program's environment, and the kind of its standard output.
struct Surroundings {
    std::vector<std::pair<const char*, const char*>> variables = {{"LC_ALL", "C.UTF-8"}};
    bool terminal = false;
    bool errors_on_terminal = false;    // standard error
    const char* output_file = nullptr;  // standard output goes there
};

// Both ends of a pipe, or of a terminal's output.
inline std::array<int, 2> channel(bool terminal) {
    std::array<int, 2> ends{};
    EXPECT_EQ(terminal ? openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) : pipe(ends.data()),
              0);
    return ends;
}

// A program under way.
class Process {
  public:
    Process(const char* program, std::vector<std::string> arguments,
            const Surroundings& surroundings = {}) {
        const auto input = channel(false);
        const auto output = channel(surroundings.terminal);
        const auto errors = channel(surroundings.errors_on_terminal);
        child_ = fork();
        if (child_ == 0) {
            setpgid(0, 0);
            dup2(input[0], STDIN_FILENO);
            dup2(output[1], STDOUT_FILENO);
            dup2(errors[1], STDERR_FILENO);
            for (const auto& ends : {input, output, errors}) {
                close(ends[0]);
                close(ends[1]);
            }
            if (surroundings.output_file != nullptr)
                dup2(open(surroundings.output_file, O_WRONLY), STDOUT_FILENO);
            for (const auto& [name, value] : surroundings.variables)
                setenv(name, value, 1);
            become(program, arguments);
        }
        close(input[0]);
        close(output[1]);
        close(errors[1]);
        input_ = input[1];
        output_ = output[0];
        errors_ = errors[0];
    }

    void signal(int number) const { kill(child_, number); }

    // Also to the processes that it started, as a terminal does.
    void signal_group(int number) const { kill(-child_, number); }

    // One line to its standard input, and one from its standard output.
    void write_line(const std::string& text) const {
        const std::string line = text + "\n";
        EXPECT_EQ(write(input_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }
    std::string read_line() const {
        std::string line;
        for (char byte = 0; read(output_, &byte, 1) == 1 && byte != '\n';)
            line += byte;
        return line;
    }

    // What comes next on its standard error, at the latest when it ends.
    std::string read_some_errors() const {
        std::array<char, 256> bytes;
        const ssize_t count = read(errors_, bytes.data(), bytes.size());
        return {bytes.data(), static_cast<std::size_t>(count < 0 ? 0 : count)};
    }

    // Ends its input and waits for its end.
    Finished finish() {
        Finished run;
        close(input_);
        run.output = read_all(output_);
        run.errors = read_all(errors_);
        int state = 0;
        waitpid(child_, &state, 0);
        run.status = WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
        return run;
    }

  private:
    [[noreturn]] static void become(const char* program, std::vector<std::string>& arguments) {
        std::vector<char*> pointers = {const_cast<char*>(program)};
        for (std::string& argument : arguments)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        execv(program, pointers.data());
        _exit(127);
    }

    pid_t child_;
    int input_;
    int output_;
    int errors_;
};

inline Finished tool(std::vector<std::string> arguments, const Surroundings& surroundings = {}) {
    return Process(tool_program, std::move(arguments), surroundings).finish();
}

// The tool with a virtual reader of its own.
inline Finished virtual_tool(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--virtual");
    return tool(std::move(arguments));
}

using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

inline Json json(const Finished& run) {
    return {cJSON_Parse(run.output.c_str()), cJSON_Delete};
}

inline Json virtual_json(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--json");
    return json(virtual_tool(std::move(arguments)));
}

inline const cJSON* item(const cJSON* object, const char* key) {
    return cJSON_GetObjectItemCaseSensitive(object, key);
}

// A text or a number as a text.
inline std::string text(const cJSON* object, const char* key) {
    const cJSON* value = item(object, key);
    if (cJSON_IsNumber(value)) return std::to_string(value->valueint);
    if (cJSON_IsNull(value)) return "(null)";
    const char* found = cJSON_GetStringValue(value);
    return found == nullptr ? "(none)" : found;
}
inline std::string text(const Json& object, const char* key) {
    return text(object.get(), key);
}

// Of the error in an object.
inline std::string error(const Json& object, const char* key) {
    return text(item(object.get(), "error"), key);
}

class Deck {
  public:
    explicit Deck(const std::string& json)
        : path_(std::filesystem::temp_directory_path() /
                ("deskreader-deck-" + std::to_string(getpid()) + ".json")) {
        std::ofstream(path_) << json;
    }
    ~Deck() { std::filesystem::remove(path_); }
    Deck(const Deck&) = delete;
    Deck& operator=(const Deck&) = delete;

    std::string path() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

// A deck without cards: a reader in which nothing is found.
inline Deck empty_deck() {
    return Deck("{}");
}

// A virtual reader that stays while the tool comes and goes.
class Desk {
  public:
    explicit Desk(const std::vector<std::string>& arguments = {})
        : process_(virtual_reader_program, arguments), device_(process_.read_line()) {}
    ~Desk() { process_.finish(); }
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    const std::string& device() const { return device_; }

    void tell(const std::string& line) const {
        process_.write_line(line);
        EXPECT_EQ(process_.read_line(), "ok");
    }
    void insert(const std::string& card) const { tell("insert " + card); }

    Finished run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"--port", device_});
        return tool(std::move(arguments));
    }

  private:
    Process process_;
    std::string device_;
};

}  // namespace tool_tests
