// Readers that are made of fuzzed bytes, from the line inwards, and one that works.
#pragma once

#include <memory>
#include <utility>

#include "deck.h"
#include "desk.h"
#include "wire/request_stream.h"

namespace fuzzing {

// Raw bytes: one piece for each time that something was asked, or for each look if it babbles.
class WireEnd final : public FarEnd {
  public:
    WireEnd(Draw& draw, bool babbles) : draw_(draw), babbles_(babbles) {}

    void hear(int, View) override { is_asked_ = true; }
    Bytes speak() override;

  private:
    Draw& draw_;
    bool babbles_;
    bool is_asked_ = false;
};

// The form of a request, and what follows from it: the form of its reply.
class Dialogue {
  public:
    void hear(View bytes);

    // The form of what was asked last; none before, and once it was taken.
    std::optional<virtual_reader::Framing> take();

  private:
    virtual_reader::RequestStream stream_;
};

// True frames around fuzzed replies. A piece has a byte before it: with its first bit set the reply
// begins with the status of success, with the second one it ends with status word 90 00.
class FramedEnd final : public FarEnd {
  public:
    explicit FramedEnd(Draw& draw) : draw_(draw) {}

    void hear(int, View bytes) override { dialogue_.hear(bytes); }
    Bytes speak() override;

  private:
    Draw& draw_;
    Dialogue dialogue_;
};

// The virtual reader.
class VirtualEnd : public FarEnd {
  public:
    explicit VirtualEnd(std::unique_ptr<virtual_reader::Reader> reader)
        : reader_(std::move(reader)) {}

    void hear(int mode_id, View bytes) override;
    Bytes speak() override { return std::exchange(said_, {}); }

    virtual_reader::Reader& reader() { return *reader_; }

  private:
    static constexpr int most_requests = 5000;  // of which it has then had enough

    std::unique_ptr<virtual_reader::Reader> reader_;
    Bytes said_;
};

// It again, with a fuzzed card in its slot and one in its field. A response has a byte before it:
// with its first bit set it ends with status word 90 00.
std::unique_ptr<virtual_reader::Reader> reader_with_fuzzed_cards(Draw& draw);

// A purchase with the bank card in the slot, which its log then tells of.
void pay_once(virtual_reader::Reader& reader);

// The body of a reply in a frame; all of it for none.
Bytes body_of(virtual_reader::Framing framing, View reply);

}  // namespace fuzzing
