// A file descriptor that is closed with its scope.
#pragma once

#include <utility>

#include <unistd.h>

namespace desk_tool {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int file) : file_(file) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : file_(std::exchange(other.file_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(file_, other.file_);
        return *this;
    }

    int get() const { return file_; }
    bool is_open() const { return file_ >= 0; }
    void reset() {
        if (is_open()) close(file_);
        file_ = -1;
    }

  private:
    int file_ = -1;
};

}  // namespace desk_tool
