// A card in a scripted reader: rows of APDU and response, over either link and in either frame.
#pragma once

#include "kit/conversation.h"
#include "kit/frames.h"
#include "kit/scratch.h"
#include "kit/way.h"

namespace kit {

class CardDesk {
  public:
    explicit CardDesk(const Way& way) : way_(way), config_(way.config()), desk_(way.link) {}

    // One exchange with the contact card, or the contactless one.
    void expect(const char* command, const char* response) {
        add(contact_exchange(), command, succeeded(hex(response)));
    }
    void expect_contactless(const char* command, const char* response) {
        add(field_exchange(), command, succeeded(hex(response)));
    }

    // One exchange with a contact card that is not there, or that failed.
    void expect_absent(const char* command) { add(contact_exchange(), command, absent()); }
    void expect_failed(const char* command) { add(contact_exchange(), command, failed()); }

    // The power of the contact card.
    void expect_power_on(const char* answer = "3B 00") {
        add(power_on(), "", succeeded(hex(answer)));
    }
    // A status that nobody documented: RD_IcPowerOn gives 1 in the IC frame, -99 in the other one.
    void expect_power_on_refused() {
        add(power_on(), "", in_ic_frame() ? hex("C3") : hex("77 77"));
    }
    void expect_power_off() { add(power_off(), "", succeeded({})); }

    // That of the contactless card.
    void expect_field_power_on(const char* answer = "04 00") {
        add(in_ic_frame() ? hex("D1") : hex("32 24 00 00"), "", succeeded(hex(answer)));
    }
    void expect_field_power_off() {
        add(in_ic_frame() ? hex("D2") : hex("32 25 00 00"), "", succeeded({}));
    }

    void verify() { desk_->verify(); }
    const Way& way() const { return way_; }
    const ConfigFile& config() const { return config_; }

    // Talks the other frame from now on.
    void expect_other_frame() { way_.iccmd = 1 - way_.iccmd; }

    const std::string& port_name() const { return desk_.port_name(); }
    ScriptedReader& reader() { return *desk_; }

  private:
    bool in_ic_frame() const { return way_.iccmd == 0; }
    Bytes contact_exchange() const { return in_ic_frame() ? hex("E3 01") : hex("32 26 00"); }
    Bytes field_exchange() const { return in_ic_frame() ? hex("D3") : hex("32 26 FF"); }
    Bytes power_on() const { return in_ic_frame() ? hex("E1 01") : hex("32 22 00 00 00"); }
    Bytes power_off() const { return in_ic_frame() ? hex("E2 01") : hex("32 23 00"); }
    Bytes absent() const { return in_ic_frame() ? hex("FB") : hex("10 02"); }
    Bytes failed() const { return in_ic_frame() ? hex("A2") : hex("10 01"); }
    Bytes succeeded(const Bytes& data) const {
        return join({in_ic_frame() ? hex("00") : hex("00 00"), data});
    }

    void add(const Bytes& code, const char* command, const Bytes& reply) {
        const auto frame = in_ic_frame() ? ic_frame : union_frame;
        desk_->expect(2, frame(join({code, hex(command)})), frame(reply));
    }

    Way way_;
    ConfigFile config_;
    ScriptedDesk desk_;
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
