// Identity cards for terminals that name the port: one call opens the reader, reads the card with
// its photo and closes the reader.
#include <deskreader.h>

#include <array>
#include <cstring>
#include <initializer_list>
#include <span>
#include <string_view>

#include "api/id_photo_file.h"
#include "api/id_reading.h"
#include "api/id_text.h"
#include "status.h"
#include "terminal/port.h"

using namespace deskreader;

namespace {

constexpr int default_baud = 9600;
constexpr int info_size = 4096;
constexpr int kind_head = 0;

// Where the photos are to go; null for those that are not wanted.
struct PhotoPaths {
    const char* head;
    const char* face;
    const char* back;
    const char* card;
};

std::size_t length_of(const char* text) noexcept {
    return text == nullptr ? 0 : std::strlen(text);
}

const char* longest(const PhotoPaths& paths) noexcept {
    const char* result = paths.head;
    for (const char* path : {paths.face, paths.back, paths.card}) {
        if (length_of(path) > length_of(result)) result = path;
    }
    return result;
}

void log_paths(const PhotoPaths& paths) noexcept {
    if (paths.head != nullptr) GLogI("szPhotoHead = %s\r\n", paths.head);
    if (paths.face != nullptr) GLogI("szPhotoFace = %s\r\n", paths.face);
    if (paths.back != nullptr) GLogI("szPhotoBack = %s\r\n", paths.back);
    if (paths.card != nullptr) GLogI("szPhotoCard = %s\r\n", paths.card);
}

// Writes the head photo under the name derived for it, if there is one.
int write_head_photo(const char* given, const char* card_number,
                     const api::IdRecord& record) noexcept {
    std::array<char, api::id_photo_file::path_room> path{};
    RD_ModifyIdPath_KP(kind_head, card_number, given, path.data());
    if (path[0] == '\0') return status::ok;
    std::array<unsigned char, 1024> photo;
    ID_GetPhotoInfo(record.data(), photo.data());
    return api::id_photo_file::write_under_number(path.data(), card_number, photo.data());
}

// Reads the card in an open reader. A read that leaves something for later in the second word of
// its state keeps the reader open.
int read_in_port(terminal::Port& reader, const PhotoPaths& paths, char* info,
                 int timeout_s) noexcept {
    *info = '\0';
    std::array<int, 2> state{};
    const int result = RD_ReadIdInfo_Pic_KP(paths.head, paths.face, paths.back, paths.card,
                                            info_size, info, state.data(), timeout_s);
    if (state[1] != 0) reader.keep_open();
    reader.close();
    return result;
}

}  // namespace

int RD_ReadIdInfo_Pic_KP(const char* head_path, const char* face_path, const char* back_path,
                         const char* card_path, int size, char* info, int*, int timeout_s) {
    api::IdRecord record;
    const int result =
        api::read_id_card({.timeout_s = timeout_s,
                           .photo_path = longest({head_path, face_path, back_path, card_path}),
                           .path_error = "szPicPath Error!\r\n",
                           .has_outputs = info != nullptr && size > 0},
                          record);
    if (result != status::ok) return result;
    const api::IdText text(record);
    text.write(api::IdText::Length::fields_of_kind,
               std::span(info, static_cast<std::size_t>(size)));
    return RD_GetErrorCode(write_head_photo(head_path, text.card_number(), record));
}

int ID_GetInfo(const char* port, const char* extend_port, int baud, int timeout_s,
               const char* head_path, const char* face_path, const char* back_path,
               const char* card_path, char* info) {
    GLogI("Enter ID_GetInfo \r\n");
    GLogI("pszPort = %s, nBaudRate = %d, nTimeout = %d\r\n", terminal::shown(port), baud,
          timeout_s);
    if (timeout_s < 0 || info == nullptr || port == nullptr) {
        return Ovan_GetErrorCode(status::invalid_parameter);
    }
    const char extend = terminal::extend_character(extend_port);
    const PhotoPaths paths{head_path, face_path, back_path, card_path};
    log_paths(paths);
    GSetConfigString("devcfg", "IdChange", "1");

    terminal::Port reader(port, extend, baud == 0 ? default_baud : baud);
    int result = reader.result();
    if (result == status::ok) {
        result = read_in_port(reader, paths, info, timeout_s);
        GLogI("Exit ID_GetInfo, ret = %d, szIdentityInfo = %s\r\n", result, info);
    } else {
        GLogI("Exit ID_GetInfo, ret = %d\r\n", result);
    }
    return Ovan_GetErrorCode(result);
}
