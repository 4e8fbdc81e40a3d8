// One reading of an identity card, from the switch into ID mode to the card's record: what all
// functions that read such a card share.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace deskreader::api {

// The reader in ID mode and the port at the ID module's baud rate, for the length of a scope.
class IdMode {
  public:
    IdMode() noexcept;
    ~IdMode();
    IdMode(const IdMode&) = delete;
    IdMode& operator=(const IdMode&) = delete;

  private:
    long long previous_baud_;
};

// Text, photo and fingerprint block as the card gave them; zeros behind them.
using IdRecord = std::array<std::uint8_t, 4096>;

inline constexpr std::size_t max_photo_path = 260;

// What one function asks for and another does not.
struct IdReadOptions {
    int timeout_s;
    const char* photo_path = nullptr;  // refused if it is too long; null for none
    const char* path_error = nullptr;  // with this line in the log
    bool has_outputs = true;           // refused if the host gave no buffer to write to
};

// Resets the ID module. Returns an internal number, and logs a failure.
int reset_id_module() noexcept;

// Waits for a card, selects and reads it. Returns an API number; the record is that of a card only
// after 0.
int read_id_card(const IdReadOptions& options, IdRecord& record) noexcept;

}  // namespace deskreader::api
