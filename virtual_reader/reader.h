// The whole device: what it is told over a line, what it answers. It knows nothing of time and is
// used by one thread at a time; links drive it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "faults/script.h"
#include "ic_module.h"
#include "id_module.h"
#include "magnetic_module.h"
#include "wire/request_stream.h"

namespace virtual_reader {

struct ReaderSettings {
    std::string information = "DESK READER VIRTUAL 1.0";
    std::string serial_number = "DR2026000001";  // at most 32 characters
    int baud = 9600;
    // The two-byte answer to a mode command comes over USB always; a serial host seldom waits for
    // it and would find it before its next reply.
    bool answer_mode_on_serial = false;
};

// What has happened to the device.
struct ReaderCounts {
    int requests = 0;
    int beeps = 0;
    int resets = 0;
    int device_resets = 0;
    int misaddressed = 0;  // requests under a mode id of another module
    int unknown = 0;       // commands that the device does not know
};

class Reader {
  public:
    explicit Reader(ReaderSettings settings = {})
        : settings_(std::move(settings)), baud_(settings_.baud) {}

    IcModule& ic() { return ic_; }
    const IcModule& ic() const { return ic_; }
    MagneticModule& magnetic() { return magnetic_; }
    const MagneticModule& magnetic() const { return magnetic_; }
    IdModule& id() { return id_; }
    const IdModule& id() const { return id_; }

    // What the links do to its answers on the way.
    FaultScript& faults() { return faults_; }
    const FaultScript& faults() const { return faults_; }

    // Plugs it in, again or for the first time: it begins anew, with the cards where they are.
    void plug_in();

    // Puts a card, from whichever module's drawer, where it belongs; the slot is for contact cards.
    // Both throw as IcModule does.
    void insert(std::string_view name, int slot = 0);
    void remove(std::string_view name);
    void remove_all();

    // Puts a contactless card into the field without taking another one out of it. Throws
    // std::invalid_argument for any other card.
    void insert_beside(std::string_view name);

    // Takes a card out and puts another one in its place, or where its kind belongs. Nothing moves
    // when std::invalid_argument is thrown, for an unknown name or a card that is not in.
    void swap(std::string_view old_name, std::string_view new_name);

    // "name: slot 0, powered" for every card, one a line.
    std::string describe() const { return ic_.describe() + magnetic_.describe() + id_.describe(); }

    // Bytes that came over a serial line, and what the device answers at once.
    Bytes receive_serial(View bytes);

    // Payload that came in USB reports under a mode id: 1 takes escape commands, 2 frames, 0 both.
    Bytes receive_usb(std::uint8_t mode_id, View payload);

    // What the device says of its own accord, since a card came for a request that waited for it:
    // to be sent over the line on which the request came, over USB under mode id 1.
    Bytes take_late_serial() { return take_late(Line::serial); }
    Bytes take_late_usb() { return take_late(Line::usb); }

    // The serial rate at which it listens; a baud command changes it once its answer is out. In ID
    // mode it is the rate that the mode command named.
    int baud() const { return baud_; }

    const ReaderCounts& counts() const { return counts_; }
    const RequestStream& stream() const { return stream_; }
    const std::string& serial_number() const { return settings_.serial_number; }
    char pass_through_port() const { return pass_through_port_; }  // 'A' for none

    // 'B' base, 'I' card module, 'S' ID mode: then ID frames are understood and no others. Both
    // resets lead back to the base.
    char mode() const { return mode_; }

  private:
    enum class Line { serial, usb };

    bool is_in(std::string_view name) const;
    bool has(std::string_view name) const;

    Bytes receive(Line line, std::uint8_t mode_id, View bytes);
    Bytes answer(const Request& request, Line line);
    Bytes answer_escape(View body, Line line);
    Bytes change_mode(char mode, char rate, Line line);
    void enter_mode(char mode);
    Bytes answer_ic(View body);
    Bytes answer_union(View body);
    Bytes take_late(Line line);

    void set_baud(std::uint8_t code);
    Bytes all_information() const;
    Bytes card_states() const;

    ReaderSettings settings_;
    int baud_;
    ReaderCounts counts_;
    FaultScript faults_;
    RequestStream stream_;
    IcModule ic_;
    MagneticModule magnetic_;
    IdModule id_;
    Line magnetic_line_ = Line::serial;  // of the last request to the magnetic module
    std::optional<int> base_baud_;       // in ID mode on a serial line: the rate to go back to
    char pass_through_port_ = 'A';
    char mode_ = 'B';
};

}  // namespace virtual_reader
