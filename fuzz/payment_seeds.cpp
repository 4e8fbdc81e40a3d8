// Writes seeds for the fuzzers of payment data: what the virtual reader's bank card answers in a
// purchase, and a host's texts for it. Run it in the folder of the seeds when the card changes.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "cards/tagged_objects.h"
#include "deck.h"

namespace {

using virtual_reader::Bytes;
using virtual_reader::from_hex;
using virtual_reader::Tag;
using virtual_reader::View;

// One command of a purchase: its name, and what is sent.
constexpr struct {
    const char* name;
    const char* command;
} purchase[] = {
    {"select_directory", "00A404000E315041592E5359532E4444463031"},
    {"read_directory", "00B2010C00"},
    {"select_application", "00A4040008A000000333010101"},
    // E-cash support, amount and currency, in the order of the card's list.
    {"get_options", "80A800000B8309010000000012340156"},
    {"read_file_1", "00B2010C00"},
    {"read_file_2", "00B2011400"},
    {"read_file_3", "00B2011C00"},
    // Amounts, country, results, currency, date, type, number, time, merchant: paid without asking.
    {"generate_cryptogram",
     "80AE400034000000001234000000000000015600000008000156261121"
     "01A1B2C3D41015304445534B2053484F500000000000000000000000"},
    {"get_balance", "80CA9F79"},
    {"read_log", "00B2015C00"},
};

constexpr struct {
    const char* name;
    const char* text;
} host_texts[] = {
    {"purchase",
     "P012000000001234Q012000000000000R0040156S006261121T00200U006101112V020CORNER SHOP         "},
    {"terminal", "J0040344K00811223344L0100000008000M00836004080N00201O012000000020000P00512345"},
    {"short_name", "P00512345V004SHOP"},
    {"bad_date", "S0062A0101"},
    {"cut_off", "P012000"},
    {"letters", "ABCDEFGHIJKLMN"},
};

void write(const std::string& folder, const std::string& name, View bytes) {
    std::filesystem::create_directories(folder);
    std::ofstream(folder + "/" + name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

// The search of one tag in an answer: one byte for the tag's size, two for the tag, the answer.
void write_search(const std::string& name, Tag tag, const Bytes& answer) {
    const auto high = static_cast<std::uint8_t>(tag >> 8);
    const auto low = static_cast<std::uint8_t>(tag);
    Bytes seed = tag > 0xFF ? Bytes{1, high, low} : Bytes{0, low, 0};
    virtual_reader::append(seed, answer);
    write("data_object_fuzz", name, seed);
}

void write_lists(const std::string& name, const Bytes& answer) {
    const auto objects = virtual_reader::read_objects(answer);
    if (!objects) return;
    for (const Tag tag : {Tag{0x9F38}, Tag{0x8C}, Tag{0x8D}, Tag{0x9F4F}}) {
        const auto list = objects->find(tag);
        if (list != objects->end())
            write("data_object_list_fuzz", name + "_" + std::to_string(tag), list->second);
    }
}

void write_log_entry(const Bytes& record) {
    for (const std::uint8_t kind : {std::uint8_t{0}, std::uint8_t{1}}) {
        Bytes seed = {kind, static_cast<std::uint8_t>(record.size())};
        virtual_reader::append(seed, record);
        write("log_entry_fuzz", kind == 0 ? "transaction" : "load", seed);
    }
}

int write_seeds() {
    const auto reader = virtual_reader::reader_from_deck(virtual_reader::default_deck(), "deck");
    const virtual_reader::Place slot{false, 0};
    reader->insert("bank", 0);
    reader->ic().power_on(slot);
    int written = 0;
    for (const auto& step : purchase) {
        Bytes answer = reader->ic().transmit(slot, from_hex(step.command)).data;
        if (answer.size() < 2 || answer[answer.size() - 2] != 0x90)
            throw std::runtime_error(step.name +
                                     (" is refused: " + virtual_reader::to_hex(answer)));
        ++written;
        answer.resize(answer.size() - 2);
        for (const Tag tag : {Tag{0x9F38}, Tag{0x5A}, Tag{0x94}, Tag{0x77}})
            write_search(std::string(step.name) + "_" + std::to_string(tag), tag, answer);
        write_lists(step.name, answer);
        if (std::string(step.name) == "read_log") write_log_entry(answer);
    }
    for (const auto& text : host_texts)
        write("host_text_fuzz", text.name, virtual_reader::to_bytes(std::string(text.text)));
    return written;
}

}  // namespace

int main() {
    try {
        std::cout << write_seeds() << " answers of the card\n";
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
