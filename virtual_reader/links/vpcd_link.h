// A card of the reader in the hands of PC/SC programs: the card's side of vpcd (see
// vpcd/connection.h). While there is no card at its place, or the reader is unplugged, there is no
// connection either, so a PC/SC program sees cards come and go as they do.
//
// Faults spoil the answers to commands, with their length in front; what the card answers to reset
// is left alone, because PC/SC asks for it several times a second.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "links/link.h"
#include "links/output_queue.h"
#include "vpcd/connection.h"
#include "vpcd/door.h"

namespace virtual_reader {

class VpcdLink final : public Link {
  public:
    VpcdLink(std::unique_ptr<Door> door, Place place) : door_(std::move(door)), place_(place) {}

    // Where the card that is to be served is; slot 0 for no name. Throws std::invalid_argument for
    // one that is not in, or that has no APDUs to answer.
    static Place place_of(const std::string& card, const Reader& reader);

    // "vpcd:HOST:PORT"
    std::string place() const override { return "vpcd:" + text_of(door_->address()); }
    int descriptor() const override { return connection_ ? connection_->descriptor() : -1; }
    bool serve(Reader& reader) override;

  private:
    bool follow_card(Reader& reader);
    bool connect(Reader& reader);
    void disconnect(Reader& reader);
    void answer(Reader& reader, View message);
    void control(Reader& reader, std::uint8_t message);
    void write_due();

    std::unique_ptr<Door> door_;
    Place place_;
    std::optional<VpcdConnection> connection_;
    OutputQueue output_;
    Bytes answer_to_reset_;
    int insertion_ = 0;  // of the card that is connected; 0 without one
    int replugs_ = 0;
};

}  // namespace virtual_reader
