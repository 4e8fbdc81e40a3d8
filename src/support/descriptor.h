// A file descriptor that is closed with its scope.
#pragma once

#include <utility>

#include <unistd.h>

namespace deskreader {

class Descriptor {
  public:
    explicit Descriptor(int file) noexcept : file_(file) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : file_(std::exchange(other.file_, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;

    bool is_open() const noexcept { return file_ >= 0; }
    int get() const noexcept { return file_; }
    int release() noexcept { return std::exchange(file_, -1); }

    void close() noexcept {
        if (is_open()) ::close(release());
    }

  private:
    int file_;
};

}  // namespace deskreader
