// Ctrl-C, and the calls that wait for a card, which it ends calmly: the library gives up waiting,
// cards are powered off, the reader is closed.
#pragma once

#include <chrono>

namespace desk_tool {

// While it lives, Ctrl-C and SIGTERM end the wait that is under way. A second one ends the tool
// itself. Begins before all other threads and processes.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
};

// Whether there was a Ctrl-C. Long work looks after each step.
bool interrupted();

// A call that waits for a card stands in the scope of one of these. On a terminal a line says what
// it waits for, and for how long.
class Waiting {
  public:
    enum class By { library, reader };  // who waits, and so who has to be told to stop

    // 0 seconds wait without end.
    explicit Waiting(int timeout_s, const char* what = "a card", By by = By::library);
    ~Waiting();
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    void show() const;
    void cancel() const;

  private:
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    int timeout_s_;
    const char* what_;
    By by_;
};

}  // namespace desk_tool
