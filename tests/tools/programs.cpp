#include "tool_process.h"

namespace tool_tests {

const char* const tool_program = TOOL;
const char* const virtual_reader_program = VIRTUAL_READER;
const char* const reader_library = READER_LIBRARY;
const char* const record_companion = RECORD_COMPANION;
const char* const usb_reader_library = USB_READER_LIBRARY;

}  // namespace tool_tests
