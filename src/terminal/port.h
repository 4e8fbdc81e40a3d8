// The reader on a port that a host terminal names, open for one call.
#pragma once

#include <deskreader.h>

namespace deskreader::terminal {

class Port {
  public:
    // "USB" is the USB HID reader, any other text a serial device under /dev.
    Port(const char* name, char extend_character, int baud) noexcept;
    ~Port() { close(); }
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    // What RD_Open said.
    int result() const noexcept { return result_; }

    void close() noexcept;

    // Leaves the reader open at the end of the scope.
    void keep_open() noexcept { is_open_ = false; }

  private:
    int result_;
    bool is_open_;
};

// The character that selects the reader's pass-through port: the first of the text, which is then
// logged; '0', for none, without a text.
char extend_character(const char* extend_port) noexcept;

// A text for the log: null pointers read as empty.
inline const char* shown(const char* text) noexcept {
    return text == nullptr ? "" : text;
}

}  // namespace deskreader::terminal
