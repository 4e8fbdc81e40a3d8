// Chinese short names beside the alpha-3 codes of ISO 3166-1 that the cards carry. A few codes are
// those of the standard's earlier editions: TMP, ANT, ROM and YUG are still on cards.
#include "cards/countries.h"

#include <deskreader.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "support/gb18030_literal.h"

namespace deskreader::countries {
namespace {

constexpr std::size_t row_count = 239;
constexpr std::size_t row_size = 32;

struct Country {
    std::u16string_view name;
    std::u16string_view code;
};

// The order decides which row a search finds.
constexpr Country names[] = {
    {u"加拿大", u"CAN"},
    {u"阿富汗", u"AFG"},
    {u"阿根廷", u"ARG"},
    {u"澳大利亚", u"AUS"},
    {u"巴西", u"BRA"},
    {u"中国", u"CHN"},
    {u"香港", u"HKG"},
    {u"美国", u"USA"},
    {u"英国", u"GBR"},
    {u"法国", u"FRA"},
    {u"阿尔巴尼亚", u"ALB"},
    {u"阿尔及利亚", u"DZA"},
    {u"美属萨摩亚", u"ASM"},
    {u"安道尔", u"AND"},
    {u"安哥拉", u"AGO"},
    {u"安圭拉", u"AIA"},
    {u"南极洲", u"ATA"},
    {u"安提瓜和巴布达", u"ATG"},
    {u"亚美尼亚", u"ARM"},
    {u"阿鲁巴", u"ABW"},
    {u"奥地利", u"AUT"},
    {u"阿塞拜疆", u"AZE"},
    {u"巴哈马", u"BHS"},
    {u"巴林", u"BHR"},
    {u"孟加拉国", u"BGD"},
    {u"巴巴多斯", u"BRB"},
    {u"白俄罗斯", u"BLR"},
    {u"比利时", u"BEL"},
    {u"伯利兹", u"BLZ"},
    {u"贝宁", u"BEN"},
    {u"百慕大", u"BMU"},
    {u"不丹", u"BTN"},
    {u"玻利维亚", u"BOL"},
    {u"波黑", u"BIH"},
    {u"博茨瓦纳", u"BWA"},
    {u"布韦岛", u"BVT"},
    {u"英属印度洋领地", u"IOT"},
    {u"文莱", u"BRN"},
    {u"保加利亚", u"BGR"},
    {u"布基纳法索", u"BFA"},
    {u"布隆迪", u"BDI"},
    {u"柬埔寨", u"KHM"},
    {u"喀麦隆", u"CMR"},
    {u"佛得角", u"CPV"},
    {u"开曼群岛", u"CYM"},
    {u"中非", u"CAF"},
    {u"乍得", u"TCD"},
    {u"智利", u"CHL"},
    {u"澳门", u"MAC"},
    {u"台湾", u"TWN"},
    {u"圣诞岛", u"CXR"},
    {u"科科斯群岛", u"CCK"},
    {u"哥伦比亚", u"COL"},
    {u"科摩罗", u"COM"},
    {u"刚果（布）", u"COG"},
    {u"刚果（金）", u"COD"},
    {u"库克群岛", u"COK"},
    {u"哥斯达黎加", u"CRI"},
    {u"科特迪瓦", u"CIV"},
    {u"克罗地亚", u"HRV"},
    {u"古巴", u"CUB"},
    {u"塞浦路斯", u"CYP"},
    {u"捷克", u"CZE"},
    {u"丹麦", u"DNK"},
    {u"吉布提", u"DJI"},
    {u"多米尼克", u"DMA"},
    {u"东帝汶", u"TMP"},
    {u"厄瓜多尔", u"ECU"},
    {u"埃及", u"EGY"},
    {u"萨尔瓦多", u"SLV"},
    {u"赤道几内亚", u"GNQ"},
    {u"厄立特里亚", u"ERI"},
    {u"爱沙尼亚", u"EST"},
    {u"埃塞俄比亚", u"ETH"},
    {u"福克兰群岛（马尔维纳斯）", u"FLK"},
    {u"法罗群岛", u"FRO"},
    {u"斐济", u"FJI"},
    {u"芬兰", u"FIN"},
    {u"法属圭亚那", u"GUF"},
    {u"法属波利尼西亚", u"PYF"},
    {u"法属南部领地", u"ATF"},
    {u"加蓬", u"GAB"},
    {u"冈比亚", u"GMB"},
    {u"格鲁吉亚", u"GEO"},
    {u"德国", u"DEU"},
    {u"加纳", u"GHA"},
    {u"直布罗陀", u"GIB"},
    {u"希腊", u"GRC"},
    {u"格陵兰", u"GRL"},
    {u"格林纳达", u"GRD"},
    {u"瓜德罗普", u"GLP"},
    {u"关岛", u"GUM"},
    {u"危地马拉", u"GTM"},
    {u"几内亚", u"GIN"},
    {u"几内亚比绍", u"GNB"},
    {u"圭亚那", u"GUY"},
    {u"海地", u"HTI"},
    {u"赫德岛和麦克唐纳群岛", u"HMD"},
    {u"洪都拉斯", u"HND"},
    {u"匈牙利", u"HUN"},
    {u"冰岛", u"ISL"},
    {u"印度", u"IND"},
    {u"印度尼西亚", u"IDN"},
    {u"伊朗", u"IRN"},
    {u"伊拉克", u"IRQ"},
    {u"爱尔兰", u"IRL"},
    {u"以色列", u"ISR"},
    {u"意大利", u"ITA"},
    {u"牙买加", u"JAM"},
    {u"日本", u"JPN"},
    {u"约旦", u"JOR"},
    {u"哈萨克斯坦", u"KAZ"},
    {u"肯尼亚", u"KEN"},
    {u"基里巴斯", u"KIR"},
    {u"朝鲜", u"PRK"},
    {u"韩国", u"KOR"},
    {u"科威特", u"KWT"},
    {u"吉尔吉斯斯坦", u"KGZ"},
    {u"老挝", u"LAO"},
    {u"拉脱维亚", u"LVA"},
    {u"黎巴嫩", u"LBN"},
    {u"莱索托", u"LSO"},
    {u"利比里亚", u"LBR"},
    {u"利比亚", u"LBY"},
    {u"列支敦士登", u"LIE"},
    {u"立陶宛", u"LTU"},
    {u"卢森堡", u"LUX"},
    {u"北马其顿", u"MKD"},
    {u"马达加斯加", u"MDG"},
    {u"马拉维", u"MWI"},
    {u"马来西亚", u"MYS"},
    {u"马尔代夫", u"MDV"},
    {u"马里", u"MLI"},
    {u"马耳他", u"MLT"},
    {u"马绍尔群岛", u"MHL"},
    {u"马提尼克", u"MTQ"},
    {u"毛里塔尼亚", u"MRT"},
    {u"毛里求斯", u"MUS"},
    {u"马约特", u"MYT"},
    {u"墨西哥", u"MEX"},
    {u"密克罗尼西亚", u"FSM"},
    {u"摩尔多瓦", u"MDA"},
    {u"摩纳哥", u"MCO"},
    {u"蒙古", u"MNG"},
    {u"蒙特塞拉特", u"MSR"},
    {u"摩洛哥", u"MAR"},
    {u"莫桑比克", u"MOZ"},
    {u"缅甸", u"MMR"},
    {u"纳米比亚", u"NAM"},
    {u"瑙鲁", u"NRU"},
    {u"尼泊尔", u"NPL"},
    {u"荷兰", u"NLD"},
    {u"荷属安的列斯", u"ANT"},
    {u"新喀里多尼亚", u"NCL"},
    {u"新西兰", u"NZL"},
    {u"尼加拉瓜", u"NIC"},
    {u"尼日尔", u"NER"},
    {u"尼日利亚", u"NGA"},
    {u"纽埃", u"NIU"},
    {u"诺福克岛", u"NFK"},
    {u"北马里亚纳群岛", u"MNP"},
    {u"挪威", u"NOR"},
    {u"阿曼", u"OMN"},
    {u"巴基斯坦", u"PAK"},
    {u"帕劳", u"PLW"},
    {u"巴勒斯坦", u"PSE"},
    {u"巴拿马", u"PAN"},
    {u"巴布亚新几内亚", u"PNG"},
    {u"巴拉圭", u"PRY"},
    {u"秘鲁", u"PER"},
    {u"菲律宾", u"PHL"},
    {u"皮特凯恩群岛", u"PCN"},
    {u"波兰", u"POL"},
    {u"葡萄牙", u"PRT"},
    {u"波多黎各", u"PRI"},
    {u"卡塔尔", u"QAT"},
    {u"留尼汪", u"REU"},
    {u"罗马尼亚", u"ROM"},
    {u"俄罗斯", u"RUS"},
    {u"卢旺达", u"RWA"},
    {u"圣赫勒拿", u"SHN"},
    {u"圣基茨和尼维斯", u"KNA"},
    {u"圣卢西亚", u"LCA"},
    {u"圣皮埃尔和密克隆", u"SPM"},
    {u"圣文森特和格林纳丁斯", u"VCT"},
    {u"萨摩亚", u"WSM"},
    {u"圣马力诺", u"SMR"},
    {u"圣多美和普林西比", u"STP"},
    {u"沙特阿拉伯", u"SAU"},
    {u"塞内加尔", u"SEN"},
    {u"塞舌尔", u"SYC"},
    {u"塞拉利昂", u"SLE"},
    {u"新加坡", u"SGP"},
    {u"斯洛伐克", u"SVK"},
    {u"斯洛文尼亚", u"SVN"},
    {u"所罗门群岛", u"SLB"},
    {u"索马里", u"SOM"},
    {u"南非", u"ZAF"},
    {u"南乔治亚岛和南桑威奇群岛", u"SGS"},
    {u"西班牙", u"ESP"},
    {u"斯里兰卡", u"LKA"},
    {u"苏丹", u"SDN"},
    {u"苏里南", u"SUR"},
    {u"斯瓦尔巴和扬马延", u"SJM"},
    {u"斯威士兰", u"SWZ"},
    {u"瑞典", u"SWE"},
    {u"瑞士", u"CHE"},
    {u"叙利亚", u"SYR"},
    {u"塔吉克斯坦", u"TJK"},
    {u"坦桑尼亚", u"TZA"},
    {u"泰国", u"THA"},
    {u"多哥", u"TGO"},
    {u"托克劳", u"TKL"},
    {u"汤加", u"TON"},
    {u"特立尼达和多巴哥", u"TTO"},
    {u"突尼斯", u"TUN"},
    {u"土耳其", u"TUR"},
    {u"土库曼斯坦", u"TKM"},
    {u"特克斯和凯科斯群岛", u"TCA"},
    {u"图瓦卢", u"TUV"},
    {u"乌干达", u"UGA"},
    {u"乌克兰", u"UKR"},
    {u"阿联酋", u"ARE"},
    {u"美国本土外小岛屿", u"UMI"},
    {u"乌拉圭", u"URY"},
    {u"乌兹别克斯坦", u"UZB"},
    {u"瓦努阿图", u"VUT"},
    {u"梵蒂冈", u"VAT"},
    {u"委内瑞拉", u"VEN"},
    {u"越南", u"VNM"},
    {u"英属维尔京群岛", u"VGB"},
    {u"美属维尔京群岛", u"VIR"},
    {u"瓦利斯和富图纳", u"WLF"},
    {u"西撒哈拉", u"ESH"},
    {u"也门", u"YEM"},
    {u"南斯拉夫", u"YUG"},
    {u"赞比亚", u"ZMB"},
    {u"津巴布韦", u"ZWE"},
    {u"多米尼加", u"DOM"},
};
static_assert(std::size(names) == row_count);

struct Rows {
    char rows[row_count][row_size];
};

consteval Rows encode_rows() {
    Rows table{};
    for (std::size_t i = 0; i < row_count; ++i) {
        auto text = gb18030::encode<row_size>(names[i].name);
        text.append('/');
        for (const char16_t letter : names[i].code)
            text.append(letter);
        if (text.size >= row_size) gb18030::text_leaves_no_room_for_its_terminator();
        std::ranges::copy(text.bytes, table.rows[i]);
    }
    return table;
}

}  // namespace

// An array cannot be what a function returns, so the rows are made under another name.
extern "C" const Rows deskreader_country_rows;
const Rows deskreader_country_rows = encode_rows();

std::string_view find(std::string_view text) noexcept {
    for (const auto& row : szCitizenship) {
        const std::string_view country(row);
        if (country.find(text) != std::string_view::npos) return country;
    }
    return {};
}

}  // namespace deskreader::countries

extern "C" const char szCitizenship[239][32] __attribute__((alias("deskreader_country_rows")));
