#include "cards/iso_card.h"

#include <algorithm>

#include "cards/tlv.h"

namespace virtual_reader {
namespace {

// The file control information of a directory: its name in template 6F, and what it adds in A5.
Bytes control_information(const Directory& directory) {
    Bytes content = data_object(0x84, directory.name);
    if (!directory.proprietary.empty()) append(content, data_object(0xA5, directory.proprietary));
    return data_object(0x6F, content);
}

// That of a file: its identifier in template 6F.
Bytes control_information(const ElementaryFile& file) {
    const Bytes id = {static_cast<std::uint8_t>(file.id >> 8), static_cast<std::uint8_t>(file.id)};
    return data_object(0x6F, data_object(0x83, id));
}

}  // namespace

IsoCard::IsoCard(IsoCardSettings settings)
    : settings_(std::move(settings)),
      random_(settings_.seed),
      responder_(settings_.by_procedure_bytes) {}

Bytes IsoCard::power_on() {
    power_off();
    directory_ = &settings_.files.master;
    return settings_.answer;
}

void IsoCard::power_off() {
    directory_ = nullptr;
    file_ = nullptr;
    responder_.forget();
}

Bytes IsoCard::transmit(View bytes) {
    const auto command = Command::parse(bytes);
    if (!command) return status_only(sw_wrong_length);
    if (command->cla != 0x00) return status_only(sw_unknown_class);
    responder_.begin(*command);
    switch (command->ins) {
        case 0xA4:
            return select(*command);
        case 0xB0:
            return read_binary(*command);
        case 0xB2:
            return read_record(*command);
        case 0x84:
            return get_challenge(*command);
        case ins_get_response:
            return responder_.get_response(*command);
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
    return responder_.answer(std::move(information));
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
    return responder_.read(to_bytes(rest.first(std::min<std::size_t>(rest.size(), 256))), command);
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
    return responder_.read(file->records[command.p1 - 1u], command);
}

Bytes IsoCard::get_challenge(const Command& command) {
    if (!command.le) return status_only(sw_wrong_length);
    Bytes challenge(*command.le == 256 ? 8 : *command.le);
    std::ranges::generate(challenge, [this] { return static_cast<std::uint8_t>(random_()); });
    return with_status(std::move(challenge), sw_success);
}

}  // namespace virtual_reader
