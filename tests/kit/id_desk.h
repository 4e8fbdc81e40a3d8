// The ID module in a scripted reader: the steps of reading an identity card, as rows over either
// link.
#pragma once

#include "kit/conversation.h"
#include "kit/frames.h"
#include "kit/id_record.h"

namespace kit {

// The blocks of a record with this picture as the photo.
inline Bytes with_photo(const IdRecord& record, const Bytes& picture) {
    Bytes blocks = record.bytes();
    blocks.resize(2304);
    std::copy(picture.begin(), picture.end(), blocks.begin() + 256);
    return blocks;
}

class IdModule {
  public:
    // The reader is that of the link; over USB HID modes are switched at 115200 baud.
    IdModule(ScriptedReader& reader, Link link) : reader_(reader), link_(link) {}

    void expect_id_mode() {
        const char* command = link_ == Link::hid ? "1B 24 53 34" : "1B 24 53 30";
        expect_mode(hex(command), hex("53 00"));
    }
    void expect_normal_mode() { expect_mode(hex("1B 24 42 30"), hex("42 00")); }

    // Any mode command. A serial line is read too shortly for an answer.
    void expect_mode(const Bytes& command, const Bytes& answer) {
        if (link_ == Link::hid) {
            reader_.expect(1, command, answer);
        } else {
            reader_.expect_silence(1, command);
        }
    }

    // One command of the module: status and data of its reply.
    void expect(const char* command, const Bytes& reply) {
        reader_.expect(2, id_frame(hex(command)), id_frame(reply));
    }
    void expect(const char* command, const char* reply) { expect(command, hex(reply)); }

    void expect_reset() { expect("10 FF", "00 00 90"); }
    void expect_card_found() { expect("20 01", "00 00 9F 00 00 00 00"); }
    void expect_no_card() { expect("20 01", "00 00 80"); }
    void expect_selection() { expect("20 02", "00 00 90 00 00 00 00 00 00 00 00"); }

    // Everything before the blocks are read.
    void expect_approach() {
        expect_id_mode();
        expect_reset();
        expect_card_found();
        expect_selection();
    }

    // The read with fingerprint.
    void expect_blocks(const Bytes& blocks) {
        expect("30 10", join({hex("00 00 90 0100 0400 0400"), blocks}));
    }

    // The whole reading of a card.
    void expect_card(const Bytes& blocks) {
        expect_approach();
        expect_blocks(blocks);
        expect_normal_mode();
    }

  private:
    ScriptedReader& reader_;
    Link link_;
};

}  // namespace kit
