// The fields of the invented identity cards (kit/id_record.h) as hosts get them.
#pragma once

#include <string>

#include "kit/bytes.h"

namespace kit {

// GB 18030 text, given by its bytes.
inline std::string gb(const char* text) {
    const Bytes bytes = hex(text);
    return {bytes.begin(), bytes.end()};
}

inline const std::string resident_fields =
    gb("D5C5C8FDB7E1") + "|" + gb("C4D0") + "|" + gb("BABA") + "|19800229|" +
    gb("B1B1BEA9CAD0B6ABB3C7C7F831BAC5") + "|11010119800229001X|" + gb("B1B1BEA9CAD0B9ABB0B2BED6") +
    "|20150301|20350301|N||";
inline const std::string gat_fields =
    gb("C0EECBC4") + "|" + gb("C5AE") + "||19910815|" + gb("C9EEDBDACAD0") +
    "|810000199108150020|" + gb("C9EEDBDACAD0B9ABB0B2BED6") + "|20190102|20240102|J|||H0123456|02";
inline const std::string foreign_fields =
    "SMITH JOHN|" + gb("C4D0") + "|" + gb("BCD3C4C3B4F32F43414E") +
    "|19780515||CAN110078051501|1500|20180706|20280706|I|" + gb("CAB7C3DCCBB9") + "|01";

}  // namespace kit
