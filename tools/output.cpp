#include "output.h"

#include <cstdio>

#include <fmt/core.h>

#include "live_line.h"

namespace desk_tool {

namespace {

void print(const std::string& text) {
    live_line::clear();
    std::fputs(text.c_str(), stdout);
}

}  // namespace

void Output::field(const char* key, const char* label, const std::string& value) {
    if (json_) {
        cJSON_AddStringToObject(root_.get(), key, value.c_str());
    } else {
        print(fmt::format("{:<16}{}\n", label, to_terminal(value)));
    }
}

void Output::field(const char* key, const char* label, int value) {
    if (json_) {
        cJSON_AddNumberToObject(root_.get(), key, value);
    } else {
        print(fmt::format("{:<16}{}\n", label, value));
    }
}

void Output::milliseconds(const char* key, const char* label, double value) {
    if (json_) {
        cJSON_AddNumberToObject(root_.get(), key, value);
    } else {
        print(fmt::format("{:<16}{:.2f} ms\n", label, value));
    }
}

void Output::none(const char* key, const char* label, const std::string& why) {
    if (json_) {
        cJSON_AddNullToObject(root_.get(), key);
    } else {
        print(fmt::format("{:<16}({})\n", label, why));
    }
}

void Output::row(const char* key, cJSON* object, const std::string& text) {
    cJSON* list = cJSON_GetObjectItemCaseSensitive(root_.get(), key);
    if (list == nullptr) list = cJSON_AddArrayToObject(root_.get(), key);
    cJSON_AddItemToArray(list, object);
    line(text);
}

void Output::line(const std::string& text) const {
    if (json_) return;
    print(to_terminal(text) + "\n");
    std::fflush(stdout);
}

void Output::text(const char* key, const std::string& text) {
    if (json_) {
        cJSON_AddStringToObject(root_.get(), key, text.c_str());
    } else {
        print(to_terminal(text));
    }
}

void Output::strays(const std::vector<std::string>& words) {
    live_line::clear();
    cJSON* list = json_ ? cJSON_AddArrayToObject(root_.get(), "strays") : nullptr;
    for (const std::string& line : words) {
        if (json_) {
            cJSON_AddItemToArray(list, cJSON_CreateString(line.c_str()));
        } else {
            fmt::print(stderr, "deskreader: replay: {}\n", line);
        }
    }
}

void Output::failure(const ReaderError& error) {
    live_line::clear();
    const std::string message = message_of(error.number());
    if (json_) {
        cJSON* object = cJSON_AddObjectToObject(root_.get(), "error");
        cJSON_AddStringToObject(object, "call", error.call().c_str());
        cJSON_AddNumberToObject(object, "number", error.number());
        cJSON_AddStringToObject(object, "name", name_of(error.number()).c_str());
        cJSON_AddStringToObject(object, "message", message.c_str());
    } else {
        fmt::print(stderr, "deskreader: {}: {} {} ({})\n", error.call(), error.number(),
                   name_of(error.number()), to_terminal(message));
    }
}

void Output::failure(const std::string& text) {
    live_line::clear();
    if (json_) {
        cJSON_AddStringToObject(cJSON_AddObjectToObject(root_.get(), "error"), "message",
                                text.c_str());
    } else {
        fmt::print(stderr, "deskreader: {}\n", text);
    }
}

bool Output::finish() {
    if (json_) {
        const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(root_.get()),
                                                                cJSON_free);
        std::printf("%s\n", text.get());
    }
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
    std::fputs("deskreader: the output could not be written\n", stderr);
    return false;
}

}  // namespace desk_tool
