// Writes seeds for the fuzzers of whole calls: what the virtual reader and its cards say in every
// call, and arguments that hosts give, on both links and in both frames. Run it with the folder of
// the seeds when a call or the wire changes, and keep those that add something (libFuzzer's
// -merge=1).
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "host.h"
#include "robustness/all_cards.h"

namespace {

using namespace fuzzing;
using robustness::Call;
using virtual_reader::Place;
using virtual_reader::Reader;

// How the deck of the tests is changed for further seeds.
struct Variant {
    std::string name;
    std::string_view from;
    std::string_view to;
    bool agrees = false;  // the card refuses nothing
};

const Variant variants[] = {
    {"", "", ""},
    {" agreed", "", "", true},
    {" objects", R"("balance": 10000)",
     R"("balance": 10000, "options": "objects", "cryptogram_objects": true)"},
    {" residence", R"("kind": "resident")", R"("kind": "residence")"},
    {" foreign", R"("kind": "resident",
      "texts": { "name": "样本甲", "sex": "1", "number": "999999200001019991")",
     R"("kind": "foreign",
      "texts": { "english_name": "EXAMPLE", "sex": "1", "number": "AAA999999999999")"},
};

std::unique_ptr<Reader> recorded_reader(const Call& call, const Variant& variant) {
    std::string deck(robustness::all_cards());
    if (!variant.from.empty())
        deck.replace(deck.find(variant.from), variant.from.size(), variant.to);  // or it throws
    auto reader = virtual_reader::reader_from_deck(deck, "all cards");
    pay_once(*reader);
    reader->insert(call.card);
    return reader;
}

// Passes on what a working reader says, and writes it down as WireEnd takes it.
class WireRecorder final : public FarEnd {
  public:
    WireRecorder(const Call& call, const Variant& variant, Bytes& seed)
        : inner_(recorded_reader(call, variant)), seed_(seed) {}

    void hear(int mode_id, View bytes) override {
        is_asked_ = true;
        inner_.hear(mode_id, bytes);
    }
    Bytes speak() override {
        if (!std::exchange(is_asked_, false)) return {};
        Bytes said = inner_.speak();
        append_piece(seed_, said);
        return said;
    }

  private:
    VirtualEnd inner_;
    Bytes& seed_;
    bool is_asked_ = false;
};

// The same for FramedEnd.
class FramedRecorder final : public FarEnd {
  public:
    FramedRecorder(const Call& call, const Variant& variant, Bytes& seed)
        : inner_(recorded_reader(call, variant)), seed_(seed) {}

    void hear(int mode_id, View bytes) override {
        dialogue_.hear(bytes);
        inner_.hear(mode_id, bytes);
    }
    Bytes speak() override {
        const auto framing = dialogue_.take();
        if (!framing) return {};
        Bytes said = inner_.speak();
        seed_.push_back(0);
        append_piece(seed_, body_of(*framing, said));
        return said;
    }

  private:
    VirtualEnd inner_;
    Dialogue dialogue_;
    Bytes& seed_;
};

// The same for a fuzzed card.
class RecordingCard final : public virtual_reader::Card {
  public:
    RecordingCard(virtual_reader::Card& inner, bool agrees, Bytes& seed)
        : inner_(inner), agrees_(agrees), seed_(seed) {}

    const std::string& name() const override { return inner_.name(); }
    bool contactless() const override { return inner_.contactless(); }
    Bytes power_on() override {
        Bytes answer = inner_.power_on();
        append_piece(seed_, answer);
        return answer;
    }
    void power_off() override { inner_.power_off(); }
    Bytes transmit(View command) override {
        Bytes response = inner_.transmit(command);
        if (agrees_ && command.size() > 1 && is_to_be_agreed(command[1], response))
            response = approval;
        seed_.push_back(0);
        append_piece(seed_, response);
        return response;
    }

  private:
    // What was refused, but that there is no further record, and the second cryptogram.
    bool is_to_be_agreed(std::uint8_t instruction, const Bytes& response) {
        constexpr std::uint8_t read_record = 0xB2;
        constexpr std::uint8_t generate_cryptogram = 0xAE;
        if (instruction == generate_cryptogram && ++cryptograms_ > 1) return true;
        return instruction != read_record && response.size() == 2 && response[0] != 0x90;
    }

    // A transaction certificate with status word 90 00, which serves as any answer.
    inline static const Bytes approval = {0x80, 0x0B, 0x40, 0x00, 0x01, 0x11, 0x22, 0x33,
                                          0x44, 0x55, 0x66, 0x77, 0x88, 0x90, 0x00};

    virtual_reader::Card& inner_;
    bool agrees_;
    int cryptograms_ = 0;
    Bytes& seed_;
};

class CardRecorder final : public FarEnd {
  public:
    CardRecorder(const Call& call, const Variant& variant, Bytes& seed)
        : cards_(recorded_reader(call, variant)), inner_(listen(variant, seed)) {}

    void hear(int mode_id, View bytes) override { inner_.hear(mode_id, bytes); }
    Bytes speak() override { return inner_.speak(); }

  private:
    std::unique_ptr<Reader> listen(const Variant& variant, Bytes& seed) {
        auto reader = std::make_unique<Reader>();
        for (const bool field : {false, true}) {
            virtual_reader::Card* card = cards_->ic().card_at({field, 0});
            if (card == nullptr) continue;
            reader->ic().add(std::make_unique<RecordingCard>(*card, variant.agrees, seed));
            reader->ic().insert(card->name());
        }
        return reader;
    }

    std::unique_ptr<Reader> cards_;
    VirtualEnd inner_;
};

constexpr std::size_t header_size = 3;
constexpr std::uint8_t ways = 4;  // of both links and both frames, as Header takes them

Bytes header_of(std::size_t call, std::uint8_t way) {
    constexpr std::uint8_t change_by_command = 1;
    return {static_cast<std::uint8_t>(call), way, change_by_command};
}

Header header_in(const Bytes& seed) {
    Draw start(Input{seed});
    return Header(start);
}

// Seeds in which nothing was said are left out.
int write(const std::filesystem::path& folder, std::string name, std::uint8_t way,
          const Bytes& seed) {
    if (seed.size() == header_size) return 0;
    name += (way & 1) == 0 ? " hid" : " serial";
    name += (way & 2) == 0 ? " ic" : " union";
    for (char& c : name)
        c = c == ' ' || c == '(' || c == ')' ? '_' : c;
    std::filesystem::create_directories(folder);
    std::ofstream(folder / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(seed.data()),
               static_cast<std::streamsize>(seed.size()));
    return 1;
}

template <class WriteOne>
int write_ways(std::span<const Call> calls, WriteOne write_one) {
    int written = 0;
    for (std::size_t number = 0; number < calls.size(); ++number) {
        for (std::uint8_t way = 0; way < ways; ++way)
            written += write_one(calls[number], way, header_of(number, way));
    }
    return written;
}

template <class Recorder>
int write_answers(const std::filesystem::path& folder) {
    return write_ways(reader_calls(), [&](const Call& call, std::uint8_t way, const Bytes& seed) {
        int written = 0;
        for (const Variant& variant : variants) {
            Bytes told = seed;
            Draw examples(&told);
            Recorder recorder(call, variant, told);
            run(header_in(seed), reader_calls(), recorder, examples);
            written += write(folder, call.name + variant.name, way, told);
        }
        return written;
    });
}

int write_arguments(const std::filesystem::path& folder) {
    return write_ways(host_calls(), [&](const Call& call, std::uint8_t way, Bytes seed) {
        const Header header = header_in(seed);
        Draw examples(&seed);
        VirtualEnd reader(reader_for(call));
        run(header, host_calls(), reader, examples);
        return write(folder, call.name, way, seed);
    });
}

}  // namespace

int main(int count, char** arguments) {
    try {
        if (count != 2) throw std::invalid_argument("usage: call_seeds FOLDER");
        const auto folder = std::filesystem::absolute(arguments[1]);
        std::cout << write_answers<WireRecorder>(folder / "wire_answers_fuzz") << " of wires, "
                  << write_answers<FramedRecorder>(folder / "framed_answers_fuzz") << " in frames, "
                  << write_answers<CardRecorder>(folder / "card_answers_fuzz") << " of cards, "
                  << write_arguments(folder / "host_arguments_fuzz") << " of hosts\n";
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
