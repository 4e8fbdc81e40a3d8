#include "recording_writer.h"

#include <cstring>

#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include "errors.h"

namespace desk_tool {
namespace {

using record::Event;
using virtual_reader::Pattern;
using virtual_reader::RecordedLine;
using virtual_reader::RecordedLink;

// Read by nobody else: an unmasked one holds what is on cards.
constexpr mode_t for_owner = 0600;

// What differs from the bytes that were there was masked, and is nothing to hold a host to.
Pattern pattern_of(const explain::Bytes& bytes, const explain::Bytes& before,
                   bool may_be_anything) {
    Pattern pattern{bytes, std::vector<bool>(bytes.size(), true)};
    for (std::size_t i = 0; may_be_anything && i < bytes.size(); ++i)
        pattern.known[i] = bytes[i] == before[i];
    return pattern;
}

}  // namespace

RecordingWriter::RecordingWriter(const std::string& path, bool unmasked) : path_(path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, for_owner);
    if (file >= 0) file_.reset(fdopen(file, "w"));
    if (!file_) throw ToolError(fmt::format("{}: {}", path, std::strerror(errno)));
    if (!unmasked) mask_ = std::make_unique<explain::Mask>();
    write(std::string(virtual_reader::recording_header()));
    if (mask_) write(std::string(virtual_reader::masked_recording_note()));
}

void RecordingWriter::write(const std::string& text) {
    const bool written =
        std::fputs(text.c_str(), file_.get()) >= 0 && std::fflush(file_.get()) == 0;
    if (!written) throw ToolError(fmt::format("{}: {}", path_, std::strerror(errno)));
}

void RecordingWriter::take(explain::View message) {
    record::Header header;
    if (message.size() < sizeof header) return;
    std::memcpy(&header, message.data(), sizeof header);
    if (begin_ == 0) begin_ = header.nanoseconds;
    hold(header.event, (header.nanoseconds - begin_) / 1000, message.subspan(sizeof header));
}

void RecordingWriter::hold(Event event, std::uint64_t microseconds, explain::View bytes) {
    const bool is_traffic = event == Event::sent || event == Event::received;
    if (!is_traffic || event != direction_) finish();
    if (is_traffic) {
        direction_ = event;
        held_.push_back({microseconds, {bytes.begin(), bytes.end()}});
        return;
    }
    if (event == Event::closed) return write(virtual_reader::closed_line(microseconds));
    link_ = event == Event::opened_usb ? RecordedLink::usb : RecordedLink::serial;
    const std::string name(bytes.begin(), bytes.end());
    write(virtual_reader::opened_line(link_, microseconds, name));
}

std::vector<explain::Bytes> RecordingWriter::masked() const {
    std::vector<explain::Bytes> pieces;
    for (const Chunk& chunk : held_)
        pieces.push_back(chunk.bytes);
    if (!mask_) return pieces;
    const auto direction =
        direction_ == Event::sent ? explain::Direction::to_reader : explain::Direction::from_reader;
    return link_ == RecordedLink::usb ? mask_->reports(direction, pieces)
                                      : mask_->pieces(direction, pieces);
}

void RecordingWriter::finish() {
    const auto pieces = masked();
    const bool sent = direction_ == Event::sent;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const Pattern pattern = pattern_of(pieces[i], held_[i].bytes, sent);
        const auto kind = sent ? RecordedLine::Kind::sent : RecordedLine::Kind::received;
        write(virtual_reader::traffic_line(kind, held_[i].microseconds, pattern));
        ++lines_;
    }
    held_.clear();
}

}  // namespace desk_tool
