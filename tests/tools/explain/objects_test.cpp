// Data objects in words, by EMV Book 3 (annexes A to C), EMV contactless Book A and JR/T 0025.
#include "lines.h"

namespace {

using namespace explain_tests;

TEST(DataObjects, HaveNamesAndMeanings) {
    EXPECT_EQ(objects("9F0206 000000012345 9A03 261121 9F2103 093000 5F2403 301231"),
              "data objects  26 bytes\n"
              "  9F02  Amount, authorised  000000012345  123.45\n"
              "  9A  Transaction date  261121  2026-11-21\n"
              "  9F21  Transaction time  093000  09:30:00\n"
              "  5F24  Application expiration date  301231  2030-12-31\n");
}

TEST(DataObjects, KnowCountriesAndCurrencies) {
    EXPECT_EQ(objects("5F2A02 0156 9F1A02 0344 5F5502 4445 5F2802 0999"),
              "data objects  20 bytes\n"
              "  5F2A  Transaction currency code  0156  156 CNY Yuan Renminbi\n"
              "  9F1A  Terminal country code  0344  344 Hong Kong\n"
              "  5F55  Issuer country code (two letters)  4445  DE Germany\n"
              "  5F28  Issuer country code  0999  999\n");
}

TEST(DataObjects, StandInTemplates) {
    EXPECT_EQ(objects("6F1A 840E 315041592E5359532E4444463031 A508 880101 5F2D02 7A68"),
              "data objects  28 bytes\n"
              "  6F  File control information (FCI) template\n"
              "    84  Dedicated file (DF) name  315041592E5359532E4444463031  1PAY.SYS.DDF01\n"
              "    A5  FCI proprietary template\n"
              "      88  Short file identifier (SFI)  01  1\n"
              "      5F2D  Language preference  7A68  zh\n");
}

TEST(DataObjects, ShowTheBitsOfTheVerificationResults) {
    EXPECT_EQ(objects("9505 8040040801"),
              "data objects  7 bytes\n"
              "  95  Terminal verification results (TVR)  8040040801\n"
              "    byte 1 bit 8  offline data authentication was not performed\n"
              "    byte 2 bit 7  expired application\n"
              "    byte 3 bit 3  online PIN entered\n"
              "    byte 4 bit 4  merchant forced transaction online\n"
              "    byte 5 bit 1  reserved\n");
}

TEST(DataObjects, ShowTheBitsOfProfileStatusAndUsage) {
    EXPECT_EQ(objects("8202 7D00 9B02 E800 9F0702 2180"),
              "data objects  13 bytes\n"
              "  82  Application interchange profile (AIP)  7D00\n"
              "    byte 1 bit 7  static data authentication (SDA) supported\n"
              "    byte 1 bit 6  dynamic data authentication (DDA) supported\n"
              "    byte 1 bit 5  cardholder verification supported\n"
              "    byte 1 bit 4  terminal risk management to be performed\n"
              "    byte 1 bit 3  issuer authentication with EXTERNAL AUTHENTICATE supported\n"
              "    byte 1 bit 1  combined data authentication (CDA) supported\n"
              "  9B  Transaction status information (TSI)  E800\n"
              "    byte 1 bit 8  offline data authentication was performed\n"
              "    byte 1 bit 7  cardholder verification was performed\n"
              "    byte 1 bit 6  card risk management was performed\n"
              "    byte 1 bit 4  terminal risk management was performed\n"
              "  9F07  Application usage control (AUC)  2180\n"
              "    byte 1 bit 6  valid for domestic goods\n"
              "    byte 1 bit 1  valid at terminals other than ATMs\n"
              "    byte 2 bit 8  domestic cashback allowed\n");
}

TEST(DataObjects, ShowTerminalAndCardQualifiers) {
    EXPECT_EQ(objects("9F6604 26808000 9F6C02 8080 9F3303 600001 9F3501 22"),
              "data objects  22 bytes\n"
              "  9F66  Terminal transaction qualifiers (TTQ)  26808000\n"
              "    byte 1 bit 6  EMV mode (qPBOC) supported\n"
              "    byte 1 bit 3  online PIN supported\n"
              "    byte 1 bit 2  signature supported\n"
              "    byte 2 bit 8  online cryptogram required\n"
              "    byte 3 bit 8  issuer update processing supported\n"
              "  9F6C  Card transaction qualifiers (CTQ)  8080\n"
              "    byte 1 bit 8  online PIN required\n"
              "    byte 2 bit 8  consumer device verification performed\n"
              "  9F33  Terminal capabilities  600001\n"
              "    byte 1 bit 7  magnetic stripe\n"
              "    byte 1 bit 6  IC with contacts\n"
              "    byte 3 bit 1  reserved\n"
              "  9F35  Terminal type  22  merchant, attended, offline with online capability\n");
}

TEST(DataObjects, ShowCryptogramsAndTransactions) {
    EXPECT_EQ(
        objects("9F2701 80 9F2701 40 9F2701 09 9C01 00 8A02 3030 8A02 5A33"),
        "data objects  23 bytes\n"
        "  9F27  Cryptogram information data (CID)  80  ARQC, online authorisation requested\n"
        "  9F27  Cryptogram information data (CID)  40  TC, approved offline\n"
        "  9F27  Cryptogram information data (CID)  09  AAC, declined, service not allowed\n"
        "    byte 1 bit 4  advice required\n"
        "  9C  Transaction type  00  goods and services\n"
        "  8A  Authorisation response code  3030  00 approved\n"
        "  8A  Authorisation response code  5A33  Z3 unable to go online, declined offline\n");
}

// Amounts X and Y, then: enciphered PIN online if supported, else the next; signature always.
TEST(DataObjects, ReadCardholderVerificationLists) {
    EXPECT_EQ(
        objects("8E0C 00000064 00000000 4203 1E00 9F3403 1E0302"),
        "data objects  20 bytes\n"
        "  8E  Cardholder verification method (CVM) list  00000064000000004203"
        "1E00\n"
        "    X  00000064  100\n"
        "    Y  00000000  0\n"
        "    4203  enciphered PIN verified online, if the terminal supports it; else the next\n"
        "    1E00  signature, always; else failed\n"
        "  9F34  Cardholder verification method (CVM) results  1E0302  signature, if the "
        "terminal supports it: successful\n");
}

TEST(DataObjects, ReadLocatorsAndLists) {
    EXPECT_EQ(objects("9408 08010100 10010301 8C06 9F0206 5F2A02 9F4A01 82"),
              "data objects  22 bytes\n"
              "  94  Application file locator (AFL)  0801010010010301\n"
              "    08010100  file 1, record 1, 0 of them for data authentication\n"
              "    10010301  file 2, records 1 to 3, 1 of them for data authentication\n"
              "  8C  Card risk management data object list 1 (CDOL1)  9F02065F2A02\n"
              "    9F02  Amount, authorised  6 bytes\n"
              "    5F2A  Transaction currency code  2 bytes\n"
              "  9F4A  Static data authentication tag list  82\n"
              "    82  Application interchange profile (AIP)\n");
}

TEST(DataObjects, ReadFormat1) {
    EXPECT_EQ(objects("8006 1C00 08010100"),
              "data objects  8 bytes\n"
              "  80  Response message template, format 1  1C0008010100\n"
              "    82  Application interchange profile (AIP)  1C00\n"
              "      byte 1 bit 5  cardholder verification supported\n"
              "      byte 1 bit 4  terminal risk management to be performed\n"
              "      byte 1 bit 3  issuer authentication with EXTERNAL AUTHENTICATE supported\n"
              "    94  Application file locator (AFL)  08010100\n"
              "      08010100  file 1, record 1, 0 of them for data authentication\n");
    EXPECT_EQ(
        objects("800D 80 0007 1122334455667788 0601"),
        "data objects  15 bytes\n"
        "  80  Response message template, format 1  80000711223344556677880601\n"
        "    9F27  Cryptogram information data (CID)  80  ARQC, online authorisation requested\n"
        "    9F36  Application transaction counter (ATC)  0007  7\n"
        "    9F26  Application cryptogram  1122334455667788\n"
        "    9F10  Issuer application data  0601\n");
}

TEST(DataObjects, ReadTrack2) {
    EXPECT_EQ(objects("5711 6222021234567890 D2512201 1234567890"),
              "data objects  19 bytes\n"
              "  57  Track 2 equivalent data  6222021234567890D25122011234567890  "
              "6222021234567890, expires 2025-12, service code 201\n");
}

TEST(DataObjects, SayWhatIsWrong) {
    EXPECT_EQ(objects("9A03 269921"),
              "data objects  5 bytes\n"
              "  9A  Transaction date  269921\n"
              "    not in the form that it should have\n");
    EXPECT_EQ(objects("8408 A000"),
              "data objects  4 bytes\n"
              "  84  Dedicated file (DF) name  A000\n"
              "    cut short: 2 of 8 bytes\n");
    EXPECT_EQ(objects("9F360200059F"),
              "data objects  6 bytes\n"
              "  9F36  Application transaction counter (ATC)  0005  5\n"
              "  no data object  9F\n");
    EXPECT_EQ(objects("9403 080101"),
              "data objects  5 bytes\n"
              "  94  Application file locator (AFL)  080101\n"
              "    080101: no whole entry\n");
    EXPECT_EQ(objects("DF7701 05"), "data objects  4 bytes\n  DF77  unknown  05\n");
}

}  // namespace
