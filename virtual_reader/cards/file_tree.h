// The files of a card (ISO 7816-4): directories with a name, in them transparent and record files.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "bytes.h"

namespace virtual_reader {

struct ElementaryFile {
    std::uint16_t id = 0;
    std::uint8_t sfi = 0;        // short identifier, 1 to 30; 0 has none
    std::optional<Bytes> data;   // of a transparent file
    std::vector<Bytes> records;  // of a record file, the first is record 1
};

struct Directory {
    std::uint16_t id = 0;
    Bytes name;
    std::vector<ElementaryFile> files;
    Bytes proprietary = {};  // data objects of its control information, in template A5
};

struct FileTree {
    Directory master{0x3F00, {}, {}, {}};
    std::vector<Directory> directories;
};

}  // namespace virtual_reader
