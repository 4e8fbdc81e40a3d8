// Failures of the library and of the tool, as people and programs read them.
#pragma once

#include <stdexcept>
#include <string>

namespace desk_tool {

// A call of the library that did not succeed.
class ReaderError : public std::runtime_error {
  public:
    ReaderError(std::string call, int number);

    const std::string& call() const { return call_; }
    int number() const { return number_; }

  private:
    std::string call_;
    int number_;
};

// Something else that went wrong, told in words.
class ToolError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The command line, or what stands for it, makes no sense.
class MisuseError : public ToolError {
    using ToolError::ToolError;
};

// A short English name of an API number or an internal one, "error" for one without.
std::string name_of(int number);

// The library's message of an API number, in UTF-8.
std::string message_of(int number);

// The API number of an internal one; any other stays as it is. Leaves nothing in the log.
int api_number_of(int number);

// UTF-8 in the terminal's encoding, '?' for what that lacks.
std::string to_terminal(const std::string& utf8);

// Throws a ReaderError unless the result is 0. Internal numbers, which a few calls return, are
// mapped.
void check(const char* call, int result);

}  // namespace desk_tool
