// A purchase: the card's request goes to the bank that issued it, and the bank's answer to the
// card.
//
//   purchase CENTS DEVICE      for example: purchase 1234 /dev/ttyS0
//
// The bank here is the one behind the virtual cards; yours is at the other end of a connection. The
// rest needs only the library: g++ -std=c++20 ... $(pkg-config --cflags --libs deskreader)
#include <deskreader.h>

#include <array>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "issuer_host.h"

namespace {

using virtual_reader::IssuerHost;
using virtual_reader::Verdict;

constexpr int my_port = 15;
constexpr int baud = 9600;
constexpr int any_slot = 2;
constexpr int wait_s = 10;
constexpr int declined_as_told = -4115;

void check(const char* call, int result) {
    if (result == 0) return;
    std::array<char, 56> text{};
    int length = 0;
    RD_GetErrInfo(result, text.size(), text.data(), &length);
    throw std::runtime_error(std::string(call) + ": " + std::to_string(result) + " " + text.data());
}

// A reader that is open for as long as this object lives. There is one for the whole process.
class Reader {
  public:
    explicit Reader(const std::string& device) {
        GSetComName(my_port, device.c_str());
        check("RD_Open", RD_Open(my_port, baud, 0));
    }
    ~Reader() { RD_Close(); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // What the card wants its bank to be told. Leaves it powered, for complete().
    std::string request(const std::string& transaction) {
        std::array<char, 2400> text{};
        check("RD_ICGenARQC", RD_ICGenARQC(any_slot, transaction.c_str(), text.size(), text.data(),
                                           &kind_, wait_s));
        return text.data();
    }

    // Gives the card its bank's answer, and returns what it signs of that.
    std::string complete(const std::string& transaction, const std::string& answer) const {
        std::array<char, 64> script{};
        std::array<char, 1024> signature{};
        const int result = RD_ICExeScript_TC(kind_, transaction.c_str(), answer.c_str(),
                                             script.size(), script.data(), 0, signature.data());
        if (result != declined_as_told) check("RD_ICExeScript_TC", result);
        return signature.data();
    }

    // The newest payment in the card's log, as fields: a letter, three digits of length, the value.
    std::string last_payment() const {
        std::array<char, 4102> text{};
        check("RD_ICGetDetail", RD_ICGetDetail(any_slot, 0, text.data(), wait_s));
        constexpr std::size_t counts = 5;  // of entries, and of the characters of one
        return std::string(text.data()).substr(counts);
    }

  private:
    int kind_ = 0;  // of the card that answered: contact or contactless
};

// Amount, other amount, currency, date, type, time and merchant.
std::string transaction_of(const std::string& cents) {
    const std::time_t now = std::time(nullptr);
    std::ostringstream text;
    text << "P012" << std::setfill('0') << std::setw(12) << cents << "Q012000000000000R0040156"
         << std::put_time(std::localtime(&now), "S006%y%m%dT00200U006%H%M%S") << "V020" << std::left
         << std::setfill(' ') << std::setw(20) << "CORNER SHOP";
    return text.str();
}

void pay(const std::string& cents, const std::string& device) {
    Reader reader(device);
    IssuerHost bank;
    const std::string transaction = transaction_of(cents);
    const auto answer = bank.authorise(reader.request(transaction));
    if (answer.verdict == Verdict::not_genuine) throw std::runtime_error("this is no card of ours");
    std::cout << "the bank: " << answer.reason << '\n';
    const auto confirmation = bank.confirm(reader.complete(transaction, answer.text));
    std::cout << "the bank, of what the card signed: " << confirmation.reason << '\n';
    if (confirmation.verdict != Verdict::approved) throw std::runtime_error("not paid");
    std::cout << "the card's log: " << reader.last_payment().substr(0, 16) << '\n';
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: purchase CENTS DEVICE\n";
        return 2;
    }
    try {
        pay(arguments[1], arguments[2]);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
