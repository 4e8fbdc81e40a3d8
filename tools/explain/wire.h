// Frames as they stand on the wire, taken apart and put together again in place. A frame that was
// cut short or changed on its way is a frame too, with what is wrong with it.
#pragma once

#include <optional>

#include "bytes.h"

namespace explain {

enum class Direction { to_reader, from_reader };

enum class FrameKind {
    ic_frame,     // 60 LEN body check, as hexadecimal text, 03
    union_frame,  // 02, LEN LEN body check in characters '0' to '?', 03
    id_frame,     // AA AA AA 96 69 LEN LEN body check
    escape,       // 1B ...: the base unit and the magnetic module
};

struct Frame {
    FrameKind kind = FrameKind::escape;
    std::size_t begin = 0;  // where it stands in the bytes, its marks included
    std::size_t size = 0;
    Bytes decoded;            // length, body and check, of IC frames also the 60
    std::size_t body_at = 0;  // in what was decoded
    std::size_t body_size = 0;
    std::size_t said = 0;  // what the length field says of the body
    bool has_length = false;
    bool has_end = false;  // the 03, or all the bytes that the length field asks for
    bool has_check = false;
    std::uint8_t check = 0;  // what stands there
    std::uint8_t right_check = 0;

    View body() const { return part(View(decoded), body_at, body_size); }
    Room body() { return part(Room(decoded), body_at, body_size); }
    bool whole() const {
        return kind == FrameKind::escape || (has_end && has_check && said == body_size);
    }
    bool check_is_right() const { return has_check && check == right_check; }
};

// The first frame at or behind `from`. What stands before it is noise of the line.
std::optional<Frame> find_frame(View bytes, std::size_t from = 0);

// Writes a frame whose body was changed back to where it stood. A right check byte is right again,
// a wrong one as wrong as before.
void put_back(Frame frame, Room bytes);

inline constexpr std::size_t report_payload = 62;

// A USB HID report as hidapi takes or gives it.
struct Report {
    Direction direction;
    std::uint8_t mode_id = 0;  // of output reports
    std::size_t payload_at = 0;
    std::size_t payload_size = 0;  // of input reports with the filler
};

// Output: 65 bytes, 00 | mode id | n | n bytes, zeros. Input: 64 bytes, two and then 62.
std::optional<Report> as_report(View bytes);

}  // namespace explain
