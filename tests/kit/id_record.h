// Records of identity cards as the reader gives them. The people in them are invented.
#pragma once

#include <string_view>

#include "kit/bytes.h"

namespace kit {

// The text of a card, all spaces at first, before blocks that tell their bytes apart.
class IdRecord {
  public:
    IdRecord() {
        bytes_.resize(2328);
        for (std::size_t i = 0; i < 256; i += 2)
            bytes_[i] = ' ';
        for (std::size_t i = 256; i < bytes_.size(); ++i)
            bytes_[i] = static_cast<std::uint8_t>(i % 251);
    }

    // Puts characters where a field stands, low byte first.
    IdRecord& put(std::size_t offset, std::u16string_view text) {
        for (const char16_t unit : text) {
            bytes_[offset++] = static_cast<std::uint8_t>(unit & 0xFF);
            bytes_[offset++] = static_cast<std::uint8_t>(unit >> 8);
        }
        return *this;
    }

    const std::uint8_t* data() const { return bytes_.data(); }
    const Bytes& bytes() const { return bytes_; }

  private:
    Bytes bytes_;
};

// A resident identity card.
inline IdRecord resident_card() {
    IdRecord record;
    record.put(0, u"\u5F20\u4E09\u4E30");  // name
    record.put(30, u"1").put(32, u"01").put(36, u"19800229");
    record.put(52, u"\u5317\u4EAC\u5E02\u4E1C\u57CE\u533A1\u53F7");
    record.put(122, u"11010119800229001X");
    record.put(158, u"\u5317\u4EAC\u5E02\u516C\u5B89\u5C40");
    record.put(188, u"20150301").put(204, u"20350301");
    return record;
}

// The residence card of a resident of Hong Kong, Macau or Taiwan.
inline IdRecord gat_card() {
    IdRecord record;
    record.put(0, u"\u674E\u56DB");
    record.put(30, u"2").put(36, u"19910815");
    record.put(52, u"\u6DF1\u5733\u5E02");
    record.put(122, u"810000199108150020");
    record.put(158, u"\u6DF1\u5733\u5E02\u516C\u5B89\u5C40");
    record.put(188, u"20190102").put(204, u"20240102");
    record.put(220, u"H0123456").put(238, u"02").put(248, u"J");
    return record;
}

// A foreign permanent resident's card.
inline IdRecord foreign_card() {
    IdRecord record;
    record.put(0, u"SMITH JOHN").put(120, u"1").put(122, u"CAN110078051501");
    record.put(152, u"CAN").put(158, u"\u53F2\u5BC6\u65AF");
    record.put(188, u"20180706").put(204, u"20280706").put(220, u"19780515");
    record.put(236, u"01").put(240, u"1500").put(248, u"I");
    return record;
}

}  // namespace kit
