#include "far_ends.h"

#include "wire/reply.h"

namespace fuzzing {
namespace {

using virtual_reader::Framing;

constexpr unsigned with_status = 1;  // of the byte before a framed piece
constexpr unsigned with_status_word = 2;
constexpr unsigned card_with_status_word = 1;  // of the byte before a card's response

constexpr std::size_t longest_ic_body = 334;
constexpr std::size_t longest_body = 4000;

void append(Bytes& to, std::initializer_list<std::uint8_t> bytes) {
    to.insert(to.end(), bytes);
}

Bytes status_of(Framing framing) {
    switch (framing) {
        case Framing::ic_frame:
            return {0x00};
        case Framing::union_frame:
            return {0x00, 0x00};
        case Framing::id_frame:
            return {0x00, 0x00, 0x90};
        case Framing::escape:
            return {0x1B, 's'};
    }
    return {};
}

Bytes in_frame(Framing framing, Bytes body) {
    body.resize(
        std::min(body.size(), framing == Framing::ic_frame ? longest_ic_body : longest_body));
    switch (framing) {
        case Framing::ic_frame:
            return virtual_reader::ic_reply(body);
        case Framing::union_frame:
            return virtual_reader::union_reply(body);
        case Framing::id_frame:
            return virtual_reader::id_reply(body);
        case Framing::escape:
            break;
    }
    return body;
}

class FuzzedCard final : public virtual_reader::Card {
  public:
    FuzzedCard(Draw& draw, std::string name, bool contactless)
        : draw_(draw), name_(std::move(name)), contactless_(contactless) {}

    const std::string& name() const override { return name_; }
    bool contactless() const override { return contactless_; }
    Bytes power_on() override { return draw_.piece(); }
    void power_off() override {}
    Bytes transmit(View) override {
        const unsigned form = draw_.byte();
        Bytes response = draw_.piece();
        if ((form & card_with_status_word) != 0) append(response, {0x90, 0x00});
        return response;
    }

  private:
    Draw& draw_;
    std::string name_;
    bool contactless_;
};

// Characters '0' + nibble, or hexadecimal digits.
Bytes packed(View text) {
    const auto value = [](std::uint8_t c) { return c > '?' ? c - 'A' + 10 : c - '0'; };
    Bytes bytes;
    for (; text.size() >= 2; text = text.subspan(2))
        bytes.push_back(static_cast<std::uint8_t>(value(text[0]) << 4 | value(text[1])));
    return bytes;
}

Bytes without(const Bytes& bytes, std::size_t before, std::size_t after) {
    if (bytes.size() < before + after) return {};
    return {bytes.begin() + static_cast<std::ptrdiff_t>(before),
            bytes.end() - static_cast<std::ptrdiff_t>(after)};
}

}  // namespace

Bytes WireEnd::speak() {
    if (!std::exchange(is_asked_, babbles_)) return {};
    return draw_.piece();
}

void Dialogue::hear(View bytes) {
    if (!bytes.empty() && (bytes[0] == 0xAA || bytes[0] == '6' || bytes[0] == 0x02))
        stream_.listen_for_id(bytes[0] == 0xAA);
    stream_.feed(bytes);
}

std::optional<Framing> Dialogue::take() {
    std::optional<Framing> last;
    while (const auto request = stream_.next())
        last = request->framing;
    return last;
}

Bytes FramedEnd::speak() {
    const auto framing = dialogue_.take();
    if (!framing || draw_.is_empty()) return {};
    const unsigned form = draw_.byte();
    Bytes body = draw_.piece();
    if ((form & with_status) != 0) {
        const Bytes status = status_of(*framing);
        body.insert(body.begin(), status.begin(), status.end());
    }
    if ((form & with_status_word) != 0) append(body, {0x90, 0x00});
    return in_frame(*framing, std::move(body));
}

void VirtualEnd::hear(int mode_id, View bytes) {
    if (reader_->counts().requests > most_requests) return;
    const Bytes answer = mode_id < 0
                             ? reader_->receive_serial(bytes)
                             : reader_->receive_usb(static_cast<std::uint8_t>(mode_id), bytes);
    virtual_reader::append(said_, answer);
}

std::unique_ptr<virtual_reader::Reader> reader_with_fuzzed_cards(Draw& draw) {
    auto reader = std::make_unique<virtual_reader::Reader>();
    for (const bool contactless : {false, true}) {
        const std::string name = contactless ? "field" : "slot";
        reader->ic().add(std::make_unique<FuzzedCard>(draw, name, contactless));
        reader->ic().insert(name);
    }
    return reader;
}

void pay_once(virtual_reader::Reader& reader) {
    constexpr virtual_reader::Place slot{false, 0};
    reader.ic().power_on(slot);
    for (const char* command : {"00A4040008A000000333010101",
                                // E-cash support, amount and currency.
                                "80A800000B8309010000000012340156",
                                // What the first list of the card asks for: paid without asking.
                                "80AE400034000000001234000000000000015600000008000156261121"
                                "01A1B2C3D41015304445534B2053484F500000000000000000000000"})
        reader.ic().transmit(slot, virtual_reader::from_hex(command));
    reader.ic().power_off(slot);
}

Bytes body_of(Framing framing, View reply) {
    const Bytes bytes(reply.begin(), reply.end());
    constexpr std::size_t end_mark = 1;
    constexpr std::size_t check = 1;
    switch (framing) {
        case Framing::ic_frame: {
            const Bytes frame = packed(without(bytes, 0, end_mark));
            const bool is_long = frame.size() > 1 && frame[1] == 0xFF;
            return without(frame, is_long ? 3 : 2, check);
        }
        case Framing::union_frame:
            return without(packed(without(bytes, 1, end_mark)), 2, check);
        case Framing::id_frame:
            return without(bytes, 7, check);
        case Framing::escape:
            break;
    }
    return bytes;
}

}  // namespace fuzzing
