// The steps with which every flow with a payment card begins and ends, as rows of a scripted card.
#pragma once

#include "kit/card_desk.h"

// A value in the terminal's data objects, as hexadecimal text; of the transaction unless said
// otherwise.
inline std::string stored_value(const char* tag, unsigned char* store = g_szTxData,
                                int size = g_iTxDataLen) {
    const kit::Bytes name = kit::hex(tag);
    return kit::output_of([&](auto* out, int* length) {
               return PBOC_GetTagValue(name.data(), static_cast<int>(name.size()), store, size, out,
                                       length);
           })
        .text();
}

class PaymentDesk : public kit::CardDesk {
  public:
    using kit::CardDesk::CardDesk;

    void expect_directory(const char* response = "6F 05 A5 03 88 01 01 90 00") {
        expect("00 A4 04 00 0E 31 50 41 59 2E 53 59 53 2E 44 44 46 30 31", response);
    }
    void expect_application_list() {
        expect("00 B2 01 0C 00", "70 0B 61 09 4F 07 A0 00 00 03 33 01 01 90 00");
        expect("00 B2 02 0C 00", "6A 83");
    }
    void expect_application(const char* response) {
        expect("00 A4 04 00 07 A0 00 00 03 33 01 01", response);
    }

    // Power, directory, list, and an application that answers so.
    void expect_selection(const char* application) {
        expect_power_on();
        expect_directory();
        expect_application_list();
        expect_application(application);
    }
};
