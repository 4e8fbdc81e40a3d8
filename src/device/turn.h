// Whose turn it is with the reader. Hosts may reset, close or disconnect from a second thread at
// any moment: what changes the connection then waits for the exchange that is under way, and an
// exchange begins with a connection that is whole.
#pragma once

namespace deskreader::device {

// Waits for the turn and has it until the end of the scope. A thread that has it may take it again.
class Turn {
  public:
    Turn() noexcept;
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

  protected:
    struct Taken {};
    explicit Turn(Taken) noexcept {}
};

// The same for who has cancelled: cancels again while another thread has its turn, for a read that
// began since has not heard of it.
class CancellingTurn : public Turn {
  public:
    CancellingTurn() noexcept;
};

}  // namespace deskreader::device
