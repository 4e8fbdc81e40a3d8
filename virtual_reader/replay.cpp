#include "replay.h"

#include <algorithm>
#include <utility>

namespace virtual_reader {
namespace {

constexpr std::size_t max_complaints = 100;
constexpr std::size_t max_request = 65536;
constexpr std::size_t shown_bytes = 24;
constexpr std::size_t output_header = 3;  // of HID: report id, mode id, count
constexpr std::size_t input_header = 2;   // mode id, count
constexpr std::size_t input_payload = 62;
constexpr Bytes::value_type esc = 0x1B;

std::string text_of(const Pattern& pattern) {
    Pattern shown = pattern;
    const std::size_t count = std::min(shown.bytes.size(), shown_bytes);
    shown.bytes.resize(count);
    shown.known.resize(count);
    const std::string line = traffic_line(RecordedLine::Kind::sent, 0, shown);
    const std::string digits = line.substr(4, line.size() - 5);  // between "> 0 " and its end
    return digits + (count < pattern.bytes.size() ? "..." : "");
}

std::string text_of(View bytes) {
    return text_of(Pattern{to_bytes(bytes), std::vector<bool>(bytes.size(), true)});
}

Pattern part_of(const Pattern& pattern, std::size_t begin, std::size_t count) {
    begin = std::min(begin, pattern.bytes.size());
    const auto from = static_cast<std::ptrdiff_t>(begin);
    const auto to = static_cast<std::ptrdiff_t>(std::min(begin + count, pattern.bytes.size()));
    return {{pattern.bytes.begin() + from, pattern.bytes.begin() + to},
            {pattern.known.begin() + from, pattern.known.begin() + to}};
}

// What a line carries between the modules, whatever its link.
Pattern payload_of(const RecordedLine& line) {
    const Pattern& whole = line.pattern;
    if (line.link == RecordedLink::serial) return whole;
    if (line.kind == RecordedLine::Kind::sent) {
        const std::size_t count = whole.bytes.size() > 2 ? whole.bytes[2] : 0;
        return part_of(whole, output_header, count);
    }
    const std::size_t count = whole.bytes.size() > 1 ? whole.bytes[1] : 0;
    const bool is_count = count > 0 && count <= input_payload;
    return part_of(whole, input_header, is_count ? count : input_payload);
}

bool is_mode_command(const Pattern& request) {
    return request.bytes.size() == 4 && request.bytes[0] == esc && request.bytes[1] == '$';
}

}  // namespace

Replay::Replay(const std::vector<RecordedLine>& lines) {
    for (const RecordedLine& line : lines)
        add(line);
}

// What the reader said before it was asked anything is left out.
void Replay::add(const RecordedLine& line) {
    if (line.kind == RecordedLine::Kind::sent) {
        Pattern payload = payload_of(line);
        // The rate in a mode command is that of the link.
        if (line.link == RecordedLink::usb && is_mode_command(payload)) payload.known[3] = false;
        if (!payload.bytes.empty()) steps_.push_back({std::move(payload), {}, line.number});
    } else if (line.kind == RecordedLine::Kind::received && !steps_.empty()) {
        // The answer to a mode command is one that hosts wait for on USB only.
        const bool unheard =
            line.link == RecordedLink::usb && is_mode_command(steps_.back().request);
        if (!unheard) append(steps_.back().answer, payload_of(line).bytes);
    }
}

bool Replay::takes(const Step& step) const {
    return held_.size() >= step.request.bytes.size() && step.request.agrees_with(held_);
}

Bytes Replay::receive(View bytes) {
    append(held_, bytes);
    Bytes answer = follow();
    if (held_.size() > max_request) append(answer, settle());
    return answer;
}

Bytes Replay::follow() {
    Bytes answer;
    while (!held_.empty() && next_ < steps_.size() && takes(steps_[next_])) {
        const Step& step = steps_[next_++];
        use_up(step.request.bytes.size());
        ++followed_;
        append(answer, step.answer);
    }
    return answer;
}

Bytes Replay::settle() {
    Bytes answer;
    while (!held_.empty()) {
        if (auto again = repeat()) {
            append(answer, *again);
        } else if (!skip_ahead()) {
            if (auto recorded = overlook()) {
                append(answer, *recorded);
            } else {
                held_.clear();
            }
        }
        append(answer, follow());
    }
    return answer;
}

std::optional<Bytes> Replay::repeat() {
    if (next_ == 0 || !takes(steps_[next_ - 1])) return std::nullopt;
    const Step& last = steps_[next_ - 1];
    complain("line " + std::to_string(last.line) + ": the host repeats this request");
    use_up(last.request.bytes.size());
    return last.answer;
}

bool Replay::skip_ahead() {
    const auto from = steps_.begin() + static_cast<std::ptrdiff_t>(next_);
    const auto found =
        std::find_if(from, steps_.end(), [&](const Step& step) { return takes(step); });
    if (found == steps_.end()) return false;
    complain("line " + std::to_string(from->line) +
             ": the host left out what is recorded up to line " + std::to_string(found->line));
    next_ = static_cast<std::size_t>(found - steps_.begin());
    return true;
}

std::optional<Bytes> Replay::overlook() {
    if (next_ == steps_.size()) {
        complain("the recording is over, and the host sent " + text_of(held_));
        return std::nullopt;
    }
    const Step& step = steps_[next_];
    const std::string line = "line " + std::to_string(step.line) + ": ";
    if (held_.size() != step.request.bytes.size()) {
        complain(line + "the host sent " + text_of(held_) + ", recorded is " +
                 text_of(step.request));
        return std::nullopt;
    }
    std::size_t at = 0;
    while (!step.request.known[at] || step.request.bytes[at] == held_[at])
        ++at;
    const std::size_t rest = held_.size() - at;
    complain(line + "the host sent another byte " + std::to_string(at + 1) + ": " +
             text_of(View(held_).subspan(at)) + ", recorded is " +
             text_of(part_of(step.request, at, rest)));
    use_up(held_.size());
    ++next_;
    return step.answer;
}

void Replay::use_up(std::size_t count) {
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(count));
}

void Replay::complain(std::string text) {
    ++strays_;
    if (strays_ < max_complaints) complaints_.push_back(std::move(text));
    if (strays_ == max_complaints) complaints_.emplace_back("and so on");
}

std::vector<std::string> Replay::take_complaints() {
    return std::exchange(complaints_, {});
}

void Replay::end() {
    if (next_ == steps_.size()) return;
    complain("line " + std::to_string(steps_[next_].line) + ": the host ended, " +
             std::to_string(steps_.size() - next_) + " of " + std::to_string(steps_.size()) +
             " requests were not sent");
}

std::string Replay::describe() const {
    return std::to_string(followed_) + " of " + std::to_string(steps_.size()) +
           " requests followed";
}

}  // namespace virtual_reader
