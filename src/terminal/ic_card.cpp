// The payment flows in one call each: open the reader on the port that the host names, run the
// flow, close. Card types are one-based here and zero-based in the flows.
#include <deskreader.h>

#include <array>
#include <cstring>
#include <span>

#include "status.h"
#include "support/bounded.h"
#include "support/log.h"
#include "support/text.h"
#include "terminal/port.h"

using namespace deskreader;
using terminal::shown;

namespace {

// What every call names first.
struct Call {
    const char* name;
    const char* port;
    const char* extend_port;
    int baud;
    int timeout_s;
    char extend_character = '0';
};

// Looks at the arguments that every call has; `complete` tells whether the others are there.
// Returns 0 or the number with which the call ends.
int begin(Call& call, bool complete) noexcept {
    GLogI("Enter %s\r\n", call.name);
    GLogI("pszPort = %s, nBaudRate = %d, nTimeout = %d\r\n", shown(call.port), call.baud,
          call.timeout_s);
    if (call.timeout_s < 0) return status::invalid_parameter;
    call.extend_character = terminal::extend_character(call.extend_port);
    return call.port != nullptr && complete ? status::ok : status::invalid_parameter;
}

// The end of a call whose reader could not be opened.
int end(const Call& call, int result) noexcept {
    GLogI("Exit %s, ret = %d\r\n", call.name, result);
    return Ovan_GetErrorCode(result);
}

// The host's list of application identifiers, as much as is looked at.
class ApplicationList {
  public:
    explicit ApplicationList(const char* text) noexcept { bounded::copy_text(text_, shown(text)); }

    const char* c_str() const noexcept { return text_.data(); }

  private:
    std::array<char, 64> text_;
};

// What the host kept of the application, from hexadecimal text.
class ApplicationData {
  public:
    explicit ApplicationData(const char* text) noexcept {
        size_ = text::from_hex(text, bytes_);
        GLogI("iAppDataLen = %d, szAppData = %s\r\n", size(),
              log::HexText<2 * capacity>(std::span(bytes_).first(size_)).c_str());
    }

    int size() const noexcept { return static_cast<int>(size_); }
    const unsigned char* bytes() const noexcept { return bytes_.data(); }

  private:
    static constexpr std::size_t capacity = 8192;
    std::array<unsigned char, capacity> bytes_;
    std::size_t size_ = 0;
};

int length_of(const char* text) noexcept {
    return static_cast<int>(std::strlen(text));
}

// Of a text that may fill its buffer without a terminator.
int length_within(const char* text, int room) noexcept {
    return room <= 0 ? 0 : static_cast<int>(strnlen(text, static_cast<std::size_t>(room)));
}

}  // namespace

int IC_GetInfo(const char* port, const char* extend_port, int baud, int timeout_s, int* card_type,
               const char* applications, const char* tag_list, int* length, char* out) {
    Call call{"IC_GetInfo", port, extend_port, baud, timeout_s};
    const bool complete = card_type != nullptr && applications != nullptr && tag_list != nullptr &&
                          length != nullptr && out != nullptr;
    const int begun = begin(call, complete);
    if (begun != status::ok) return Ovan_GetErrorCode(begun);
    GLogI("pnIcType = %d, pszAIDlist = %s, pszTaglist = %s, pnUsrInfoLen = %d\r\n", *card_type,
          applications, tag_list, *length);
    const ApplicationList list(applications);
    terminal::Port reader(port, call.extend_character, baud);
    if (reader.result() != status::ok) return end(call, reader.result());

    out[0] = '\0';
    int kind = *card_type - 1;
    const int result = RD_ICGetInfo_KP(&kind, list.c_str(), tag_list, *length, out, timeout_s);
    reader.close();
    *length = length_of(out);
    *card_type = kind + 1;
    GLogI("Exit IC_GetInfo, ret = %d, pnIcType = %d, pnUsrInfoLen = %d, pszUserInfo = %s\r\n",
          result, *card_type, *length, out);
    return Ovan_GetErrorCode(result);
}

int IC_GenARQC(const char* port, const char* extend_port, int baud, int timeout_s, int* card_type,
               const char* applications, const char* transaction, int* length, char* out,
               char* application_data) {
    Call call{"IC_GenARQC", port, extend_port, baud, timeout_s};
    const bool complete = card_type != nullptr && transaction != nullptr && length != nullptr &&
                          out != nullptr && application_data != nullptr;
    const int begun = begin(call, complete);
    if (begun != status::ok) return Ovan_GetErrorCode(begun);
    GLogI("pnIcType = %d, pszAIDlist = %s, pszTxData = %s, pnARQCLen = %d\r\n", *card_type,
          shown(applications), transaction, *length);
    const ApplicationList list(applications);
    terminal::Port reader(port, call.extend_character, baud);
    if (reader.result() != status::ok) return end(call, reader.result());

    if (*length > 0) out[0] = '\0';
    application_data[0] = '\0';
    int kind = *card_type - 1;
    const int result = RD_ICGenARQC_KP(&kind, list.c_str(), transaction, *length, out, timeout_s,
                                       application_data);
    reader.close();
    *length = length_within(out, *length);
    *card_type = kind + 1;
    GLogI(
        "Exit IC_GenARQC, ret = %d, pnIcType = %d, pnARQCLen = %d, pszARQC = %.*s, "
        "pszIcc_appdata = %s\r\n",
        result, *card_type, *length, *length, out, application_data);
    return Ovan_GetErrorCode(result);
}

int IC_CtlScriptData(const char* port, const char* extend_port, int baud, int timeout_s,
                     int* card_type, const char* transaction, const char* issuer_text, int* length,
                     char* out, char* script_result, const char* application_data) {
    constexpr int result_room = 1024;
    Call call{"IC_CtlScriptData", port, extend_port, baud, timeout_s};
    const bool complete = card_type != nullptr && transaction != nullptr &&
                          issuer_text != nullptr && length != nullptr && out != nullptr &&
                          script_result != nullptr && application_data != nullptr &&
                          *application_data != '\0';
    const int begun = begin(call, complete);
    if (begun != status::ok) return Ovan_GetErrorCode(begun);
    GLogI("pnIcType = %d, pszTxData = %s, pszARPC = %s, pnTCLen = %d, pszIcc_appdata = %s\r\n",
          *card_type, transaction, issuer_text, *length, application_data);
    const ApplicationData data(application_data);
    terminal::Port reader(port, call.extend_character, baud);
    if (reader.result() != status::ok) return end(call, reader.result());

    script_result[0] = '\0';
    std::array<char, 1025> cryptogram{};  // the flow does not terminate it
    const int result =
        RD_ICExeScript_KP(*card_type - 1, transaction, issuer_text, result_room, script_result,
                          *length, cryptogram.data(), data.size(), data.bytes());
    reader.close();
    *length = length_of(cryptogram.data());
    std::memcpy(out, cryptogram.data(), static_cast<std::size_t>(*length) + 1);
    GLogI(
        "Exit IC_CtlScriptData, ret = %d, pnIcType = %d, pnTCLen = %d, pszTC = %s, "
        "pszScriptResult = %s\r\n",
        result, *card_type, *length, out, script_result);
    return Ovan_GetErrorCode(result);
}

int IC_GetTranDeta(const char* port, const char* extend_port, int baud, int timeout_s,
                   int* card_type, const char* applications, int* length, char* out) {
    Call call{"IC_GetTranDeta", port, extend_port, baud, timeout_s};
    const bool complete = card_type != nullptr && length != nullptr && out != nullptr;
    const int begun = begin(call, complete);
    if (begun != status::ok) return Ovan_GetErrorCode(begun);
    GLogI("pnIcType = %d, pszAIDlist = %s, pnTxDetailLen = %d\r\n", *card_type, shown(applications),
          *length);
    const ApplicationList list(applications);
    terminal::Port reader(port, call.extend_character, baud);
    if (reader.result() != status::ok) return end(call, reader.result());

    out[0] = '\0';
    int kind = *card_type - 1;
    const int result = RD_ICGetDetail_KP(&kind, list.c_str(), *length, out, timeout_s);
    reader.close();
    *length = length_of(out);
    *card_type = kind + 1;
    GLogI("Exit IC_GetTranDeta, ret = %d, pnTxDetailLen = %d, TxDetail = %s\r\n", result, *length,
          out);
    return Ovan_GetErrorCode(result);
}
