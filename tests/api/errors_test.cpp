#include <deskreader.h>

#include <cstring>
#include <map>

#include "kit/scratch.h"

namespace {

std::string message(int number) {
    char text[56];
    std::memset(text, '#', sizeof text);
    int length = -1;
    EXPECT_EQ(RD_GetErrInfo(number, 0, text, &length), 0);
    EXPECT_EQ(std::strlen(text), static_cast<std::size_t>(length));
    return text;
}

TEST(ErrorCode, MapsTheInternalNumbers) {
    const std::map<int, int> rows = {{-1, -1014},  {-2, -1000},  {-16, -1002}, {-19, -1003},
                                     {-22, -1007}, {-62, -1004}, {-74, -1013}, {-125, -1006}};
    for (int code = -130; code <= 5; ++code) {
        const auto row = rows.find(code);
        EXPECT_EQ(RD_GetErrorCode(code), row == rows.end() ? code : row->second) << code;
    }
    for (const int code : {-1007, -4005, -99, -5, 100, 2147483647})
        EXPECT_EQ(RD_GetErrorCode(code), code);
}

TEST(ErrorCode, LogsEveryCodeButNought) {
    const kit::LogFile log(1);
    RD_GetErrorCode(0);
    EXPECT_TRUE(log.messages().empty());
    RD_GetErrorCode(-5);
    RD_GetErrorCode(-22);
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"Error:iErrorCode = -5\r\n",
                                                        "Error:iErrorCode = -22\r\n"}));
}

TEST(ErrorInfo, HasTheTextsOfItsNumbers) {
    const std::map<int, const char*> texts = {
        {0, "成功"},
        {-1000, "打开端口失败"},
        {-1001, "连接设备失败"},
        {-1002, "设备被占用"},
        {-1003, "设备未连接"},
        {-1004, "读数据超时"},
        {-1005, "写数据超时"},
        {-1006, "应用被取消"},
        {-1007, "参数异常"},
        {-1008, "设备不支持该功能"},
        {-1009, "调用动态库失败"},
        {-1010, "调用动态库接口失败"},
        {-1011, "切换设备模块失败"},
        {-1012, "初始化设备参数无效"},
        {-1013, "通讯数据异常"},
        {-1014, "通讯异常"},
        {-2000, "读123磁道数据失败"},
        {-2001, "读1磁道数据失败"},
        {-2002, "读2磁道数据失败"},
        {-2003, "读3磁道数据失败"},
        {-2004, "读23磁道数据失败"},
        {-2005, "2磁道数据为空"},
        {-2006, "3磁道数据为空"},
        {-2007, "23磁道数据为空"},
        {-2100, "写123道数据失败"},
        {-2101, "写1道数据失败"},
        {-2102, "写2道数据失败"},
        {-2103, "写3道数据失败"},
        {-2104, "写23道数据失败"},
        {-2105, "解析磁道的卡号数据失败"},
        {-2106, "读12磁道数据失败"},
        {-2107, "读13磁道数据失败"},
        {-2108, "13磁道数据为空"},
        {-2109, "12磁道数据为空"},
        {-2110, "123磁道数据为空"},
        {-2111, "1磁道数据为空"},
        {-3000, "无法连接二代证模块"},
        {-3001, "找不到二代证"},
        {-3002, "读二代证信息失败"},
        {-3003, "无法生成二代证头像图片"},
        {-3004, "设置二代证模块波特率失败"},
        {-4000, "上电失败"},
        {-4001, "上电超时"},
        {-4002, "下电失败"},
        {-4003, "APDU参数错误"},
        {-4004, "卡片未上电"},
        {-4005, "卡片不在卡槽中"},
        {-4006, "APDU执行失败"},
        {-4100, "PSE选应用失败"},
        {-4101, "获取应用失败"},
        {-4102, "AID选应用失败"},
        {-4103, "建立数据对象列表"},
        {-4104, "获取处理选项失败"},
        {-4105, "取应用数据失败"},
        {-4106, "建立动态数据对象列表失败"},
        {-4107, "生成应用密文失败"},
        {-4108, "返回ARQC数据失败"},
        {-4109, "外部认证失败"},
        {-4110, "执行脚本失败"},
        {-5010, "块号出错"},
        {-5011, "扇区号出错"},
        {-5012, "数据长度不够\uFF0C或超出\uFF0C应为16个字节"},
        {-5013, "数据长度不够\uFF0C或超出\uFF0C应为4个字节"},
        {-5014, "密钥数据长度不够\uFF0C或超出\uFF0C应为6个字节"},
        {-5015, "密钥类型不对\uFF0C应为0x60或者0x61"},
    };
    EXPECT_EQ(texts.size(), 65u);
    for (int number = -6000; number <= 10; ++number) {
        const auto row = texts.find(number);
        EXPECT_EQ(message(number), row == texts.end() ? "其他错误" : row->second) << number;
    }
    EXPECT_EQ(message(12345), "其他错误");
}

TEST(ErrorInfo, CountsBytes) {
    EXPECT_EQ(message(0).size(), 6u);
    EXPECT_EQ(message(-5014).size(), 55u);
    EXPECT_EQ(message(12345).size(), 12u);
}

int terminal_number(int api) {
    if (api == 0) return 0;
    if (api == -1007 || api == -1012) return -1;
    if (api == -3001 || api == -4001) return -2;
    if (api == -1000) return -3;
    if (api == -1001 || api == -1002 || api == -1003 || api == -1008 || api == -1011) return -9;
    if (api == -1005 || (api <= -2100 && api >= -2104)) return -10;
    if (api == -1004 || api == -1013 || api == -1014 || (api <= -2000 && api >= -2007) ||
        api == -3000 || api == -3002 || api == -4105) {
        return -11;
    }
    if (api == -1009) return -12;
    if (api == -3003) return -13;
    if (api == -4002 || api == -4006) return -14;
    if (api == -1010) return -15;
    if (api == -4003) return -16;
    if (api == -1006) return -23;
    if (api == -4000 || api == -4004 || api == -4005) return -25;
    if (api == -4100) return -26;
    if (api == -4101 || api == -4102) return -27;
    if (api == -4103 || api == -4104) return -28;
    if (api == -4106 || api == -4107 || api == -4108) return -29;
    if (api == -4109) return -30;
    if (api <= -4110 && api >= -4116) return -31;
    if (api == -4117) return -32;
    return -99;
}

TEST(TerminalNumbers, CoverEveryApiNumber) {
    for (int api = -6000; api <= 100; ++api)
        EXPECT_EQ(Ovan_GetErrorCode(api), terminal_number(api)) << api;
    EXPECT_EQ(Ovan_GetErrorCode(-2147483647 - 1), -99);
    EXPECT_EQ(Ovan_GetErrorCode(2147483647), -99);
}

TEST(TerminalNumbers, AreNotLogged) {
    const kit::LogFile log;
    Ovan_GetErrorCode(-4005);
    EXPECT_TRUE(log.messages().empty());
}

}  // namespace
