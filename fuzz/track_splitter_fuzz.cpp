// The track splitters on any characters, with tracks of any room, and the card number in what they
// make of them.
#include <deskreader.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "cards/magstripe.h"

namespace magstripe = deskreader::magstripe;

namespace {

// A buffer of exactly its size, so that a byte past its end is noticed.
class Text {
  public:
    explicit Text(std::size_t size) : size_(size), bytes_(std::make_unique<char[]>(size + 1)) {
        bytes_[size] = '#';
    }

    magstripe::TrackText track() { return {bytes_.get(), static_cast<int>(size_)}; }

    // Terminated as the callers of the splitters do it.
    const char* c_str() {
        if (bytes_[size_] != '#') std::abort();
        bytes_[size_] = '\0';
        return bytes_.get();
    }

    std::size_t size() const { return size_; }

  private:
    std::size_t size_;
    std::unique_ptr<char[]> bytes_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t header = 4;
    if (size < header) return 0;
    const std::span characters(data + header, size - header);
    std::array<Text, 3> texts{Text(data[0]), Text(data[1]), Text(data[2])};
    magstripe::Tracks tracks{texts[0].track(), texts[1].track(), texts[2].track()};
    const magstripe::Characters input(characters);
    (data[3] % 2 == 0 ? magstripe::split_two_tracks : magstripe::split_three_tracks)(input, tracks);
    for (Text& text : texts) {
        const auto number = std::make_unique<char[]>(text.size() + 1);
        MSR_GetCardNo(data[3] / 2 % 4, text.c_str(), number.get());
    }
    return 0;
}
