// The reader on a port that a call names, open for the length of that call.
#pragma once

namespace deskreader::terminal {

// Logs the text that names a pass-through port, if it names one.
void log_extend_port(const char* extend_port) noexcept;

// "USB" is the reader on USB HID, any other text the serial device /dev/TEXT. The pass-through port
// is the first character of its text, none ('0') for a null or empty one.
class PortScope {
  public:
    PortScope(const char* port, const char* extend_port, int baud) noexcept;
    ~PortScope();
    PortScope(const PortScope&) = delete;
    PortScope& operator=(const PortScope&) = delete;

    // 0, or the API number with which the reader could not be opened.
    int status() const noexcept { return status_; }

  private:
    int status_;
};

}  // namespace deskreader::terminal
