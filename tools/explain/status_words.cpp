#include "status_words.h"

#include <algorithm>
#include <iterator>

namespace explain {
namespace {

struct StatusWord {
    std::uint16_t word;
    const char* name;
};

constexpr StatusWord status_words[] = {
    {0x9000, "done"},
    {0x6200, "warning: nothing is said, memory unchanged"},
    {0x6281, "warning: part of the data may be corrupted"},
    {0x6282, "warning: end of file or record before all bytes were read"},
    {0x6283, "warning: selected file or application is blocked"},
    {0x6284, "warning: file control information is not in the right form"},
    {0x6285, "warning: selected file is in termination state"},
    {0x6286, "warning: no input data from a sensor"},
    {0x6300, "warning: nothing is said, or authentication failed"},
    {0x6381, "warning: file filled up by the last write"},
    {0x6400, "execution error, memory unchanged"},
    {0x6401, "the card wants an answer first"},
    {0x6500, "execution error, memory changed"},
    {0x6581, "memory failure"},
    {0x6600, "security issue"},
    {0x6700, "wrong length"},
    {0x6800, "function in the class not supported"},
    {0x6881, "logical channel not supported"},
    {0x6882, "secure messaging not supported"},
    {0x6883, "last command of the chain expected"},
    {0x6884, "command chaining not supported"},
    {0x6900, "command not allowed"},
    {0x6901, "command not accepted in this state"},
    {0x6981, "command incompatible with the file's structure"},
    {0x6982, "security status not satisfied"},
    {0x6983, "authentication method (PIN) blocked"},
    {0x6984, "reference data not usable"},
    {0x6985, "conditions of use not satisfied"},
    {0x6986, "command not allowed, no file selected"},
    {0x6987, "secure messaging data objects missing"},
    {0x6988, "secure messaging data objects wrong"},
    {0x6A00, "wrong parameters P1 P2"},
    {0x6A80, "wrong data"},
    {0x6A81, "function not supported"},
    {0x6A82, "file or application not found"},
    {0x6A83, "record not found"},
    {0x6A84, "not enough memory in the file"},
    {0x6A85, "length does not fit the structure of the data"},
    {0x6A86, "wrong parameters P1 P2"},
    {0x6A87, "length does not fit P1 P2"},
    {0x6A88, "referenced data not found"},
    {0x6A89, "file exists already"},
    {0x6A8A, "name of the application exists already"},
    {0x6B00, "wrong parameters P1 P2, or offset beyond the file"},
    {0x6D00, "instruction not supported"},
    {0x6E00, "class not supported"},
    {0x6F00, "error without a reason"},
    {0x9302, "wrong message authentication code (PBOC)"},
    {0x9303, "application permanently blocked (PBOC)"},
    {0x9401, "not enough money (PBOC)"},
    {0x9402, "transaction counter at its end (PBOC)"},
    {0x9403, "key index not supported (PBOC)"},
    {0x9406, "no message authentication code available (PBOC)"},
};

std::string bytes_text(int count) {
    constexpr int all = 256;
    return std::to_string(count == 0 ? all : count);
}

}  // namespace

std::string status_word_name(std::uint16_t word) {
    const auto* row = std::ranges::find(status_words, word, &StatusWord::word);
    if (row != std::end(status_words)) return row->name;
    const int second = word & 0xFF;
    if (word >> 8 == 0x61) return "done, " + bytes_text(second) + " bytes more with GET RESPONSE";
    if (word >> 8 == 0x6C) return "wrong Le, " + bytes_text(second) + " is right";
    if (word >> 4 == 0x63C) {
        const int tries = second & 0x0F;
        return "warning: failed, " + std::to_string(tries) + (tries == 1 ? " try" : " tries") +
               " left";
    }
    return {};
}

}  // namespace explain
