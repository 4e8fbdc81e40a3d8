// What the tests of the identity card functions read, and what they make of it.
#pragma once

#include <deskreader.h>

#include "kit/id_desk.h"
#include "kit/id_text.h"
#include "kit/scratch.h"

namespace id_reads {

using kit::Bytes;
using kit::foreign_fields;
using kit::gat_fields;
using kit::gb;
using kit::hex;
using kit::resident_fields;
using Messages = std::vector<std::string>;

// What a read wrote into buffers of the documented size.
struct Read {
    int result = 0;
    int length = -7;  // -7: not written
    std::string buffer = std::string(545, '#');

    std::string text() const { return buffer.c_str(); }
    bool is_untouched() const { return length == -7 && buffer == std::string(545, '#'); }
};

inline Read read_info(const char* path = nullptr, int timeout_s = 5) {
    Read read;
    read.result = RD_ReadIdInfo(path, 0, read.buffer.data(), &read.length, nullptr, 0, nullptr,
                                nullptr, timeout_s);
    EXPECT_EQ(read.buffer[544], '#') << "written past the documented room";
    return read;
}

inline Read read_pic(const char* path = nullptr, int timeout_s = 5) {
    Read read;
    read.result = RD_ReadIdInfo_Pic(path, 0, read.buffer.data(), &read.length, timeout_s);
    return read;
}

inline Read read_images(const char* path = nullptr, int timeout_s = 5) {
    Read read;
    char front[4] = "fff";
    char back[4] = "bbb";
    read.result =
        RD_ReadIdInfo_Pic_FB(path, 0, read.buffer.data(), &read.length, front, back, timeout_s);
    EXPECT_STREQ(front, read.result == 0 ? "" : "fff");
    EXPECT_STREQ(back, read.result == 0 ? "" : "bbb");
    return read;
}

// The messages of the library without those about traffic.
inline Messages own_messages(const kit::LogFile& log) {
    Messages messages;
    for (const std::string& message : log.messages()) {
        const bool is_traffic =
            message.starts_with("Info:Send ") || message.starts_with("Info:Read Pack") ||
            message.starts_with("Info:iBaud") || message.starts_with("Info:context.refCnt");
        if (!is_traffic) messages.push_back(message);
    }
    return messages;
}

}  // namespace id_reads
