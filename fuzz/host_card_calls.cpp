// The functions for cards with their fuzzed arguments, from the terminal's floor and the API.
#include "host.h"

namespace fuzzing {
namespace {

using robustness::Call;
using robustness::Leaves;

constexpr std::string_view transaction =
    "P012000000001234Q012000000000000R0040156S006261121T00200U006101112V004SHOP";
constexpr std::string_view terminal_transaction =
    "J0040156K00811223344L0100000008000M00836004080N00201O012000000020000P012000000001234";
constexpr std::string_view issuer_answer =
    "910A00112233445566773030720E9F1804000000018604841600009F";
constexpr std::string_view application_data = "8D068A0295059F02";
constexpr std::string_view application = "A000000333010101";
constexpr std::string_view key = "A0A1A2A3A4A5";
constexpr std::string_view secret = "49454D4B41455242214E4143554F5946";
constexpr int rate = 9600;
constexpr int skipped = 0;

int power_on(Host& h) {
    return std::apply(RD_IcPowerOn, std::tuple{h.slot(), h.size(512), h.text_room(512), h.place(),
                                               h.place(), h.limit()});
}
int power_off(Host& h) {
    return RD_IcPowerOff(h.slot());
}
int transmit(Host& h) {
    RD_IcPowerOn(0, 512, h.text_room(512), h.place(), h.place(), 1);
    const auto command = h.part("00A404000E315041592E5359532E4444463031");
    return RD_IcAPDU(h.slot(), command.text, command.length, 0, h.text_room(2048), h.place());
}
int get_info(Host& h) {
    return std::apply(RD_ICGetInfo, std::tuple{h.slot(), h.text_or_null("ABCDEFGHIJKLMN"), 0,
                                               h.text_room(3627), h.limit()});
}
int get_detail(Host& h) {
    return std::apply(RD_ICGetDetail, std::tuple{h.slot(), 0, h.text_room(4102), h.limit()});
}
int get_loads(Host& h) {
    return std::apply(RD_ICGetCircllog, std::tuple{h.slot(), 0, h.text_room(4102), h.limit()});
}
int generate(Host& h) {
    const int room = h.size(2400);
    return std::apply(RD_ICGenARQC, std::tuple{h.slot(), h.text_or_null(transaction), room,
                                               h.text_room(room), h.place(), h.limit()});
}
int complete(Host& h) {
    RD_ICGenARQC(0, h.text(transaction), 2400, h.text_room(2400), h.place(), 1);
    char* answer = h.text_or_null(issuer_answer);
    if (answer != nullptr && runs_for_ever(std::string_view(answer))) return skipped;
    const int room = h.size(40);
    return std::apply(RD_ICExeScript_TC,
                      std::tuple{h.slot(), h.text_or_null(transaction), answer, room,
                                 h.text_room(std::max(room, 17)), 0, h.text_room(1024)});
}
int complete_offline(Host& h) {
    RD_ICGenARQC(0, h.text(transaction), 2400, h.text_room(2400), h.place(), 1);
    char* answer = h.text_or_null(issuer_answer);
    if (answer != nullptr && runs_for_ever(std::string_view(answer))) return skipped;
    return std::apply(RD_ICExeScript, std::tuple{h.slot(), h.text_or_null(transaction), answer, 0,
                                                 h.text_room(17)});
}
int read_social_security(Host& h) {
    const std::string before = h.draw.text("|");
    char* out = h.text_room(static_cast<int>(before.size()) + 1300);
    std::copy(before.begin(), before.end(), out);
    return std::apply(RD_SSCReadInfo, std::tuple{h.slot(), out, h.limit()});
}
int build_reply(Host& h) {
    const auto data = h.data({0x80, 0x00, 0x01, 1, 2, 3, 4, 5, 6, 7, 8});
    return PBOC_BuildARQCBack(data.bytes, data.size, h.room(1200), h.place());
}

int get_info_kp(Host& h) {
    return std::apply(RD_ICGetInfo_KP,
                      std::tuple{h.place(h.slot()), h.text_or_null(application),
                                 h.text_or_null("ABCDEFGHIJKL"), 0, h.text_room(3109), h.limit()});
}
int generate_kp(Host& h) {
    return std::apply(RD_ICGenARQC_KP, std::tuple{h.place(h.slot()), h.text_or_null(application),
                                                  h.text_or_null(terminal_transaction), 4000,
                                                  h.text_room(4000), h.limit(), h.text_room(1025)});
}
int complete_kp(Host& h) {
    char* name = h.text(application);
    RD_ICGenARQC_KP(h.place(), name, h.text(terminal_transaction), 4000, h.text_room(4000), 1,
                    h.text_room(1025));
    char* answer = h.text(issuer_answer);
    if (runs_for_ever(std::string_view(answer))) return skipped;
    const auto data = h.data({0x8D, 0x02, 0x8A, 0x02});
    const int room = h.size(40);
    return std::apply(RD_ICExeScript_KP, std::tuple{h.slot(), h.text_or_null(terminal_transaction),
                                                    answer, room, h.text_room(std::max(room, 17)),
                                                    0, h.text_room(1024), data.size, data.bytes});
}
int get_detail_kp(Host& h) {
    return std::apply(RD_ICGetDetail_KP, std::tuple{h.place(h.slot()), h.text_or_null(application),
                                                    0, h.text_room(4102), h.limit()});
}

// The port: mostly the one where the reader is.
const char* port_of(Host& h) {
    return h.draw.byte() < 0xF0 ? h.port_name : h.path("ttyS0");
}
int terminal_info(Host& h) {
    return std::apply(IC_GetInfo,
                      std::tuple{port_of(h), h.text_or_null("1"), h.number(rate), h.limit(),
                                 h.place(h.draw.up_to(4, 3)), h.text_or_null(application),
                                 h.text_or_null("ABCDEFGHIJKL"), h.place(), h.text_room(3109)});
}
int terminal_generate(Host& h) {
    const int room = h.size(4000);
    return std::apply(IC_GenARQC,
                      std::tuple{port_of(h), h.text_or_null(), h.number(rate), h.limit(),
                                 h.place(h.draw.up_to(4, 3)), h.text_or_null(application),
                                 h.text_or_null(terminal_transaction), h.place(room),
                                 h.text_room(room), h.text_room(1025)});
}
int terminal_complete(Host& h) {
    char* answer = h.text(issuer_answer);
    if (runs_for_ever(std::string_view(answer))) return skipped;
    return std::apply(IC_CtlScriptData,
                      std::tuple{port_of(h), h.text_or_null(), h.number(rate), h.limit(),
                                 h.place(h.draw.up_to(4, 1)), h.text_or_null(terminal_transaction),
                                 answer, h.place(), h.text_room(1025), h.text_room(1024),
                                 h.text_or_null(application_data)});
}
int terminal_detail(Host& h) {
    return std::apply(IC_GetTranDeta,
                      std::tuple{port_of(h), h.text_or_null(), h.number(rate), h.limit(),
                                 h.place(h.draw.up_to(4, 3)), h.text_or_null(application),
                                 h.place(), h.text_room(4102)});
}
int terminal_read(Host& h) {
    return std::apply(MS_ReadCard,
                      std::tuple{port_of(h), h.text_or_null(), h.number(rate), h.limit(),
                                 h.number(23), 0, h.text_room(512), h.text_room(512)});
}
int terminal_write(Host& h) {
    return std::apply(MS_WriteCard,
                      std::tuple{port_of(h), h.text_or_null(), h.number(rate), h.limit(),
                                 h.number(23), 0, h.text_or_null("1=2"), h.text_or_null("3'4")});
}
int terminal_identity(Host& h) {
    return std::apply(ID_GetInfo, std::tuple{port_of(h), h.text_or_null(), h.number(rate),
                                             h.limit(), h.path(".\\photo.jpg"), h.path("face"),
                                             h.path("back"), h.path("card"), h.text_room(4096)});
}
int read_identity_kp(Host& h) {
    const int room = h.size(100);
    return std::apply(RD_ReadIdInfo_Pic_KP,
                      std::tuple{h.path("photos\\head.bmp"), h.path(""), h.path(""), h.path(""),
                                 room, h.text_room(room), h.place(), h.limit()});
}
int photo_name(Host& h) {
    return std::apply(RD_ModifyIdPath_KP,
                      std::tuple{h.draw.up_to(5), h.text_or_null("999999200001019991"),
                                 h.text_or_null("photos\\x.jpg"), h.text_room(1024)});
}

int read_identity(Host& h) {
    return std::apply(RD_ReadIdInfo,
                      std::tuple{h.path("photos/x.bmp"), 0, h.text_room(544), h.place(), h.place(),
                                 0, nullptr, nullptr, h.limit()});
}
int read_identity_to_format(Host& h) {
    return std::apply(RD_ReadIdInfo, std::tuple{h.path("x.png"), 0, h.text_room(544), h.place(),
                                                nullptr, 0, nullptr, nullptr, h.limit()});
}
int read_identity_picture(Host& h) {
    return std::apply(RD_ReadIdInfo_Pic,
                      std::tuple{h.path("photos"), 0, h.text_room(544), h.place(), h.limit()});
}
int read_identity_pictures(Host& h) {
    return std::apply(RD_ReadIdInfo_Pic_FB,
                      std::tuple{h.path("photos"), 0, h.text_room(544), h.place(), h.text_room(1),
                                 h.text_room(1), h.limit()});
}
int set_identity_rate(Host& h) {
    return RD_SetIdBaud(h.number(115200));
}

int read_tracks(Host& h) {
    const int tracks = h.number(123);
    const int cap1 = h.size(256);
    const int cap2 = h.size(256);
    const int cap3 = h.size(256);
    return RD_ReadMagCard(0, tracks, cap1, h.text_room(cap1), h.place(), cap2, h.text_room(cap2),
                          h.place(), cap3, h.text_room(tracks == 23 ? std::max(cap2, cap3) : cap3),
                          h.place(), h.limit());
}
int write_tracks(Host& h) {
    return std::apply(RD_WriteMagCard,
                      std::tuple{0, h.text_or_null("A"), h.number(), h.text_or_null("99=1"),
                                 h.number(), h.text_or_null("9'1"), h.number(), h.limit()});
}
int card_number(Host& h) {
    return std::apply(RD_GetMagCardNo, std::tuple{0, h.number(23), h.draw.up_to(3, 2),
                                                  h.text_room(256), h.place(), h.limit()});
}
int is_track(Host& h) {
    return IsTrackDataValue(h.text_or_null("0123456789='@#: "));
}
int number_in_track(Host& h) {
    char* text = h.text("99|12=3'4");
    return MSR_GetCardNo(h.draw.up_to(4), text,
                         h.text_room(static_cast<int>(std::strlen(text)) + 1));
}

void open_sector(Host& h) {
    RD_M1Powerup(512, h.text_room(512), h.place(), 1);
    char known[] = "A0A1A2A3A4A5";
    RD_M1Verify(2, 0, known);
}
int sector_power_on(Host& h) {
    return std::apply(RD_M1Powerup,
                      std::tuple{h.size(512), h.text_room(512), h.place(), h.limit()});
}
int verify_sector(Host& h) {
    RD_M1Powerup(512, h.text_room(512), h.place(), 1);
    return std::apply(RD_M1Verify, std::tuple{h.number(2), h.draw.up_to(3), h.text_or_null(key)});
}
int read_block(Host& h) {
    open_sector(h);
    const int room = h.size(33);
    return RD_M1ReadBlock(h.number(4), room, h.text_room(room));
}
int read_value(Host& h) {
    open_sector(h);
    const int room = h.size(9);
    return RD_M1Read(h.number(5), room, h.text_room(room));
}
int write_block(Host& h) {
    open_sector(h);
    return std::apply(RD_M1WriteBlock,
                      std::tuple{h.number(4), h.text_or_null("00112233445566778899AABBCCDDEEFF")});
}
int write_value(Host& h) {
    open_sector(h);
    return std::apply(RD_M1Write, std::tuple{h.number(5), h.text_or_null("01000000")});
}
int increment(Host& h) {
    open_sector(h);
    return std::apply(RD_M1Increment, std::tuple{h.number(5), h.text_or_null("01000000")});
}
int decrement(Host& h) {
    open_sector(h);
    return std::apply(RD_M1Decrement, std::tuple{h.number(5), h.text_or_null("01000000")});
}
int increase(Host& h) {
    open_sector(h);
    return std::apply(RD_M1IncreaseValue,
                      std::tuple{h.number(5), static_cast<unsigned>(h.number(1))});
}
int decrease(Host& h) {
    open_sector(h);
    return std::apply(RD_M1DecreaseValue,
                      std::tuple{h.number(5), static_cast<unsigned>(h.number(1))});
}

int light_power_on(Host& h) {
    return std::apply(RD_M0PowerOn,
                      std::tuple{h.size(512), h.text_room(512), h.place(), h.limit()});
}
int light_read(Host& h) {
    const int room = h.size(600);
    return std::apply(RD_M0Read, std::tuple{h.number(4), h.number(4), room, h.text_room(room)});
}
int light_write(Host& h) {
    return std::apply(RD_M0Write, std::tuple{h.number(4), h.text_or_null("00112233")});
}
int light_verify(Host& h) {
    const int length = h.number(32);
    return RD_M0VerifyKey(length, h.text_or_null(secret));
}
int light_store_key(Host& h) {
    const int length = h.number(32);
    return RD_M0DownKey(length, h.text_or_null(secret));
}
int light_power_off(Host&) {
    return RD_M0PowerOff();
}

constexpr Call calls[] = {
    {"host power on", "bank", with_host<power_on>},
    {"host power off", "bank", with_host<power_off>},
    {"host transmit", "bank", with_host<transmit>},
    {"host get info", "bank", with_host<get_info>},
    {"host get detail", "bank", with_host<get_detail>},
    {"host get loads", "bank", with_host<get_loads>},
    {"host generate", "bank", with_host<generate>},
    {"host complete", "bank", with_host<complete>},
    {"host complete offline", "bank", with_host<complete_offline>},
    {"host social security", "citizen", with_host<read_social_security>},
    {"host build reply", "bank", with_host<build_reply>},
    {"host get info kp", "bank", with_host<get_info_kp>},
    {"host generate kp", "bank", with_host<generate_kp>},
    {"host complete kp", "bank", with_host<complete_kp>},
    {"host get detail kp", "bank", with_host<get_detail_kp>},
    {"host terminal info", "bank", with_host<terminal_info>, Leaves::opened_and_closed, true},
    {"host terminal generate", "bank", with_host<terminal_generate>, Leaves::opened_and_closed,
     true},
    {"host terminal complete", "bank", with_host<terminal_complete>, Leaves::opened_and_closed,
     true},
    {"host terminal detail", "bank", with_host<terminal_detail>, Leaves::opened_and_closed, true},
    {"host terminal read", "loyalty", with_host<terminal_read>, Leaves::opened_and_closed, true},
    {"host terminal write", "loyalty", with_host<terminal_write>, Leaves::opened_and_closed, true},
    {"host terminal identity", "resident", with_host<terminal_identity>, Leaves::opened_and_closed,
     true},
    {"host identity kp", "resident", with_host<read_identity_kp>},
    {"host photo name", "resident", with_host<photo_name>},
    {"host identity", "resident", with_host<read_identity>},
    {"host identity to format", "resident", with_host<read_identity_to_format>},
    {"host identity picture", "resident", with_host<read_identity_picture>},
    {"host identity pictures", "resident", with_host<read_identity_pictures>},
    {"host identity rate", "resident", with_host<set_identity_rate>},
    {"host read tracks", "loyalty", with_host<read_tracks>},
    {"host write tracks", "loyalty", with_host<write_tracks>},
    {"host card number", "loyalty", with_host<card_number>},
    {"host is track", "loyalty", with_host<is_track>},
    {"host number in track", "loyalty", with_host<number_in_track>},
    {"host sector power on", "locker", with_host<sector_power_on>},
    {"host verify sector", "locker", with_host<verify_sector>},
    {"host read block", "locker", with_host<read_block>},
    {"host read value", "locker", with_host<read_value>},
    {"host write block", "locker", with_host<write_block>},
    {"host write value", "locker", with_host<write_value>},
    {"host increment", "locker", with_host<increment>},
    {"host decrement", "locker", with_host<decrement>},
    {"host increase", "locker", with_host<increase>},
    {"host decrease", "locker", with_host<decrease>},
    {"host light power on", "visitor", with_host<light_power_on>},
    {"host light read", "visitor", with_host<light_read>},
    {"host light write", "visitor", with_host<light_write>},
    {"host light verify", "visitor", with_host<light_verify>},
    {"host light store key", "visitor", with_host<light_store_key>},
    {"host light power off", "visitor", with_host<light_power_off>},
};

}  // namespace

std::span<const Call> host_card_calls() {
    return calls;
}

}  // namespace fuzzing
