// A reader that answers what a recording says it answered. It knows nothing of time: who serves it
// says when the host has paused.
//
// A host is followed request by request. One that sends what was recorded gets what was recorded;
// one that strays is told of to whoever runs the replay, and then
//   - gets the last answer again if it repeats its request,
//   - is met where the recording has its request later on,
//   - gets the recorded answer if its request has the recorded length: a host's times and random
//     numbers change from run to run,
//   - else gets none.
//
// Recordings of USB are replayed on a serial line too, as the payload of their reports.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "recording.h"

namespace virtual_reader {

class Replay {
  public:
    explicit Replay(const std::vector<RecordedLine>& lines);

    // Bytes that came from the host, and what the reader answers to them.
    Bytes receive(View bytes);

    // Whether bytes of the host are held that may not be all of its request, and what the reader
    // answers once it is clear that they are: when the host has sent no more for a while.
    bool is_waiting() const { return !held_.empty(); }
    Bytes settle();

    // How the host strayed, a line each, and once what it left out at the end.
    std::vector<std::string> take_complaints();
    void end();

    bool has_strayed() const { return strays_ > 0; }

    // "12 of 30 requests followed"
    std::string describe() const;

  private:
    struct Step {
        Pattern request;
        Bytes answer;
        std::size_t line = 0;
    };

    void add(const RecordedLine& line);
    bool takes(const Step& step) const;
    Bytes follow();
    std::optional<Bytes> repeat();
    bool skip_ahead();
    std::optional<Bytes> overlook();
    void use_up(std::size_t count);
    void complain(std::string text);

    std::vector<Step> steps_;
    std::size_t next_ = 0;
    std::size_t followed_ = 0;
    Bytes held_;
    std::size_t strays_ = 0;
    std::vector<std::string> complaints_;
};

}  // namespace virtual_reader
