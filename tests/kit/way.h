// The ways in which a card can be reached: over either link, in either IC command frame.
#pragma once

#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "kit/conversation.h"

namespace kit {

struct Way {
    Link link = Link::hid;
    int iccmd = 0;  // of config.ini: 0 IC frame, 1 Union frame

    std::string config() const { return "[devcfg]\nIccmd=" + std::to_string(iccmd) + "\n"; }
};

inline void PrintTo(const Way& way, std::ostream* stream) {
    *stream << (way.link == Link::hid ? "HID" : "serial") << ", Iccmd " << way.iccmd;
}

inline std::string way_name(const testing::TestParamInfo<Way>& info) {
    return std::string(info.param.link == Link::hid ? "Hid" : "Serial") +
           (info.param.iccmd == 0 ? "IcFrame" : "UnionFrame");
}

// For INSTANTIATE_TEST_SUITE_P(Ways, X, kit::every_way, kit::way_name).
inline const auto every_way = testing::Values(Way{Link::hid, 0}, Way{Link::hid, 1},
                                              Way{Link::serial, 0}, Way{Link::serial, 1});

}  // namespace kit
