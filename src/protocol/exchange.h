// One command and its reply in a frame: the part that the frames share.
#pragma once

#include <deskreader.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace deskreader::protocol {

using Bytes = std::span<const std::uint8_t>;
using Buffer = std::span<std::uint8_t>;

inline constexpr std::size_t max_received = 2048;  // text of a reply, on the wire
inline constexpr std::size_t max_shown = 1024;     // of it in the log
inline constexpr std::size_t max_decoded = 4096;

struct FrameFormat;

// Receives a reply and takes it apart. `sent` is what stands for the length where nothing came.
int receive_text(const FrameFormat& format, DEVCONTEXT* target, Buffer reply, int timeout_ms,
                 std::size_t sent) noexcept;

// Where two frames differ. Each function returns a count of bytes or a negative number.
struct FrameFormat {
    std::size_t max_command;  // refused before anything is opened; 0 leaves it to the frame
    std::size_t max_frame;    // on the wire
    bool logs_command;

    int (*build)(Bytes command, Buffer frame);

    // Of the frames that go out as text: the IC frame and the Union frame.
    int (*trim)(Bytes received, Buffer out) = nullptr;
    int (*parse)(Bytes frame, Buffer reply) = nullptr;

    int (*receive)(const FrameFormat& format, DEVCONTEXT* target, Buffer reply, int timeout_ms,
                   std::size_t sent) = receive_text;
};

struct Received {
    int result;          // of the read
    std::size_t length;  // what was received, or what stands for it
};

// Reads into a buffer of zeros until `is_end` says so, and logs at most `shown` bytes of it.
Received read(DEVCONTEXT* target, Buffer buffer, std::size_t shown, int timeout_ms,
              COMM_PacketIsEnd is_end, std::size_t sent) noexcept;

inline constexpr std::uint8_t end_of_frame = 0x03;

// The end test of frames of text: whether 03 stands anywhere in the bytes.
int has_frame_end(unsigned char* received, unsigned length) noexcept;

// Copies `rest`, which begins with a frame, through the first 03. Clears the rest of `out`.
// Returns the bytes copied.
int copy_frame(Bytes rest, Buffer out) noexcept;

// Opens, sends, receives, closes. Returns the reply's bytes or a negative number.
int exchange(const FrameFormat& format, DEVCONTEXT* target, const unsigned char* command,
             int command_length, unsigned char* out, int out_size, int timeout_ms) noexcept;

}  // namespace deskreader::protocol
