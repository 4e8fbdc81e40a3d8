// A card in a scripted reader: rows of APDU and response, in the IC frame on the test bus.
#pragma once

#include "kit/conversation.h"
#include "kit/frames.h"
#include "kit/scratch.h"

namespace kit {

class CardDesk {
  public:
    CardDesk() { prepare_hid(&context); }

    // One exchange with the contact card, or the contactless one.
    void expect(const char* command, const char* response) {
        add({0xE3, 0x01}, command, join({{0x00}, hex(response)}));
    }
    void expect_contactless(const char* command, const char* response) {
        add({0xD3}, command, join({{0x00}, hex(response)}));
    }

    // One exchange in which the reader answers with a status of its own.
    void expect_status(const char* command, std::uint8_t status) {
        add({0xE3, 0x01}, command, {status});
    }

    void verify() { reader_.verify(); }
    FakeClock& clock() { return clock_; }
    ScriptedHid& reader() { return reader_; }
    ConfigFile& config() { return config_; }

  private:
    void add(const Bytes& code, const char* command, const Bytes& reply) {
        reader_.expect(2, ic_frame(join({code, hex(command)})), ic_frame(reply));
    }

    ConfigFile config_;
    FakeClock clock_;
    ScriptedHid reader_{&clock_};
};

// What a function wrote into a buffer whose length it tells.
struct Output {
    int result = 0;
    int length = -7;  // -7: not written
    Bytes bytes;

    std::string text() const { return to_hex(bytes); }
};

template <class Function>
Output output_of(Function function, std::size_t room = 512) {
    Output output{0, -7, Bytes(room + 1, '#')};
    output.result = function(output.bytes.data(), &output.length);
    EXPECT_EQ(output.bytes[room], '#') << "written past the documented room";
    output.bytes.resize(output.length < 0 ? 0 : static_cast<std::size_t>(output.length));
    return output;
}

}  // namespace kit
