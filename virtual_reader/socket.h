#pragma once

#include <utility>

#include <unistd.h>

namespace virtual_reader {

// A descriptor that is closed with its scope.
class Socket {
  public:
    explicit Socket(int descriptor = -1) : descriptor_(descriptor) {}
    ~Socket() {
        if (is_open()) close(descriptor_);
    }
    Socket(Socket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    int descriptor() const { return descriptor_; }
    bool is_open() const { return descriptor_ >= 0; }

  private:
    int descriptor_;
};

}  // namespace virtual_reader
