// The three sets of numbers meet here: internal numbers become API numbers, API numbers have texts,
// and API numbers become terminal numbers.
#include <deskreader.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

#include "status.h"
#include "support/pointers.h"

namespace status = deskreader::status;

namespace {

struct Mapping {
    int from;
    int to;
};

constexpr Mapping api_numbers[] = {
    {status::not_permitted, status::communication_failed},
    {status::not_found, status::open_port_failed},
    {status::busy, status::device_in_use},
    {status::no_device, status::not_connected},
    {status::invalid_argument, status::invalid_parameter},
    {status::timed_out, status::read_timed_out},
    {status::bad_message, status::bad_communication_data},
    {status::cancelled, status::operation_cancelled},
};

struct Message {
    int number;
    std::string_view text;
};

constexpr Message messages[] = {
    {status::ok, "成功"},
    {status::open_port_failed, "打开端口失败"},
    {status::connect_failed, "连接设备失败"},
    {status::device_in_use, "设备被占用"},
    {status::not_connected, "设备未连接"},
    {status::read_timed_out, "读数据超时"},
    {status::write_timed_out, "写数据超时"},
    {status::operation_cancelled, "应用被取消"},
    {status::invalid_parameter, "参数异常"},
    {status::not_supported, "设备不支持该功能"},
    {status::library_not_loaded, "调用动态库失败"},
    {status::library_call_failed, "调用动态库接口失败"},
    {status::module_switch_failed, "切换设备模块失败"},
    {status::invalid_init_parameter, "初始化设备参数无效"},
    {status::bad_communication_data, "通讯数据异常"},
    {status::communication_failed, "通讯异常"},
    {status::read_tracks_123_failed, "读123磁道数据失败"},
    {status::read_track_1_failed, "读1磁道数据失败"},
    {status::read_track_2_failed, "读2磁道数据失败"},
    {status::read_track_3_failed, "读3磁道数据失败"},
    {status::read_tracks_23_failed, "读23磁道数据失败"},
    {status::track_2_empty, "2磁道数据为空"},
    {status::track_3_empty, "3磁道数据为空"},
    {status::tracks_23_empty, "23磁道数据为空"},
    {status::write_tracks_123_failed, "写123道数据失败"},
    {status::write_track_1_failed, "写1道数据失败"},
    {status::write_track_2_failed, "写2道数据失败"},
    {status::write_track_3_failed, "写3道数据失败"},
    {status::write_tracks_23_failed, "写23道数据失败"},
    {status::no_card_number, "解析磁道的卡号数据失败"},
    {status::read_tracks_12_failed, "读12磁道数据失败"},
    {status::read_tracks_13_failed, "读13磁道数据失败"},
    {status::tracks_13_empty, "13磁道数据为空"},
    {status::tracks_12_empty, "12磁道数据为空"},
    {status::tracks_123_empty, "123磁道数据为空"},
    {status::track_1_empty, "1磁道数据为空"},
    {status::id_module_unreachable, "无法连接二代证模块"},
    {status::id_card_not_found, "找不到二代证"},
    {status::id_read_failed, "读二代证信息失败"},
    {status::id_photo_failed, "无法生成二代证头像图片"},
    {status::id_baud_failed, "设置二代证模块波特率失败"},
    {status::power_on_failed, "上电失败"},
    {status::power_on_timed_out, "上电超时"},
    {status::power_off_failed, "下电失败"},
    {status::invalid_apdu, "APDU参数错误"},
    {status::card_not_powered, "卡片未上电"},
    {status::card_absent, "卡片不在卡槽中"},
    {status::apdu_failed, "APDU执行失败"},
    {status::pse_selection_failed, "PSE选应用失败"},
    {status::application_list_failed, "获取应用失败"},
    {status::aid_selection_failed, "AID选应用失败"},
    {status::data_object_list_failed, "建立数据对象列表"},  // kept: without the word for "failed"
    {status::processing_options_failed, "获取处理选项失败"},
    {status::application_data_failed, "取应用数据失败"},
    {status::dynamic_data_object_list_failed, "建立动态数据对象列表失败"},
    {status::cryptogram_failed, "生成应用密文失败"},
    {status::arqc_data_failed, "返回ARQC数据失败"},
    {status::external_authentication_failed, "外部认证失败"},
    {status::script_failed, "执行脚本失败"},
    {status::invalid_block, "块号出错"},
    {status::invalid_sector, "扇区号出错"},
    {status::data_not_16_bytes, "数据长度不够，或超出，应为16个字节"},
    {status::data_not_4_bytes, "数据长度不够，或超出，应为4个字节"},
    {status::key_not_6_bytes, "密钥数据长度不够，或超出，应为6个字节"},
    {status::invalid_key_type, "密钥类型不对，应为0x60或者0x61"},
};

constexpr std::string_view other_error = "其他错误";

// API numbers from `first` down to `last` have one terminal number.
struct TerminalRow {
    int first;
    int last;
    int number;
};

constexpr int terminal_other = -99;

constexpr TerminalRow terminal_numbers[] = {
    {0, 0, 0},           {-1000, -1000, -3},  {-1001, -1003, -9},
    {-1004, -1004, -11}, {-1005, -1005, -10}, {-1006, -1006, -23},
    {-1007, -1007, -1},  {-1008, -1008, -9},  {-1009, -1009, -12},
    {-1010, -1010, -15}, {-1011, -1011, -9},  {-1012, -1012, -1},
    {-1013, -1014, -11}, {-2000, -2007, -11}, {-2100, -2104, -10},
    {-3000, -3000, -11}, {-3001, -3001, -2},  {-3002, -3002, -11},
    {-3003, -3003, -13}, {-4000, -4000, -25}, {-4001, -4001, -2},
    {-4002, -4002, -14}, {-4003, -4003, -16}, {-4004, -4005, -25},
    {-4006, -4006, -14}, {-4100, -4100, -26}, {-4101, -4102, -27},
    {-4103, -4104, -28}, {-4105, -4105, -11}, {-4106, -4108, -29},
    {-4109, -4109, -30}, {-4110, -4116, -31},  // the API defines no more than -4110 of them
    {-4117, -4117, -32},
};

constexpr bool descend(std::span<const TerminalRow> rows) {
    int above = 1;
    for (const TerminalRow& row : rows) {
        if (row.first >= above || row.last > row.first) return false;
        above = row.last;
    }
    return true;
}

static_assert(descend(terminal_numbers), "no API number stands twice");
static_assert(std::ranges::is_sorted(api_numbers, std::ranges::greater{}, &Mapping::from));
static_assert(std::ranges::is_sorted(messages, std::ranges::greater{}, &Message::number));
static_assert(std::ranges::adjacent_find(messages, {}, &Message::number) == std::end(messages));

std::string_view message_of(int number) noexcept {
    const auto* row = std::ranges::find(messages, number, &Message::number);
    return row == std::end(messages) ? other_error : row->text;
}

}  // namespace

int RD_GetErrorCode(int code) {
    if (code != status::ok) GLogE("iErrorCode = %d\r\n", code);
    const auto* row = std::ranges::find(api_numbers, code, &Mapping::from);
    return row == std::end(api_numbers) ? code : row->to;
}

int RD_GetErrInfo(int code, int, char* text, int* text_length) {
    if (deskreader::any_null(text, text_length)) return status::invalid_parameter;
    const std::string_view message = message_of(code);
    std::memcpy(text, message.data(), message.size());
    text[message.size()] = '\0';
    *text_length = static_cast<int>(message.size());
    return status::ok;
}

int Ovan_GetErrorCode(int code) {
    for (const TerminalRow& row : terminal_numbers) {
        if (code <= row.first && code >= row.last) return row.number;
    }
    return terminal_other;
}
