// How functions end.
#pragma once

#include <deskreader.h>

namespace deskreader::api {

// Logs an error text and returns the number: `return fail("... Error!\r\n", status::...)`.
inline int fail(const char* text, int number) noexcept {
    GLogE("%s", text);
    return number;
}

// Ends with the API number of a result, after logging the text for a failure.
inline int finish(int result, const char* text) noexcept {
    if (result != 0) GLogE("%s", text);
    return RD_GetErrorCode(result);
}

}  // namespace deskreader::api
