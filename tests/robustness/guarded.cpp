#include "robustness/guarded.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include <sys/mman.h>

namespace robustness {
namespace {

constexpr std::size_t page = 4096;
constexpr std::size_t room = 12 * page;      // ten bytes for each of the longest fuzzed piece
constexpr std::size_t stride = room + page;  // and the page behind it that may not be touched
constexpr std::size_t slots = 24;
constexpr std::size_t watched = 64;  // bytes before a buffer
constexpr unsigned char untouched = 0xA5;

}  // namespace

GuardedBuffers::GuardedBuffers() {
    void* memory =
        mmap(nullptr, slots * stride, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("no memory for guarded buffers");
    memory_ = static_cast<unsigned char*>(memory);
    for (std::size_t i = 0; i < slots; ++i)
        mprotect(slot(i) + room, page, PROT_NONE);
}

GuardedBuffers::~GuardedBuffers() {
    munmap(memory_, slots * stride);
}

unsigned char* GuardedBuffers::slot(std::size_t index) const {
    return memory_ + index * stride;
}

unsigned char* GuardedBuffers::bytes(std::size_t size) {
    if (size > room - watched || used_.size() == slots)
        throw std::length_error("more guarded buffers than there are");
    unsigned char* begin = slot(used_.size()) + room - size;
    std::memset(begin - watched, untouched, watched);
    std::memset(begin, 0, size);
    used_.push_back(size);
    return begin;
}

char* GuardedBuffers::copy(const char* content) {
    const std::size_t size = std::strlen(content) + 1;
    char* place = text(size);
    std::memcpy(place, content, size);
    return place;
}

bool GuardedBuffers::reset() {
    bool intact = true;
    for (std::size_t i = 0; i < used_.size(); ++i) {
        const unsigned char* begin = slot(i) + room - used_[i];
        intact = intact && std::all_of(begin - watched, begin,
                                       [](unsigned char byte) { return byte == untouched; });
    }
    used_.clear();
    return intact;
}

}  // namespace robustness
