// A record of fields as hosts read it: a letter, three decimal digits of length, the value, and so
// on without separators. Bounded: a field that no longer fits is left out whole.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace deskreader::api {

template <std::size_t Capacity>
class TextRecord {
  public:
    static constexpr std::size_t field_header = 4;

    // False when the field does not fit.
    bool add(char letter, std::string_view value) noexcept {
        if (value.size() > 999 || field_header + value.size() > Capacity - size_) return false;
        char header[field_header + 1];
        std::snprintf(header, sizeof header, "%c%03u", letter,
                      static_cast<unsigned>(value.size()) % 1000);
        std::memcpy(text_.data() + size_, header, field_header);
        std::memcpy(text_.data() + size_ + field_header, value.data(), value.size());
        size_ += field_header + value.size();
        return true;
    }

    std::size_t size() const noexcept { return size_; }
    std::string_view text() const noexcept { return {text_.data(), size_}; }

    // Takes back what was added since the record had this size.
    void cut(std::size_t size) noexcept { size_ = size; }

  private:
    std::array<char, Capacity> text_;
    std::size_t size_ = 0;
};

}  // namespace deskreader::api
