// What stands beside the library: the bare links, and a card behind pcscd.
#pragma once

#include <memory>
#include <string>

#include "kit/bytes.h"

namespace bench {

// The bytes of an exchange over USB reports, with nothing but write and read.
class BareUsb {
  public:
    BareUsb();
    ~BareUsb();
    BareUsb(const BareUsb&) = delete;
    BareUsb& operator=(const BareUsb&) = delete;

    void write(const kit::Bytes& report) const;
    // Reads one input report. Throws std::runtime_error if none comes.
    void read() const;

    // A whole frame there and as many reports back.
    void exchange(const kit::Bytes& frame, std::size_t answer_size) const;

  private:
    void* device_;
};

// The same over a serial line.
class BareLine {
  public:
    explicit BareLine(const std::string& device);
    ~BareLine();
    BareLine(const BareLine&) = delete;
    BareLine& operator=(const BareLine&) = delete;

    // Throws std::runtime_error if the line goes silent.
    void exchange(const kit::Bytes& frame, std::size_t answer_size) const;

    // The same, waiting for the answer ten microseconds at a time.
    void exchange_polling(const kit::Bytes& frame, std::size_t answer_size) const;

  private:
    void send(const kit::Bytes& frame) const;
    std::size_t receive() const;

    int file_;
};

// A card of our own, connected to vpcd at a port of this machine, and a PC/SC client's connection
// to it.
class PcscPeer {
  public:
    // Throws std::runtime_error where the daemon or the driver does not answer.
    PcscPeer(int port, kit::Bytes answer);
    ~PcscPeer();
    PcscPeer(const PcscPeer&) = delete;
    PcscPeer& operator=(const PcscPeer&) = delete;

    void transmit(const kit::Bytes& command) const;

  private:
    class Card;
    struct Client;

    std::unique_ptr<Card> card_;
    std::unique_ptr<Client> client_;
};

}  // namespace bench
