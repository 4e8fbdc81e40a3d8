// What a command has to say: aligned lines for people, or one JSON object for programs.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <cJSON.h>

#include "errors.h"

namespace desk_tool {

class Output {
  public:
    explicit Output(bool json) : json_(json), root_(cJSON_CreateObject(), cJSON_Delete) {}

    bool json() const { return json_; }

    // One field: "label   value" at once, or "key": "value" in the object.
    void field(const char* key, const char* label, const std::string& value);
    void field(const char* key, const char* label, int value);

    // A time: "1.25 ms", or a number.
    void milliseconds(const char* key, const char* label, double value);

    // A field without a value, null for programs: people read why.
    void none(const char* key, const char* label, const std::string& why);

    // One row of a list under a key. The row's object is for programs, the line for people.
    void row(const char* key, cJSON* object, const std::string& line);

    // A line for people alone.
    void line(const std::string& text) const;

    // Text that stands for itself, line by line, as a table or a script does.
    void text(const char* key, const std::string& text);

    // What a replay found that the host did otherwise.
    void strays(const std::vector<std::string>& words);

    // How the tool is to end if nothing fails.
    void end_with(int status) { status_ = status; }
    int status() const { return status_; }

    void failure(const ReaderError& error);
    void failure(const std::string& text);

    // Prints the JSON object, if that is what is wanted. False when something could not be printed.
    bool finish();

  private:
    bool json_;
    int status_ = 0;
    std::unique_ptr<cJSON, decltype(&cJSON_Delete)> root_;
};

}  // namespace desk_tool
