// Takes out of recordings and decoded logs what must not leave the desk, and keeps everything else,
// so that they still show, and replay, what happened.
//
//   card numbers          the first six and the last four digits stay, the others become 0
//   track 2 equivalent    likewise; of what follows the separator, date and service code stay
//   stripes               likewise, and names become X
//   cardholder names      letters become X
//   PINs, PIN blocks      become 0: data of VERIFY, CHANGE and RESET RETRY COUNTER, tag 99
//   keys                  become 0: MIFARE keys and sector trailers, key pages of Ultralight C,
//                         PUT KEY, WRITE KEY, key delivery, issuer scripts
//   identity cards        digits of the text become 0, other characters '*'; photo, fingerprint
//                         and serial numbers become 0
//   social security       numbers, name and birth likewise
//
// Lengths never change, frames stay frames: a right check byte is right again, a wrong one as wrong
// as before. A card number that was masked once is masked wherever it is seen again. The result
// depends on nothing but the bytes and what came before them, so a replay masks what a host sends
// in the same way and compares that.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "bytes.h"
#include "wire.h"

namespace explain {

// Looks at one line's traffic from its beginning; what a reply holds depends on the command before
// it.
class Mask {
  public:
    Mask();
    ~Mask();
    Mask(const Mask&) = delete;
    Mask& operator=(const Mask&) = delete;

    // What went over the wire in one direction at once: a frame with noise around it, several
    // frames, an escape command or its reply. As many bytes come back.
    Bytes wire(Direction direction, View bytes);

    // The same for what was cut into pieces, in their order: reads of a serial line, or the HID
    // reports of a frame. Each comes back in its place and size.
    std::vector<Bytes> pieces(Direction direction, const std::vector<Bytes>& pieces);
    std::vector<Bytes> reports(Direction direction, const std::vector<Bytes>& reports);

    // An APDU, a response with its status word, or data objects alone.
    Bytes command(View apdu);
    Bytes response(View apdu);
    Bytes objects(View bytes);

    // Any other text, as a line of a log: values that are known to be secret by their names, long
    // runs of digits, and hexadecimal text as data objects. As many characters come back.
    std::string text(std::string_view line);

  private:
    std::string apdu_text(std::string_view line);

    class State;
    std::unique_ptr<State> state_;
};

}  // namespace explain
