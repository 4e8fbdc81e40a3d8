// The device's end of the USB/IP protocol (linux Documentation/usb/usbip_protocol.rst) once a
// device was imported: the host's controller sends transfers, and takes some back, over a stream.
#pragma once

#include "links/usb_device.h"

namespace virtual_reader {

class UsbipLink {
  public:
    // Takes over the stream. The device is used as long as the link lives.
    UsbipLink(int stream, UsbDevice& device) : stream_(stream), device_(device) {}
    ~UsbipLink();
    UsbipLink(const UsbipLink&) = delete;
    UsbipLink& operator=(const UsbipLink&) = delete;

    // Becomes readable when the host has sent something.
    int descriptor() const { return stream_; }

    // Takes what the host has sent, if anything, and sends what is finished. False once the host
    // has gone, or has said something that makes no sense: nobody knows then where its next word
    // begins.
    bool serve();

    // Words that the host has said so far, whole ones.
    int heard() const { return heard_; }

  private:
    bool receive();
    bool take_words();
    bool submit(View word, View data);
    bool unlink(View word);
    bool send(const UsbResult& result);
    bool send_all(View bytes) const;

    int stream_;
    UsbDevice& device_;
    Bytes input_;
    int heard_ = 0;
};

}  // namespace virtual_reader
