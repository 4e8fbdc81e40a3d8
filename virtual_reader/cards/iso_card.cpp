#include "cards/iso_card.h"

#include <algorithm>

namespace virtual_reader {
namespace {

constexpr std::uint16_t sw_success = 0x9000;
constexpr std::uint16_t sw_wrong_length = 0x6700;
constexpr std::uint16_t sw_wrong_file_type = 0x6981;
constexpr std::uint16_t sw_no_current_file = 0x6986;
constexpr std::uint16_t sw_wrong_parameters = 0x6A86;
constexpr std::uint16_t sw_file_not_found = 0x6A82;
constexpr std::uint16_t sw_record_not_found = 0x6A83;
constexpr std::uint16_t sw_offset_outside = 0x6B00;
constexpr std::uint16_t sw_unknown_instruction = 0x6D00;
constexpr std::uint16_t sw_unknown_class = 0x6E00;

Bytes with_status(Bytes data, std::uint16_t status) {
    data.push_back(static_cast<std::uint8_t>(status >> 8));
    data.push_back(static_cast<std::uint8_t>(status));
    return data;
}

Bytes status_only(std::uint16_t status) {
    return with_status({}, status);
}

std::uint8_t count_byte(std::size_t count) {
    return static_cast<std::uint8_t>(count);
}

// The file control information of a directory: its name in template 6F.
Bytes control_information(const Directory& directory) {
    Bytes information = {0x6F, count_byte(directory.name.size() + 2), 0x84,
                         count_byte(directory.name.size())};
    append(information, directory.name);
    return information;
}

// That of a file: its identifier in template 6F.
Bytes control_information(const ElementaryFile& file) {
    return {0x6F,
            0x04,
            0x83,
            0x02,
            static_cast<std::uint8_t>(file.id >> 8),
            static_cast<std::uint8_t>(file.id)};
}

}  // namespace

// A command APDU with short lengths (ISO 7816-4, 5.1): four bytes, then [Le], [Lc data] or [Lc data
// Le].
struct IsoCard::Command {
    std::uint8_t cla = 0;
    std::uint8_t ins = 0;
    std::uint8_t p1 = 0;
    std::uint8_t p2 = 0;
    View data;
    std::optional<std::size_t> le;  // 256 for a byte of 00

    static std::optional<Command> parse(View bytes) {
        if (bytes.size() < 4) return std::nullopt;
        Command command{bytes[0], bytes[1], bytes[2], bytes[3], {}, {}};
        View rest = bytes.subspan(4);
        if (rest.size() > 1) {
            const std::size_t lc = rest[0];
            if (lc == 0 || rest.size() < 1 + lc || rest.size() > 2 + lc) return std::nullopt;
            command.data = rest.subspan(1, lc);
            rest = rest.subspan(1 + lc);
        }
        if (!rest.empty()) command.le = rest[0] == 0 ? 256 : rest[0];
        return command;
    }
};

IsoCard::IsoCard(IsoCardSettings settings)
    : settings_(std::move(settings)), random_(settings_.seed) {}

Bytes IsoCard::power_on() {
    power_off();
    directory_ = &settings_.files.master;
    return settings_.answer;
}

void IsoCard::power_off() {
    directory_ = nullptr;
    file_ = nullptr;
    waiting_.clear();
}

Bytes IsoCard::transmit(View bytes) {
    const auto command = Command::parse(bytes);
    if (!command) return status_only(sw_wrong_length);
    if (command->cla != 0x00) return status_only(sw_unknown_class);
    if (command->ins != 0xC0) waiting_.clear();
    switch (command->ins) {
        case 0xA4:
            return select(*command);
        case 0xB0:
            return read_binary(*command);
        case 0xB2:
            return read_record(*command);
        case 0x84:
            return get_challenge(*command);
        case 0xC0:
            return get_response(*command);
        default:
            return status_only(sw_unknown_instruction);
    }
}

Bytes IsoCard::select(const Command& command) {
    Bytes information;
    if (command.p1 == 0x04) {
        information = select_by_name(command.data);
    } else if (command.p1 == 0x00 || command.p1 == 0x02) {
        if (!command.data.empty() && command.data.size() != 2) return status_only(sw_wrong_length);
        const int id = command.data.empty() ? 0x3F00 : command.data[0] << 8 | command.data[1];
        information = select_by_id(static_cast<std::uint16_t>(id), command.p1 == 0x00);
    } else {
        return status_only(sw_wrong_parameters);
    }
    if (information.empty()) return status_only(sw_file_not_found);
    if (settings_.by_procedure_bytes) {
        waiting_ = std::move(information);
        return status_only(static_cast<std::uint16_t>(0x6100 | waiting_.size()));
    }
    return with_status(std::move(information), sw_success);
}

// A name may be given by its beginning.
Bytes IsoCard::select_by_name(View name) {
    for (const Directory& directory : settings_.files.directories) {
        const View known(directory.name);
        if (name.empty() || name.size() > known.size() ||
            !std::ranges::equal(known.first(name.size()), name))
            continue;
        directory_ = &directory;
        file_ = nullptr;
        return control_information(directory);
    }
    return {};
}

Bytes IsoCard::select_by_id(std::uint16_t id, bool directories_too) {
    for (const ElementaryFile& file : directory_->files) {
        if (file.id != id) continue;
        file_ = &file;
        return control_information(file);
    }
    if (!directories_too) return {};
    if (id == settings_.files.master.id) {
        directory_ = &settings_.files.master;
        file_ = nullptr;
        return control_information(*directory_);
    }
    for (const Directory& directory : settings_.files.directories) {
        if (directory.id != id) continue;
        directory_ = &directory;
        file_ = nullptr;
        return control_information(directory);
    }
    return {};
}

const ElementaryFile* IsoCard::find_file(std::uint8_t sfi) const {
    const auto file = std::ranges::find(directory_->files, sfi, &ElementaryFile::sfi);
    return sfi == 0 || file == directory_->files.end() ? nullptr : &*file;
}

Bytes IsoCard::read_binary(const Command& command) {
    const bool by_sfi = (command.p1 & 0x80) != 0;
    const ElementaryFile* file = by_sfi ? find_file(command.p1 & 0x1F) : file_;
    if (file == nullptr) return status_only(by_sfi ? sw_file_not_found : sw_no_current_file);
    if (!file->data) return status_only(sw_wrong_file_type);
    if (!command.le) return status_only(sw_wrong_length);
    file_ = file;
    const std::size_t offset =
        by_sfi ? command.p2 : static_cast<std::size_t>(command.p1 << 8 | command.p2);
    if (offset >= file->data->size()) return status_only(sw_offset_outside);
    const View rest = View(*file->data).subspan(offset);
    return respond(to_bytes(rest.first(std::min<std::size_t>(rest.size(), 256))), command);
}

Bytes IsoCard::read_record(const Command& command) {
    const std::uint8_t sfi = command.p2 >> 3;
    const ElementaryFile* file = sfi == 0 ? file_ : find_file(sfi);
    if (file == nullptr) return status_only(sfi == 0 ? sw_no_current_file : sw_file_not_found);
    if (file->data) return status_only(sw_wrong_file_type);
    if ((command.p2 & 0x07) != 0x04) return status_only(sw_wrong_parameters);
    if (!command.le) return status_only(sw_wrong_length);
    if (command.p1 == 0 || command.p1 > file->records.size())
        return status_only(sw_record_not_found);
    file_ = file;
    return respond(file->records[command.p1 - 1u], command);
}

Bytes IsoCard::get_challenge(const Command& command) {
    if (!command.le) return status_only(sw_wrong_length);
    Bytes challenge(*command.le == 256 ? 8 : *command.le);
    std::ranges::generate(challenge, [this] { return static_cast<std::uint8_t>(random_()); });
    return with_status(std::move(challenge), sw_success);
}

Bytes IsoCard::get_response(const Command& command) {
    if (waiting_.empty()) return status_only(sw_wrong_parameters);
    if (!command.le) return status_only(sw_wrong_length);
    const std::size_t count = std::min(*command.le, waiting_.size());
    Bytes part(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(count));
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(count));
    const bool more = !waiting_.empty();
    return with_status(std::move(part),
                       more ? static_cast<std::uint16_t>(0x6100 | waiting_.size()) : sw_success);
}

// The data that a read brought, as much as Le asks for. By procedure bytes Le must be right when it
// asks for more than there is.
Bytes IsoCard::respond(Bytes data, const Command& command) const {
    if (*command.le > data.size() && settings_.by_procedure_bytes && data.size() < 256) {
        return status_only(static_cast<std::uint16_t>(0x6C00 | data.size()));
    }
    if (*command.le < data.size()) data.resize(*command.le);
    return with_status(std::move(data), sw_success);
}

}  // namespace virtual_reader
