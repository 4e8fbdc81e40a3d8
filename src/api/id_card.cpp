// Identity cards for hosts: the module's reset and baud rate, and the card's text and photo.
#include <deskreader.h>

#include <array>
#include <cstring>
#include <span>

#include "api/id_photo_file.h"
#include "api/id_reading.h"
#include "api/id_text.h"
#include "status.h"

using namespace deskreader;
using api::IdRecord;
using api::IdText;

namespace {

constexpr int command_limit_ms = 1000;

// "Long-term" in UTF-8. kept: fields are GB 18030 text, in which it is said with other bytes.
constexpr char no_expiry[] = "\xE9\x95\xBF\xE6\x9C\x9F";

constexpr std::size_t photo_size = 1024;
using Photo = std::array<unsigned char, photo_size>;

bool is_given(const char* text) noexcept {
    return text != nullptr && *text != '\0';
}

int write_text(const IdText& text, IdText::Length length, char* info) noexcept {
    return static_cast<int>(text.write(length, std::span(info, IdText::room)));
}

void check_expiry(const char* valid_until, int* expired) noexcept {
    if (expired == nullptr) return;
    if (std::strcmp(valid_until, no_expiry) == 0) {
        *expired = 0;
    } else {
        ID_IsTimeOut(valid_until, expired);
    }
}

// kept: two lines in the log are all that comes of it.
void get_photo_data(const Photo& photo, int reserved, unsigned char* data) noexcept {
    GLogI("ID_GetBmpData start\r\n");
    int length = 0;
    const int result = ID_GetBmpData(photo.data(), reserved, data, &length);
    GLogI("ID_GetBmpData end, iPbLen = %d, ret = %d\r\n", length, result);
}

// RD_ReadIdInfo_Pic, and the beginning of its relative with images.
int read_text(const char* path, char* info, int* info_length, int timeout_s,
              IdRecord& record) noexcept {
    const int result = api::read_id_card({.timeout_s = timeout_s,
                                          .photo_path = path,
                                          .path_error = "szPicPath Error!\r\n",
                                          .has_outputs = info != nullptr && info_length != nullptr},
                                         record);
    if (result == status::ok) {
        *info_length = write_text(IdText(record), IdText::Length::fields_of_kind, info);
    }
    return result;
}

}  // namespace

int RD_IdReset(void) {
    int result = status::ok;
    {
        const api::IdMode mode;
        result = api::reset_id_module();
    }
    return RD_GetErrorCode(result);
}

int RD_SetIdBaud(int baud) {
    int result = status::ok;
    {
        const api::IdMode mode;
        result = ID_SetIdBaud(&context, baud, command_limit_ms);
    }
    return RD_GetErrorCode(result);
}

int RD_GetIdRawData(unsigned char*, int*, int timeout_s) {
    IdRecord record;
    return api::read_id_card({.timeout_s = timeout_s}, record);
}

int RD_ReadIdInfo(const char* bmp_path, int, char* info, int* info_length, int* expired,
                  int reserved, unsigned char* photo_data, int* photo_data_length, int timeout_s) {
    IdRecord record;
    int result = api::read_id_card({.timeout_s = timeout_s,
                                    .photo_path = bmp_path,
                                    .path_error = "szBmpPath Error!\r\n",
                                    .has_outputs = info != nullptr && info_length != nullptr},
                                   record);
    if (result != status::ok) return result;

    const IdText text(record);
    *info_length = write_text(text, IdText::Length::all_fields, info);
    check_expiry(text.valid_until(), expired);
    Photo photo;
    ID_GetPhotoInfo(record.data(), photo.data());
    if (is_given(bmp_path)) {
        if (api::id_photo_file::needs_converter(bmp_path)) {
            return api::id_photo_file::write_converted(bmp_path, photo.data());
        }
        result = api::id_photo_file::write_bmp(bmp_path, text.card_number(), photo.data());
    }
    if (photo_data != nullptr && photo_data_length != nullptr) {
        get_photo_data(photo, reserved, photo_data);
    }
    return RD_GetErrorCode(result);
}

int RD_ReadIdInfo_Pic(const char* pic_path, int, char* info, int* info_length, int timeout_s) {
    IdRecord record;
    return read_text(pic_path, info, info_length, timeout_s, record);
}

int RD_ReadIdInfo_Pic_FB(const char* pic_path, int, char* info, int* info_length, char* front_img,
                         char* back_img, int timeout_s) {
    IdRecord record;
    const int result = read_text(pic_path, info, info_length, timeout_s, record);
    if (result != status::ok) return result;
    if (front_img != nullptr) *front_img = '\0';
    if (back_img != nullptr) *back_img = '\0';
    Photo photo;
    ID_GetPhotoInfo(record.data(), photo.data());
    ID_GetFrontBackImg(record.data(), photo.data(), front_img, back_img);
    return status::ok;
}
