#include "cards/tlv.h"

namespace virtual_reader {
namespace {

constexpr unsigned constructed = 0x20;
constexpr unsigned two_byte_tag = 0x1F;

// Reads from the front of bytes, and says once that there were too few.
class Front {
  public:
    explicit Front(View bytes) : rest_(bytes) {}

    bool ended() const { return rest_.empty() || broken_; }
    bool broken() const { return broken_; }

    std::uint8_t byte() {
        const View one = bytes(1);
        return one.empty() ? std::uint8_t{0} : one[0];
    }

    View bytes(std::size_t count) {
        if (count > rest_.size()) {
            broken_ = true;
            return {};
        }
        const View taken = rest_.first(count);
        rest_ = rest_.subspan(count);
        return taken;
    }

    Tag tag() {
        const unsigned first = byte();
        if ((first & two_byte_tag) != two_byte_tag) return static_cast<Tag>(first);
        return static_cast<Tag>(first << 8 | byte());
    }

    std::size_t length() {
        const unsigned first = byte();
        if (first < 0x80) return first;
        if (first == 0x81) return byte();
        if (first == 0x82) {
            const unsigned high = byte();
            return high << 8 | byte();
        }
        broken_ = true;
        return 0;
    }

  private:
    View rest_;
    bool broken_ = false;
};

bool is_constructed(Tag tag) {
    const unsigned first = tag > 0xFF ? tag >> 8 : tag;
    return (first & constructed) != 0;
}

bool collect(View bytes, Objects& objects) {
    Front front(bytes);
    while (!front.ended()) {
        const Tag tag = front.tag();
        const View value = front.bytes(front.length());
        if (front.broken()) return false;
        if (!is_constructed(tag)) {
            objects.emplace(tag, to_bytes(value));
        } else if (!collect(value, objects)) {
            return false;
        }
    }
    return !front.broken();
}

}  // namespace

Bytes data_object(Tag tag, View value) {
    Bytes object;
    if (tag > 0xFF) object.push_back(static_cast<std::uint8_t>(tag >> 8));
    object.push_back(static_cast<std::uint8_t>(tag));
    if (value.size() > 0xFF) {
        object.push_back(0x82);
        object.push_back(static_cast<std::uint8_t>(value.size() >> 8));
    } else if (value.size() > 0x7F) {
        object.push_back(0x81);
    }
    object.push_back(static_cast<std::uint8_t>(value.size()));
    append(object, value);
    return object;
}

std::optional<Objects> read_objects(View bytes) {
    Objects objects;
    if (!collect(bytes, objects)) return std::nullopt;
    return objects;
}

std::optional<std::vector<ListEntry>> read_list(View bytes) {
    std::vector<ListEntry> entries;
    Front front(bytes);
    while (!front.ended()) {
        const Tag tag = front.tag();
        entries.push_back({tag, front.length()});
    }
    if (front.broken()) return std::nullopt;
    return entries;
}

std::optional<Objects> split_by_list(View list, View data) {
    const auto entries = read_list(list);
    if (!entries) return std::nullopt;
    Objects objects;
    Front front(data);
    for (const ListEntry& entry : *entries)
        objects.emplace(entry.tag, to_bytes(front.bytes(entry.length)));
    if (front.broken() || !front.ended()) return std::nullopt;
    return objects;
}

}  // namespace virtual_reader
