#include "decks/card_basics.h"

namespace virtual_reader {

void allow_card_keys(const Node& node, std::initializer_list<const char*> own) {
    std::vector<std::string> keys = {"type", "name",   "contactless",    "inserted",
                                     "slot", "answer", "procedure_bytes"};
    keys.insert(keys.end(), own.begin(), own.end());
    node.allow(keys);
}

CardBasics read_card_basics(const Node& node) {
    CardBasics basics;
    basics.name = node.at("name").text();
    if (node.has("contactless")) basics.contactless = node.at("contactless").flag();
    basics.answer = from_hex(basics.contactless ? "0400088041424344" : "3B0444455348");
    if (node.has("answer")) basics.answer = node.at("answer").hex();
    if (basics.answer.size() > 64) node.at("answer").fail("at most 64 bytes");
    if (node.has("procedure_bytes")) basics.by_procedure_bytes = node.at("procedure_bytes").flag();
    return basics;
}

std::uint32_t read_seed(const Node& node) {
    return static_cast<std::uint32_t>(node.number(0, INT32_MAX));
}

ElementaryFile read_file(const Node& node) {
    node.allow({"id", "sfi", "data", "records"});
    ElementaryFile file;
    file.id = node.at("id").file_id();
    if (node.has("sfi")) file.sfi = static_cast<std::uint8_t>(node.at("sfi").number(1, 30));
    if (node.has("data") == node.has("records")) node.fail("either data or records");
    if (node.has("data")) file.data = node.at("data").content();
    if (node.has("records")) {
        for (const Node& record : node.at("records").elements())
            file.records.push_back(record.content(255));
    }
    return file;
}

}  // namespace virtual_reader
