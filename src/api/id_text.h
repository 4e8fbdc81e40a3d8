// The text fields of an identity card in the order in which hosts read them, whatever the card's
// kind.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "api/id_reading.h"

namespace deskreader::api {

// A field that the card's kind does not have is empty.
class IdText {
  public:
    // Whether the last two fields, which only one kind of card has, always stand in the text.
    enum class Length { all_fields, fields_of_kind };

    // Enough for all fields of any card: 518 bytes, 13 separators and a terminator.
    static constexpr std::size_t room = 544;

    explicit IdText(const IdRecord& record) noexcept;

    const char* card_number() const noexcept { return fields_[5].data(); }
    const char* valid_until() const noexcept { return fields_[8].data(); }

    // Writes the fields with "|" between them, as much as fits, and a terminator; `out` must not be
    // empty. Returns the length.
    std::size_t write(Length length, std::span<char> out) const noexcept;

  private:
    static constexpr std::size_t field_count = 14;
    static constexpr std::size_t field_room = 256;  // the longest needs 242

    std::array<std::array<char, field_room>, field_count> fields_{};
    std::size_t count_of_kind_;
};

}  // namespace deskreader::api
