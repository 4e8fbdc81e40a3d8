// A terminal at a payment card: the APDUs of a purchase, and its cryptograms worked out a second
// way.
#pragma once

#include "cards/payment_card.h"
#include "plain_cipher.h"

namespace payment {

using kit::Bytes;
using kit::hex;

constexpr const char* select_directory = "00 A4 04 00 0E 315041592E5359532E4444463031";
constexpr const char* select_application = "00 A4 04 00 08 A000000333010101";
constexpr const char* begin = "80 A8 00 00 0B 83 09 00 000000001234 0156";

// Amount 12.34, other amount, country, verification results, currency, date, type, unpredictable
// number: what a cryptogram covers of it.
constexpr const char* covered = "000000001234 000000000000 0156 0000000800 0156 261017 01 A1B2C3D4";
constexpr const char* time_and_merchant = "101530 4445534B2053484F500000000000000000000000";

inline Bytes first_data(const char* elements = covered) {
    return kit::join({hex(elements), hex(time_and_merchant)});
}

inline Bytes second_data(const char* code = "3030", const char* elements = covered) {
    return kit::join({hex(code), first_data(elements)});
}

inline Bytes with_data(const char* header, const Bytes& data) {
    return kit::join({hex(header), {static_cast<std::uint8_t>(data.size())}, data});
}

// The keys of card 9999990000000013, sequence number 1, of the example issuer.
inline Bytes cryptogram_key() {
    return plain::card_key(hex("2B04197CD3586EA194EF370B52C87F61"), hex("9999000000001301"));
}
inline Bytes integrity_key() {
    return plain::card_key(hex("318A5D20BA43F7680E92C415E9764AB5"), hex("9999000000001301"));
}
inline Bytes secrecy_key() {
    return plain::card_key(hex("46D00DB32C8961FE571AE39875C2043E"), hex("9999000000001301"));
}

// The cryptogram over elements, profile 1C00, counter and verification results.
inline Bytes cryptogram(const char* counter, const char* results, const char* elements = covered) {
    return plain::retail_mac(plain::session_key(cryptogram_key(), hex(counter)),
                             kit::join({hex(elements), hex("1C00"), hex(counter), hex(results)}));
}

// Method 1: the request, its first two bytes changed by the code, under the session key; the code.
inline Bytes issuer_answer(const char* counter, const Bytes& request, const char* code = "3030") {
    Bytes mixed = plain::xored(request, kit::join({hex(code), Bytes(6, 0)}));
    return kit::join(
        {plain::triple_des_cbc(plain::session_key(cryptogram_key(), hex(counter)), mixed),
         hex(code)});
}

// A script command with its MAC; `header` is CLA INS P1 P2.
inline Bytes script(const char* header, const Bytes& data, const char* counter,
                    const Bytes& request) {
    const Bytes start = kit::join({hex(header), {static_cast<std::uint8_t>(data.size() + 4)}});
    const Bytes check = plain::retail_mac(plain::session_key(integrity_key(), request),
                                          kit::join({start, hex(counter), request, data}));
    return kit::join({start, data, plain::part(check, 0, 4)});
}

class Terminal {
  public:
    explicit Terminal(virtual_reader::PaymentCardSettings settings = {})
        : card_(std::move(settings)) {
        card_.power_on();
    }

    std::string send(const Bytes& apdu) { return kit::to_hex(card_.transmit(apdu)); }
    std::string send(const char* apdu) { return send(hex(apdu)); }

    // Selects, begins, asks for a request cryptogram; that cryptogram.
    Bytes request(const char* elements = covered) {
        send(select_application);
        EXPECT_EQ(send(begin), "800E1C000801010010010100180101009000");
        const std::string answer = send(with_data("80 AE 80 00", first_data(elements)));
        EXPECT_EQ(answer.size(), 46u) << answer;
        return hex(answer.substr(10, 16));
    }

    // A whole payment with the issuer's approval; the request cryptogram.
    Bytes pay(const char* counter, const char* elements = covered) {
        const Bytes request_cryptogram = request(elements);
        EXPECT_EQ(send(with_data("00 82 00 00", issuer_answer(counter, request_cryptogram))),
                  "9000");
        EXPECT_EQ(send(with_data("80 AE 40 00", second_data("3030", elements))).substr(0, 6),
                  "801340");
        return request_cryptogram;
    }

    virtual_reader::PaymentCard& card() { return card_; }

  private:
    virtual_reader::PaymentCard card_;
};

}  // namespace payment
