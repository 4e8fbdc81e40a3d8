// A scripted reader that a call finds by the name of its port, with log and configuration of its
// own.
#pragma once

#include <deskreader.h>

#include "kit/conversation.h"
#include "kit/scratch.h"

using Messages = std::vector<std::string>;

class PortDesk : public testing::TestWithParam<kit::Link> {
  protected:
    PortDesk() {
        if (GetParam() == kit::Link::hid) {
            clock_.emplace();
            reader_ = std::make_unique<kit::ScriptedHid>(&*clock_);
            port_ = "USB";
        } else {
            auto serial = std::make_unique<kit::ScriptedSerial>();
            port_ = serial->device().substr(std::string_view("/dev/").size());
            reader_ = std::move(serial);
        }
        DC_Init(&context);
    }

    // The messages of the call itself: without those of the commands on the wire and of the rates.
    Messages messages() const {
        Messages out;
        for (const std::string& message : log_.messages()) {
            const bool below = message.starts_with("Info:Send ") ||
                               message.starts_with("Info:Read Pack") ||
                               message.starts_with("Info:iBaud");
            if (!below) out.push_back(message);
        }
        return out;
    }

    kit::ConfigFile config_;
    kit::LogFile log_;
    std::optional<kit::FakeClock> clock_;
    std::unique_ptr<kit::ScriptedReader> reader_;
    std::string port_;
};
