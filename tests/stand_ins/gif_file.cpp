// GIF 89a in the colours of a 6 x 6 x 6 cube. The compressor is told to forget its dictionary
// before codes would grow beyond 9 bits, so every pixel is one such code.
#include <algorithm>
#include <span>

#include "image.h"

namespace stand_in {
namespace {

constexpr unsigned levels = 6;
constexpr unsigned clear_code = 256;
constexpr unsigned end_code = 257;
constexpr unsigned code_bits = 9;
constexpr std::size_t codes_between_clears = 250;

void put_number(Bytes& out, std::size_t number) {
    out.push_back(static_cast<std::uint8_t>(number));
    out.push_back(static_cast<std::uint8_t>(number >> 8));
}

void put_colours(Bytes& out) {
    Bytes table(std::size_t{256} * 3, 0);
    for (unsigned colour = 0; colour < levels * levels * levels; ++colour) {
        const unsigned parts[] = {colour / (levels * levels), colour / levels % levels,
                                  colour % levels};
        for (std::size_t part = 0; part < 3; ++part)
            table[colour * 3 + part] = static_cast<std::uint8_t>(parts[part] * 51);
    }
    out.insert(out.end(), table.begin(), table.end());
}

// Codes, the lowest bit first.
class CodeStream {
  public:
    void put(unsigned code) {
        pending_ |= code << pending_bits_;
        pending_bits_ += code_bits;
        while (pending_bits_ >= 8)
            put_byte();
    }

    Bytes finish() {
        if (pending_bits_ > 0) put_byte();
        return bytes_;
    }

  private:
    void put_byte() {
        bytes_.push_back(static_cast<std::uint8_t>(pending_));
        pending_ >>= 8;
        pending_bits_ = pending_bits_ < 8 ? 0 : pending_bits_ - 8;
    }

    Bytes bytes_;
    unsigned pending_ = 0;
    unsigned pending_bits_ = 0;
};

Bytes codes_of(const Image& image) {
    CodeStream stream;
    for (std::size_t pixel = 0; pixel < image.width * image.height; ++pixel) {
        if (pixel % codes_between_clears == 0) stream.put(clear_code);
        unsigned colour = 0;
        for (std::size_t part = 0; part < 3; ++part)
            colour = colour * levels + (image.pixels[3 * pixel + part] + 25u) / 51;
        stream.put(colour);
    }
    stream.put(end_code);
    return stream.finish();
}

}  // namespace

Bytes gif_file(const Image& image) {
    Bytes file = {'G', 'I', 'F', '8', '9', 'a'};
    put_number(file, image.width);
    put_number(file, image.height);
    file.insert(file.end(), {0xF7, 0, 0});  // 256 colours follow
    put_colours(file);
    file.insert(file.end(), {',', 0, 0, 0, 0});
    put_number(file, image.width);
    put_number(file, image.height);
    file.insert(file.end(), {0, 8});  // pixels are 8 bits
    const Bytes codes = codes_of(image);
    for (std::span<const std::uint8_t> rest(codes); !rest.empty();) {
        const auto block = rest.first(std::min<std::size_t>(rest.size(), 255));
        file.push_back(static_cast<std::uint8_t>(block.size()));
        file.insert(file.end(), block.begin(), block.end());
        rest = rest.subspan(block.size());
    }
    file.insert(file.end(), {0, ';'});
    return file;
}

}  // namespace stand_in
