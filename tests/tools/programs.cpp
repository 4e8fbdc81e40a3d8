#include "tool_process.h"

namespace tool_tests {

const char* const tool_program = TOOL;
const char* const virtual_reader_program = VIRTUAL_READER;

}  // namespace tool_tests
