// A PC/SC program as a test wants it: does what its arguments say, one after the other, and prints
// what comes of it. Waits for at most ten seconds each.
//
//   present, empty   waits for a card, or until there is none
//   atr              the answer to reset
//   reset            resets the card
//   digits           a command, and its response
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>
#include <winscard.h>

namespace {

void check(LONG result, const char* what) {
    if (result == SCARD_S_SUCCESS) return;
    std::printf("%s: %s\n", what, pcsc_stringify_error(result));
    std::exit(1);
}

std::string to_hex(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", byte);
        text += digits.data();
    }
    return text;
}

class Program {
  public:
    Program() {
        check(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context_), "context");
        std::array<char, 1024> names{};
        DWORD size = names.size();
        check(SCardListReaders(context_, nullptr, names.data(), &size), "readers");
        reader_ = names.data();  // the first of them
    }
    ~Program() {
        if (card_ != 0) SCardDisconnect(card_, SCARD_UNPOWER_CARD);
        SCardReleaseContext(context_);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void wait_for(DWORD wanted) {
        for (int tenths = 0; tenths < 100; ++tenths, usleep(100'000)) {
            SCARD_READERSTATE state{};
            state.szReader = reader_.c_str();
            check(SCardGetStatusChange(context_, 0, &state, 1), "state");
            if ((state.dwEventState & wanted) != 0 && (state.dwEventState & SCARD_STATE_MUTE) == 0)
                return;
        }
        check(SCARD_E_TIMEOUT, wanted == SCARD_STATE_PRESENT ? "present" : "empty");
    }

    void show_answer() {
        connect();
        std::array<std::uint8_t, MAX_ATR_SIZE> answer{};
        DWORD size = answer.size();
        check(SCardStatus(card_, nullptr, nullptr, nullptr, nullptr, answer.data(), &size), "atr");
        std::printf("%s\n", to_hex(std::span(answer).first(size)).c_str());
    }

    void reset() {
        connect();
        check(SCardReconnect(card_, SCARD_SHARE_EXCLUSIVE, protocols, SCARD_RESET_CARD, &protocol_),
              "reset");
    }

    void send(std::string_view digits) {
        connect();
        std::vector<std::uint8_t> command;
        for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
            command.push_back(static_cast<std::uint8_t>(
                std::strtoul(std::string(digits.substr(at, 2)).c_str(), nullptr, 16)));
        }
        std::array<std::uint8_t, MAX_BUFFER_SIZE> response{};
        DWORD size = response.size();
        const SCARD_IO_REQUEST* header =
            protocol_ == SCARD_PROTOCOL_T0 ? SCARD_PCI_T0 : SCARD_PCI_T1;
        check(SCardTransmit(card_, header, command.data(), command.size(), nullptr, response.data(),
                            &size),
              "transmit");
        std::printf("%s\n", to_hex(std::span(response).first(size)).c_str());
    }

  private:
    static constexpr DWORD protocols = SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;

    void connect() {
        if (card_ != 0) return;
        check(SCardConnect(context_, reader_.c_str(), SCARD_SHARE_EXCLUSIVE, protocols, &card_,
                           &protocol_),
              "connect");
    }

    SCARDCONTEXT context_ = 0;
    SCARDHANDLE card_ = 0;
    DWORD protocol_ = 0;
    std::string reader_;
};

}  // namespace

int main(int argc, char** argv) {
    Program program;
    for (const std::string_view word : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        if (word == "present") {
            program.wait_for(SCARD_STATE_PRESENT);
        } else if (word == "empty") {
            program.wait_for(SCARD_STATE_EMPTY);
        } else if (word == "atr") {
            program.show_answer();
        } else if (word == "reset") {
            program.reset();
        } else {
            program.send(word);
        }
    }
}
