// Lines out of bytes that come in any pieces.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace virtual_reader {

constexpr std::size_t longest_line = 4096;

class TextLines {
  public:
    void feed(std::string_view text) { held_ += text; }

    // Nothing more comes: what is there is a line, too.
    void end() {
        if (!held_.empty()) held_ += '\n';
    }

    std::optional<std::string> next() {
        const std::size_t end = held_.find('\n');
        if (end == std::string::npos) return std::nullopt;
        std::string line = held_.substr(0, end);
        held_.erase(0, end + 1);
        return line;
    }

    // Whether a line has begun that is longer than any command.
    bool is_too_long() const { return held_.size() > longest_line; }

  private:
    std::string held_;
};

}  // namespace virtual_reader
