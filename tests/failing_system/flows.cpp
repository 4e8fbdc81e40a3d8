#include "failing_system/flows.h"

#include <deskreader.h>

#include <climits>
#include <cstdarg>
#include <cstdlib>

#include "failing_system/system.h"
#include "issuer_host.h"

namespace failing_system {
namespace {

constexpr int rate = 9600;
constexpr int seconds = 1;
constexpr char payment[] =
    "P012000000001234Q012000000000000R0040156S006261121T00200U006101112V020CORNER SHOP         ";
constexpr char ticket_key[] = "000102030405060708090A0B0C0D0E0F";

std::string deck() {
    return R"({ "cards": [
      { "type": "payment", "name": "bank", "inserted": true, "pin": "1234", "balance": 10000 },
      { "type": "social-security", "name": "citizen", "person": "ADA EXAMPLE" },
      { "type": "mifare-classic", "name": "locker", "size": "1K", "uid": "5A5B5C5D",
        "sectors": [ { "number": 2, "key_a": "A0A1A2A3A4A5" } ],
        "blocks": [ { "number": 4, "data": "LOCKER 17" }, { "number": 5, "value": 250 } ] },
      { "type": "ultralight-c", "name": "ticket", "uid": "04515253545556",
        "key": "000102030405060708090A0B0C0D0E0F", "data": "TEN RIDES", "protected_from": 8 },
      { "type": "magnetic", "name": "loyalty", "inserted": true,
        "track1": "B9999000000000003^EXAMPLE/CAT^3012", "track2": "9999000000000003=3012",
        "track3": "009999000000000003'0012'0" },
      { "type": "identity", "name": "resident", "inserted": true, "kind": "resident",
        "photo": { "hex": ")" +
           kit::to_hex(kit::striped_picture()) + R"(" },
        "texts": { "name": "样本甲", "sex": "1", "number": "999999200001019991",
                   "birth": "20000101", "valid_until": "20400101" } } ] })";
}

std::string configuration(const kit::Way& way) {
    return "[log]\nloglevel=2\nsaveday=15\n[devcfg]\nIccmd=" + std::to_string(way.iccmd) +
           "\nIdChange=1\n";
}

void open_and_close(Desk& desk) {
    desk.note(COMM_Init());
    desk.note(RD_InitConnect(desk.port(), rate, 0, 0, 0, desk.text(256), desk.number()));
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_GetDevInfo(0, desk.text(256), desk.number()));
    desk.note(RD_Close());
    desk.note(RD_Close());
    desk.note(COMM_Exit());
}

void change_of_rate(Desk& desk) {
    long long before = 0;
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_SetDevBaud(115200));
    desk.note(RD_ChangeBaud(115200, &before));
    desk.note(RD_GetDevSn(desk.text(33), desk.number()));
    desk.note(RD_Close());
}

void apdu(Desk& desk) {
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_IcPowerOn(0, 512, desk.text(512), desk.number(), desk.number(), seconds));
    desk.note(RD_IcAPDU(0, "00A404000E315041592E5359532E4444463031", 38, 0, desk.text(2048),
                        desk.number()));
    desk.note(RD_IcPowerOff(0));
    desk.note(RD_Close());
}

void logged_apdu(Desk& desk) {
    GSetLogLevel(2);
    apdu(desk);
    GSetLogLevel(0);
}

void card_information(Desk& desk) {
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_ICGetInfo(0, "ABCDEFGHIJKLMN", 0, desk.text(3627), seconds));
    desk.note(RD_Close());
}

void purchase(Desk& desk) {
    virtual_reader::IssuerHost issuer;
    char* request = desk.text(2400);
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_ICGenARQC(0, payment, 2400, request, desk.number(), seconds));
    const std::string answer = issuer.authorise(request).text;
    desk.note(RD_ICExeScript_TC(0, payment, answer.c_str(), 64, desk.text(64), 0, desk.text(1024)));
    desk.note(RD_Close());
}

void logs(Desk& desk) {
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_ICGetDetail(0, 0, desk.text(4102), seconds));
    desk.note(RD_ICGetCircllog(0, 0, desk.text(4102), seconds));
    desk.note(RD_Close());
}

void social_security(Desk& desk) {
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_SSCReadInfo(0, desk.text(1300), seconds));
    desk.note(RD_Close());
}

void magnetic_card(Desk& desk) {
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_ReadMagCard(0, 123, 256, desk.text(256), desk.number(), 256, desk.text(256),
                             desk.number(), 256, desk.text(256), desk.number(), seconds));
    desk.note(RD_WriteMagCard(0, nullptr, 0, "9999=1", 0, "9'1", 0, seconds));
    desk.note(RD_GetMagCardNo(0, 23, 2, desk.text(256), desk.number(), seconds));
    desk.note(RD_Close());
}

void identity_card(Desk& desk) {
    desk.note(RD_Open(desk.port(), rate, 0));
    for (const char* picture : {"me.bmp", "me.gif"}) {
        desk.note(RD_ReadIdInfo(picture, 0, desk.text(544), desk.number(), desk.number(), 0,
                                desk.bytes(1024), desk.number(), seconds));
    }
    desk.note(RD_GetIdRawData(nullptr, nullptr, seconds));
    desk.note(RD_Close());
}

void mifare(Desk& desk) {
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_M1Powerup(512, desk.text(512), desk.number(), seconds));
    desk.note(RD_M1Verify(2, 0, "A0A1A2A3A4A5"));
    desk.note(RD_M1ReadBlock(4, 32, desk.text(33)));
    desk.note(RD_M1WriteBlock(4, "00112233445566778899AABBCCDDEEFF"));
    desk.note(RD_M1IncreaseValue(5, 1));
    desk.note(RD_M1Powerdown());
    desk.note(RD_Close());
}

void ultralight(Desk& desk) {
    desk.note(RD_Open(desk.port(), rate, 0));
    desk.note(RD_M0PowerOn(512, desk.text(512), desk.number(), seconds));
    desk.note(RD_M0VerifyKey(32, ticket_key));
    desk.note(RD_M0Read(8, 2, 32, desk.text(33)));
    desk.note(RD_M0Write(9, "20260101"));
    desk.note(RD_M0PowerOff());
    desk.note(RD_Close());
}

void terminal_payment(Desk& desk) {
    const char* port = desk.port_name();
    virtual_reader::IssuerHost issuer;
    char* request = desk.text(4000);
    char* application_data = desk.text(1025);
    desk.note_terminal(IC_GetInfo(port, nullptr, rate, seconds, desk.number(3), "", "ABCDEFGHIJKL",
                                  desk.number(), desk.text(3109)));
    desk.note_terminal(IC_GenARQC(port, nullptr, rate, seconds, desk.number(1), "", payment,
                                  desk.number(4000), request, application_data));
    const std::string answer = issuer.authorise(request).text;
    desk.note_terminal(IC_CtlScriptData(port, nullptr, rate, seconds, desk.number(1), payment,
                                        answer.c_str(), desk.number(), desk.text(1025),
                                        desk.text(1024), application_data));
    desk.note_terminal(IC_GetTranDeta(port, nullptr, rate, seconds, desk.number(1), "",
                                      desk.number(), desk.text(4102)));
}

void terminal_modules(Desk& desk) {
    const char* port = desk.port_name();
    desk.note_terminal(
        MS_ReadCard(port, nullptr, rate, seconds, 23, 0, desk.text(512), desk.text(512)));
    desk.note_terminal(MS_WriteCard(port, nullptr, rate, seconds, 23, 0, "1=2", "3'4"));
    const std::string photos = desk.path("photos");
    desk.note_terminal(ID_GetInfo(port, nullptr, rate, seconds, photos.c_str(), nullptr, nullptr,
                                  nullptr, desk.text(4096)));
}

void configuration_changes(Desk& desk) {
    desk.note(GSetConfigString("devcfg", "Iccmd", "0"));
    desk.note(GSetConfigString("log", "saveday", "365"));
    desk.note(GSetConfigString("log", "loglevel", ""));
    desk.note(GGetConfigInt("devcfg", "IdBaud", 9600, desk.number()));
    desk.note(GGetConfigString("devcfg", "IdChange", "1", desk.text(256), 256));
}

void messages(Desk& desk) {
    for (const int level : {0, 1, 2}) {
        GSetLogLevel(level);
        desk.note(GLogE("an error of level %d\r\n", level));
        desk.note(GLogI("a message at level %d\r\n", level));
        desk.note(GDbgPrintStr(1, "printed\r\n"));
    }
    GSetLogLevel(0);
}

void load_and_unload(Desk& desk) {
    my_init();
    my_fini();
    GSetLogLevel(0);
    GSetLogFilePath(desk.log_path().c_str());
}

void files(Desk& desk) {
    unsigned char* content = desk.bytes(1000);
    const std::string path = desk.path("file");
    for (const int mode : {4, 1}) {
        std::FILE* file = GOpenFile(path.c_str(), mode);
        const int moved =
            mode == 4 ? GWriteFile(file, content, 1000) : GReadFile(file, content, 1000);
        desk.note(moved);
        if (file != nullptr) desk.note(GCloseFile(file));
    }
    desk.note(static_cast<int>(GGetFileSize(path.c_str())));
    desk.note(GScanDirectory(
        desk.path("").c_str(), [](const char*, const char*, void*) { return 0; }, nullptr));
}

void formatted_text(Desk& desk) {
    const auto format = [](char** out, const char* text, ...) {
        va_list arguments;
        va_start(arguments, text);
        const int result = _Safe_vasprintf(out, text, arguments);
        va_end(arguments);
        return result;
    };
    char* out = nullptr;
    desk.note(format(&out, "%s and %d", "text", 7));
    const bool is_whole = out == nullptr || std::string_view(out) == "text and 7";
    desk.note(is_whole ? 0 : INT_MIN);  // no number of the library's
    std::free(out);
}

constexpr Flow all_flows[] = {
    {"open-and-close", "bank", open_and_close},
    {"change-of-rate", "bank", change_of_rate},
    {"apdu", "bank", apdu},
    {"logged-apdu", "bank", logged_apdu},
    {"card-information", "bank", card_information},
    {"purchase", "bank", purchase},
    {"logs", "bank", logs},
    {"social-security", "citizen", social_security},
    {"magnetic-card", "loyalty", magnetic_card},
    {"identity-card", "resident", identity_card},
    {"mifare", "locker", mifare},
    {"ultralight", "ticket", ultralight},
    {"terminal-payment", "bank", terminal_payment},
    {"terminal-modules", "resident", terminal_modules},
    {"configuration", "bank", configuration_changes, false},
    {"messages", "bank", messages, false},
    {"load-and-unload", "bank", load_and_unload, false},
    {"files", "bank", files, false},
    {"formatted-text", "bank", formatted_text, false},
};

}  // namespace

Desk::Desk(const kit::Way& way) : config_(configuration(way)), bench_(way.link, deck()) {
    directory_.put_decoder();
    directory_.put_converter();
    port_name_ = bench_.port_name();
    log_path_ = path("desk.log");
    std::filesystem::create_directory(path("photos"));
    std::filesystem::create_directory(path("log"));
    kit::write_file(path("log/sd_20000101.log"), "old\r\n");
    kit::write_file(path("config.ini"), configuration(way));
    pretend_library_is(path("libdeskreader.so"));
    GSetLogLevel(0);
    GSetLogFilePath(log_path_.c_str());
}

Desk::~Desk() {
    GSetLogLevel(0);
    pretend_library_is("");
}

std::span<const Flow> flows() {
    return all_flows;
}

}  // namespace failing_system
