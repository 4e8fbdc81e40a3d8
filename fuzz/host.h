// A host whose arguments are fuzzed: texts and bytes with nothing readable behind them, rooms of
// exactly the documented size, numbers. Each comes with an example that the seeds are made of.
//
// Several of them in one call stand in a braced list (std::apply with a tuple), so that every
// compiler draws them in the same order.
#pragma once

#include <deskreader.h>

#include <cstring>
#include <tuple>

#include "flow.h"

namespace fuzzing {

class Host {
  public:
    explicit Host(robustness::Surroundings& surroundings)
        : port(surroundings.port),
          port_name(surroundings.name),
          draw(fuzzed(surroundings).draw),
          buffers_(surroundings.buffers) {}

    const int port;
    const char* const port_name;
    Draw& draw;

    struct Data {
        unsigned char* bytes;
        int size;
    };

    // A terminated text.
    char* text(std::string_view example = {}) { return buffers_.copy(draw.text(example).c_str()); }

    // The same, or null.
    char* text_or_null(std::string_view example = {}) {
        return draw.byte() == null_mark ? nullptr : text(example);
    }

    // A text and how much of it counts.
    struct Part {
        char* text;
        int length;
    };
    Part part(std::string_view example = {}) {
        char* whole = text(example);
        return {whole, std::min(number(static_cast<int>(example.size())),
                                static_cast<int>(std::strlen(whole)))};
    }

    // A path that stays in the working directory.
    char* path(std::string_view example);

    Data data(std::initializer_list<std::uint8_t> example = {}) {
        const Bytes drawn = draw.piece({example.begin(), example.size()});
        unsigned char* bytes = room(static_cast<int>(drawn.size()));
        std::copy(drawn.begin(), drawn.end(), bytes);
        return {bytes, static_cast<int>(drawn.size())};
    }

    // Data of which at least so many bytes are read.
    Data data_of(std::size_t size);

    unsigned char* room(int size) {
        return buffers_.bytes(static_cast<std::size_t>(std::max(size, 0)));
    }
    char* text_room(int size) { return reinterpret_cast<char*>(room(size)); }

    // A size that the function is told, at most `most`.
    int size(int most) { return std::min(number(most), most); }

    int number(int example = 0) { return draw.number(example); }
    int* place(int value = 0) { return buffers_.number<int>(value); }

    int slot() { return draw.up_to(3); }

    // Seconds, or milliseconds for the lower families.
    int limit() { return draw.up_to(5, 2) - 1; }
    int limit_ms() { return number(200); }

  private:
    static constexpr std::uint8_t null_mark = 0xFF;

    robustness::GuardedBuffers& buffers_;
};

// A call whose function takes the host.
template <int (*function)(Host&)>
int with_host(robustness::Surroundings& surroundings) {
    Host host(surroundings);
    return function(host);
}

// Whether PBOC_ExeScript would never end with this script, as its description says of some.
bool runs_for_ever(View script);
bool runs_for_ever(std::string_view hexadecimal);

// All calls of this kind, and a reader with the card that one of them wants.
std::span<const robustness::Call> host_calls();
std::unique_ptr<virtual_reader::Reader> reader_for(const robustness::Call& call);

}  // namespace fuzzing
