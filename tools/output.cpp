#include "output.h"

#include <cstdio>

#include <fmt/core.h>

namespace desk_tool {

void Output::field(const char* key, const char* label, const std::string& value) {
    if (json_) {
        cJSON_AddStringToObject(root_.get(), key, value.c_str());
    } else {
        fmt::print("{:<16}{}\n", label, to_terminal(value));
    }
}

void Output::field(const char* key, const char* label, int value) {
    if (json_) {
        cJSON_AddNumberToObject(root_.get(), key, value);
    } else {
        fmt::print("{:<16}{}\n", label, value);
    }
}

void Output::none(const char* key, const char* label, const std::string& why) {
    if (json_) {
        cJSON_AddNullToObject(root_.get(), key);
    } else {
        fmt::print("{:<16}({})\n", label, why);
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
    fmt::print("{}\n", to_terminal(text));
    std::fflush(stdout);
}

void Output::failure(const ReaderError& error) {
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
