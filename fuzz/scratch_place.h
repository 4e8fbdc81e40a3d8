// A working directory for the length of a run, with config.ini, and the libraries of the photo path
// where they were built. Files that a run leaves are gone before the next one.
#pragma once

#include <string>

namespace fuzzing {

class ScratchPlace {
  public:
    explicit ScratchPlace(const std::string& config_text);
    ~ScratchPlace();
    ScratchPlace(const ScratchPlace&) = delete;
    ScratchPlace& operator=(const ScratchPlace&) = delete;

  private:
    int before_;  // the directory of those who fuzz
};

}  // namespace fuzzing
