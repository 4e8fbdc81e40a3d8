// The functions on the lower floors with their fuzzed arguments: card commands, modules, frames.
#include "host.h"

namespace fuzzing {
namespace {

using robustness::Call;
using robustness::Leaves;

constexpr int response = 512;
constexpr int limit_ms = 1000;

void select_bank(Host& h) {
    constexpr unsigned char name[] = {0xA0, 0x00, 0x00, 0x03, 0x33, 0x01, 0x01, 0x01};
    IC_PowerOn(&context, h.room(256), h.place(), limit_ms);
    PBOC_SelectAID(&context, 0, name, sizeof name, h.room(response), h.place());
}

void select_purse(Host& h) {
    constexpr unsigned char name[] = {0xF0, 0x44, 0x45, 0x53, 0x4B, 0x50};
    IC_PowerOn(&context, h.room(256), h.place(), limit_ms);
    PBOC_SelectAID(&context, 0, name, sizeof name, h.room(response), h.place());
}

using WithData = int (*)(DEVCONTEXT*, int, const unsigned char*, int);
using ForData = int (*)(DEVCONTEXT*, int, const unsigned char*, int, unsigned char*, int*);
using ForText = int (*)(DEVCONTEXT*, int, int, const char*, unsigned char*, int*);

template <WithData function>
int with_data(Host& h) {
    select_bank(h);
    const int slot = h.slot();
    const auto data = h.data({0x11, 0x22, 0x33, 0x44});
    return function(&context, slot, data.bytes, data.size);
}

template <ForData function, int room>
int for_data(Host& h) {
    select_bank(h);
    const int slot = h.slot();
    const auto data = h.data({0x9F, 0x79});
    return function(&context, slot, data.bytes, data.size, h.room(room), h.place());
}

int card_command(Host& h) {
    select_bank(h);
    const int slot = h.slot();
    auto command = h.data({0x00, 0xB2, 0x01, 0x0C, 0x00});
    if (command.size < 5) command = h.data_of(5);
    return PBOC_IcAPDU(&context, slot, command.bytes, command.size, h.room(response), h.place());
}
int read_record(Host& h) {
    select_bank(h);
    return std::apply(PBOC_ReadRecord, std::tuple{&context, h.slot(), h.number(1), h.number(1),
                                                  h.room(response), h.place()});
}
int select_file(Host& h) {
    select_bank(h);
    const auto data = h.data({0xA0, 0x00, 0x00, 0x03, 0x33, 0x01, 0x01, 0x01});
    return std::apply(PBOC_SelectFile, std::tuple{&context, h.slot(), h.number(4), data.bytes,
                                                  data.size, h.room(response), h.place()});
}
int get_options(Host& h) {
    select_bank(h);
    const int slot = h.slot();
    const auto data = h.data({0x01, 0, 0, 0, 0, 0x12, 0x34, 0x01, 0x56});
    return PBOC_GetProcOptions(&context, slot, data.bytes, data.size, h.room(response), h.place(),
                               h.room(response), h.place());
}
int generate(Host& h) {
    select_bank(h);
    const auto data = h.data({0, 0, 0, 0, 0x12, 0x34});
    return std::apply(PBOC_GenerateAC, std::tuple{&context, h.slot(), h.number(0x80), data.bytes,
                                                  data.size, h.room(response), h.place()});
}
int run_script(Host& h) {
    select_bank(h);
    const int slot = h.slot();
    const auto script = h.data({0x72, 0x06, 0x86, 0x04, 0x84, 0x16, 0x00, 0x00});
    if (runs_for_ever(View(script.bytes, static_cast<std::size_t>(script.size)))) return 0;
    return PBOC_ExeScript(&context, slot, script.bytes, script.size);
}
int deliver_key(Host& h) {
    select_bank(h);
    const auto data = h.data({1, 2, 3, 4, 5, 6, 7, 8});
    return std::apply(PBOC_DeliveryKey, std::tuple{&context, h.slot(), h.number(), h.number(),
                                                   data.bytes, data.size});
}
int encrypt(Host& h) {
    select_bank(h);
    const auto data = h.data({1, 2, 3, 4, 5, 6, 7, 8});
    return std::apply(PBOC_CryptData, std::tuple{&context, h.slot(), h.number(), data.bytes,
                                                 data.size, h.room(response), h.place()});
}
int change_pin(Host& h) {
    select_bank(h);
    const auto data = h.data({1, 2, 3, 4, 5, 6, 7, 8});
    return std::apply(PBOC_ChangePin,
                      std::tuple{&context, h.slot(), h.number(), data.bytes, data.size});
}

int read_binary(Host& h) {
    select_purse(h);
    return std::apply(EPED_ReadBinary, std::tuple{&context, h.slot(), h.number(21), h.number(),
                                                  h.room(response), h.place()});
}
int get_balance(Host& h) {
    select_purse(h);
    return std::apply(EPED_GetBalance,
                      std::tuple{&context, h.slot(), h.number(2), h.room(response), h.place()});
}
int verify(Host& h) {
    select_purse(h);
    const auto pin = h.data({0x12, 0x34});
    return EPED_Verify(&context, h.slot(), pin.bytes, pin.size);
}
int get_random(Host& h) {
    select_purse(h);
    return std::apply(EPED_GetRandom,
                      std::tuple{&context, h.slot(), h.room(response), h.place(h.number(8))});
}
int update_binary(Host& h) {
    select_purse(h);
    const auto data = h.data({1, 2, 3, 4});
    return std::apply(EPED_UpdateBinary, std::tuple{&context, h.slot(), h.number(21), h.number(),
                                                    data.bytes, data.size});
}

// A text of so many bytes at least, as the purse's commands take them.
char* purse_text(Host& h, std::size_t size) {
    return reinterpret_cast<char*>(h.data_of(size).bytes);
}
int init_for_load(Host& h) {
    select_purse(h);
    char* data = purse_text(h, 11);
    return std::apply(EPED_InitForLoad, std::tuple{&context, h.slot(), h.number(1), data,
                                                   h.room(response), h.place()});
}
int load(Host& h) {
    select_purse(h);
    char* data = purse_text(h, 11);
    return EPED_Load(&context, h.slot(), data, h.room(response), h.place());
}
int init_for_purchase(Host& h) {
    select_purse(h);
    char* data = purse_text(h, 11);
    return std::apply(EPED_InitForPurchase, std::tuple{&context, h.slot(), h.number(1), data, 0,
                                                       h.room(response), h.place()});
}
int purchase(Host& h) {
    select_purse(h);
    char* data = purse_text(h, 15);
    return EPED_Purchase(&context, h.slot(), 0, data, 0, h.room(response), h.place());
}

int read_tracks(Host& h) {
    const int tracks = h.number(123);
    const int cap1 = h.size(79);
    const int cap2 = h.size(40);
    const int cap3 = h.size(107);
    return MSR_ReadTrack(&context, 0, tracks, cap1, h.text_room(cap1), cap2, h.text_room(cap2),
                         cap3, h.text_room(tracks == 23 ? std::max(cap2, cap3) : cap3),
                         h.limit_ms());
}
int write_tracks(Host& h) {
    return std::apply(MSR_WriteTrack, std::tuple{&context, 0, h.number(23), h.text_or_null("1=2"),
                                                 h.text_or_null("3'4"), h.limit_ms()});
}
int reset_stripe(Host& h) {
    return MSR_Reset(&context, h.limit_ms());
}

void open_sector(Host& h) {
    constexpr unsigned char key[] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0x00};
    M1_PowerOn(&context, h.room(256), h.place(), limit_ms);
    M1_Verify(&context, 2, 0, key, limit_ms);
}
int verify_sector(Host& h) {
    M1_PowerOn(&context, h.room(256), h.place(), limit_ms);
    const char* key = h.text("\xA0\xA1\xA2\xA3\xA4\xA5");
    const auto sector = static_cast<unsigned char>(h.number(2));
    const auto kind = static_cast<unsigned char>(h.number());
    return M1_Verify(&context, sector, kind, reinterpret_cast<const unsigned char*>(key),
                     h.limit_ms());
}
int read_block(Host& h) {
    open_sector(h);
    const auto block = static_cast<unsigned char>(h.number(4));
    return M1_ReadBlock(&context, block, h.room(1024), h.place(), h.limit_ms());
}
int read_value(Host& h) {
    open_sector(h);
    const auto block = static_cast<unsigned char>(h.number(5));
    return M1_ReadValue(&context, block, h.room(1024), h.place(), h.limit_ms());
}
int write_block(Host& h) {
    open_sector(h);
    const auto block = static_cast<unsigned char>(h.number(4));
    const auto data = h.data({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    return M1_WriteBlock(&context, block, data.bytes, data.size, h.limit_ms());
}

using ValueCommand = int (*)(DEVCONTEXT*, unsigned char, const unsigned char*, int, int);
template <ValueCommand function>
int change_value(Host& h) {
    open_sector(h);
    const auto block = static_cast<unsigned char>(h.number(5));
    return function(&context, block, h.data_of(4).bytes, 4, h.limit_ms());
}

using CardExchange = int (*)(DEVCONTEXT*, const unsigned char*, int, unsigned char*, int*, int);
template <CardExchange function>
int exchange(Host& h) {
    IC_PowerOn(&context, h.room(256), h.place(), limit_ms);
    const auto command = h.data({0x00, 0xA4, 0x00, 0x00, 0x02, 0x3F, 0x00});
    return function(&context, command.bytes, command.size, h.room(1024), h.place(), h.limit_ms());
}
int power_on(Host& h) {
    IC_SetSlot(h.number());
    return IC_PowerOn(&context, h.room(256), h.place(), h.limit_ms());
}
int set_rate(Host& h) {
    return IC_SetBaud(&context, h.number(9600));
}
int beep(Host& h) {
    return std::apply(IC_Beep,
                      std::tuple{&context, h.number(100), h.number(1), h.number(1), h.limit_ms()});
}
int detect(Host& h) {
    return std::apply(IC_CardDetect, std::tuple{&context, h.number(255), h.place(), h.limit_ms()});
}
int set_serial_number(Host& h) {
    const auto text = h.data({'D', 'R', '1'});
    return IC_SetDevSn(&context, text.bytes, text.size, h.limit_ms());
}
int identity_rate(Host& h) {
    return std::apply(ID_SetIdBaud, std::tuple{&context, h.number(9600), h.limit_ms()});
}

int make_identity_frame(Host& h) {
    const auto command = h.data({0x20, 0x01});
    const int room = h.size(2048);
    return ID_MakeCmdPackage(command.bytes, command.size, h.room(room), room);
}

using FrameExchange = int (*)(DEVCONTEXT*, const unsigned char*, int, unsigned char*, int, int);
template <FrameExchange function>
int frame_exchange(Host& h) {
    const auto command = h.data({0xE1, 0x01});
    const int room = h.size(4096);
    return function(&context, command.bytes, command.size, h.room(room), room, h.limit_ms());
}
int escape(Host& h) {
    const auto command = h.data({0x1B, '$', 'B', '0'});
    const int room = h.size(2000);
    return std::apply(RAWL_SendCmd, std::tuple{&context, command.bytes, command.size, h.room(room),
                                               room, h.number(2), h.limit_ms()});
}
int escape_to_mark(Host& h) {
    const auto command = h.data({0x1B, 'F', ']'});
    const int room = std::max(h.size(2000), command.size);
    const char* mark = h.text_or_null("?\x1C");
    return RAWC_SendCmd(&context, command.bytes, command.size, h.room(room), room, mark,
                        h.limit_ms());
}

int find_object(Host& h) {
    const auto tag = h.data({0x9F, 0x26});
    const auto data = h.data({0x70, 0x08, 0x9F, 0x26, 0x02, 1, 2, 0x5A, 0x01, 0x99});
    return PBOC_GetTagValue(tag.bytes, tag.size, data.bytes, data.size,
                            h.room(std::max(data.size, 8)), h.place());
}
int set_object(Host& h) {
    const auto tag = h.data({0x9F, 0x26});
    const auto data = h.data({0x70, 0x08, 0x9F, 0x26, 0x02, 1, 2, 0x5A, 0x01, 0x99});
    const auto value = h.data({3, 4});
    return PBOC_SetTagValue(tag.bytes, tag.size, data.bytes, data.size, value.bytes, value.size);
}
int set_transaction_object(Host& h) {
    const auto tag = h.data({0x5F, 0x2A});
    const auto value = h.data({0x01, 0x56});
    return PBOC_SetTxDataTagValue(tag.bytes, tag.size, value.bytes, value.size);
}
int set_application_object(Host& h) {
    const auto tag = h.data({0x9F, 0x1A});
    const auto value = h.data({0x01, 0x56});
    return PBOC_SetAppInitDataTagValue(tag.bytes, tag.size, value.bytes, value.size);
}
int first_of_list(Host& h) {
    const auto list = h.data({0x9F, 0x02, 0x06, 0x9A, 0x03});
    return PBOC_GetTagInDOL(list.bytes, list.size, h.room(2), h.place(), h.place());
}
int answer_list(Host& h) {
    const auto list = h.data({0x9F, 0x02, 0x06, 0x9A, 0x03});
    return PBOC_BuildDOL(&context, 0, list.bytes, list.size, h.room(10 * list.size), h.place());
}
int field_of_text(Host& h) {
    const auto key = h.part("P");
    const char* text = h.text("P0011");
    return PBOC_GetSimpTagValue(key.text, key.length, text, h.number(), h.text_room(512),
                                h.place());
}

int connect(Host& h) {
    RD_Close();
    const int port = h.draw.byte() < 0xF0 ? h.port : h.number();
    return std::apply(RD_InitConnect, std::tuple{port, h.number(9600), h.number('1'), h.number(), 0,
                                                 h.text_room(256), h.place()});
}
int reopen(Host& h) {
    RD_Close();
    const int port = h.draw.byte() < 0xF0 ? h.port : h.number();
    const int result = std::apply(RD_Open, std::tuple{port, h.number(9600), h.number('2')});
    if (result != 0) RD_Open(h.port, 9600, 0);
    return result;
}
int connect_by_identity(Host& h) {
    RD_Close();
    return std::apply(RD_InitConnect_PID, std::tuple{h.number(0x2E8B), h.number(0x0142), 0,
                                                     h.text_room(256), h.place()});
}
int select_pass_through(Host& h) {
    return RD_SetBpPort(h.number('3'));
}
int change_mode(Host& h) {
    return RD_ChangeMode(h.number(2));
}
int change_rate(Host& h) {
    long long before = 0;
    return RD_ChangeBaud(h.number(19200), &before);
}
int set_device_rate(Host& h) {
    return RD_SetDevBaud(h.number(19200));
}
int api_beep(Host& h) {
    return std::apply(RD_Beep, std::tuple{h.number(50), h.number(1), h.number(1)});
}
int write_serial_number(Host& h) {
    const auto number = h.part("DR2026000001");
    return RD_SetDevSn(number.text, number.length);
}
int read_rest(Host& h) {
    return Ovan_ReadData(&context, h.limit_ms());
}

constexpr Call calls[] = {
    {"host card command", "bank", with_host<card_command>},
    {"host select directory", "bank", with_host<for_data<PBOC_SelectPSE, response>>},
    {"host read record", "bank", with_host<read_record>},
    {"host get names", "bank", with_host<for_data<PBOC_GetAID, response>>},
    {"host select name", "bank", with_host<for_data<PBOC_SelectAID, response>>},
    {"host select file", "bank", with_host<select_file>},
    {"host get options", "bank", with_host<get_options>},
    {"host get records", "bank", with_host<for_data<PBOC_GetAppData, 8000>>},
    {"host get data", "bank", with_host<for_data<PBOC_GetData, response>>},
    {"host generate ac", "bank", with_host<generate>},
    {"host authenticate", "bank", with_host<with_data<PBOC_ExternalAuth>>},
    {"host authenticate sh", "bank", with_host<with_data<PBOC_ExternalAuth_Sh>>},
    {"host run script", "bank", with_host<run_script>},
    {"host deliver key", "bank", with_host<deliver_key>},
    {"host encrypt", "bank", with_host<encrypt>},
    {"host change pin", "bank", with_host<change_pin>},
    {"host read binary", "purse", with_host<read_binary>},
    {"host get balance", "purse", with_host<get_balance>},
    {"host verify", "purse", with_host<verify>},
    {"host get random", "purse", with_host<get_random>},
    {"host update binary", "purse", with_host<update_binary>},
    {"host init for load", "purse", with_host<init_for_load>},
    {"host load", "purse", with_host<load>},
    {"host init for purchase", "purse", with_host<init_for_purchase>},
    {"host purchase", "purse", with_host<purchase>},
    {"host stripe read", "loyalty", with_host<read_tracks>},
    {"host stripe write", "loyalty", with_host<write_tracks>},
    {"host stripe reset", "loyalty", with_host<reset_stripe>},
    {"host module verify", "locker", with_host<verify_sector>},
    {"host module read block", "locker", with_host<read_block>},
    {"host module read value", "locker", with_host<read_value>},
    {"host module write block", "locker", with_host<write_block>},
    {"host module write value", "locker", with_host<change_value<M1_WriteValue>>},
    {"host module increment", "locker", with_host<change_value<M1_Increment>>},
    {"host module decrement", "locker", with_host<change_value<M1_Decrement>>},
    {"host exchange", "bank", with_host<exchange<IC_APDU>>},
    {"host field exchange", "visitor", with_host<exchange<IC_RFAPDU>>},
    {"host module power on", "bank", with_host<power_on>},
    {"host set rate", "bank", with_host<set_rate>},
    {"host beep", "bank", with_host<beep>},
    {"host detect", "bank", with_host<detect>},
    {"host set serial number", "bank", with_host<set_serial_number>},
    {"host set identity rate", "resident", with_host<identity_rate>},
    {"host make identity frame", "resident", with_host<make_identity_frame>},
    {"host ic frame", "bank", with_host<frame_exchange<VexoIc_SendCmd>>},
    {"host union frame", "bank", with_host<frame_exchange<Union_SendCmd>>},
    {"host identity frame", "resident", with_host<frame_exchange<ID_SendCmd>>},
    {"host escape", "bank", with_host<escape>},
    {"host escape to mark", "loyalty", with_host<escape_to_mark>},
    {"host find object", "bank", with_host<find_object>},
    {"host set object", "bank", with_host<set_object>},
    {"host set transaction object", "bank", with_host<set_transaction_object>},
    {"host set application object", "bank", with_host<set_application_object>},
    {"host first of list", "bank", with_host<first_of_list>},
    {"host answer list", "bank", with_host<answer_list>},
    {"host field of text", "bank", with_host<field_of_text>},
    {"host connect", "bank", with_host<connect>, Leaves::closed},
    {"host reopen", "bank", with_host<reopen>},
    {"host connect by identity", "bank", with_host<connect_by_identity>, Leaves::closed},
    {"host pass through", "bank", with_host<select_pass_through>},
    {"host change mode", "bank", with_host<change_mode>},
    {"host change rate", "bank", with_host<change_rate>},
    {"host device rate", "bank", with_host<set_device_rate>},
    {"host api beep", "bank", with_host<api_beep>},
    {"host write serial number", "bank", with_host<write_serial_number>},
    {"host read rest", "bank", with_host<read_rest>},
};

}  // namespace

std::span<const Call> host_command_calls() {
    return calls;
}

}  // namespace fuzzing
