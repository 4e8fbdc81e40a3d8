// What is said of bytes, as the tool prints it.
#pragma once

#include <string>
#include <string_view>

#include "bytes.h"
#include "explain/decode.h"

namespace explain_tests {

inline std::string lines(explain::Kind kind, std::string_view hex) {
    return explain::as_text(explain::explain(bytes(hex), kind), false);
}

inline std::string objects(std::string_view hex) {
    return lines(explain::Kind::objects, hex);
}

inline std::string found(std::string_view hex) {
    const auto kind = explain::likely_kind(bytes(hex));
    return kind ? explain::name_of(*kind) : "nothing";
}

}  // namespace explain_tests
