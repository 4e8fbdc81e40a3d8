#include "peers.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <span>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <hidapi.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>
#include <winscard.h>

#include "kit/hid_bus.h"

namespace bench {
namespace {

constexpr std::size_t report_payload = 62;
constexpr int limit_ms = 5000;

void require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

hid_device* as_hid(void* device) {
    return static_cast<hid_device*>(device);
}

bool read_all(int file, std::span<std::uint8_t> out) {
    while (!out.empty()) {
        const ssize_t count = ::read(file, out.data(), out.size());
        if (count <= 0) return false;
        out = out.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

BareUsb::BareUsb() : device_(hid_open(kit::hid_bus::vendor, kit::hid_bus::product, nullptr)) {
    require(device_ != nullptr, "nothing on the bus");
}

BareUsb::~BareUsb() {
    hid_close(as_hid(device_));
}

void BareUsb::write(const kit::Bytes& report) const {
    require(hid_write(as_hid(device_), report.data(), report.size()) > 0, "no report goes out");
}

void BareUsb::read() const {
    std::array<unsigned char, 64> report;
    require(hid_read_timeout(as_hid(device_), report.data(), report.size(), limit_ms) > 0,
            "no report comes");
}

void BareUsb::exchange(const kit::Bytes& frame, std::size_t answer_size) const {
    constexpr std::uint8_t cards = 2;
    std::array<unsigned char, 65> report{0, cards, static_cast<unsigned char>(frame.size())};
    require(frame.size() <= report_payload, "one report carries the request");
    std::copy(frame.begin(), frame.end(), report.begin() + 3);
    require(hid_write(as_hid(device_), report.data(), report.size()) > 0, "no report goes out");
    for (std::size_t got = 0; got < answer_size; got += report_payload)
        read();
}

BareLine::BareLine(const std::string& device)
    : file_(open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    require(file_ >= 0, "the line does not open");
}

BareLine::~BareLine() {
    close(file_);
}

void BareLine::send(const kit::Bytes& frame) const {
    require(::write(file_, frame.data(), frame.size()) == static_cast<ssize_t>(frame.size()),
            "the line takes no bytes");
}

std::size_t BareLine::receive() const {
    std::array<std::uint8_t, 2048> answer;
    const ssize_t count = ::read(file_, answer.data(), answer.size());
    require(count > 0, "the line is silent");
    return static_cast<std::size_t>(count);
}

void BareLine::exchange(const kit::Bytes& frame, std::size_t answer_size) const {
    send(frame);
    for (std::size_t got = 0; got < answer_size; got += receive()) {
        pollfd line{file_, POLLIN, 0};
        require(poll(&line, 1, limit_ms) == 1, "the line is silent");
    }
}

void BareLine::exchange_polling(const kit::Bytes& frame, std::size_t answer_size) const {
    send(frame);
    const timespec slice{0, 10'000};
    for (std::size_t got = 0; got < answer_size; got += receive()) {
        pollfd line{file_, POLLIN, 0};
        while (ppoll(&line, 1, &slice, nullptr) == 0) {
        }
    }
}

// Messages of vpcd: two bytes of length, then one byte that is an order or a longer command.
class PcscPeer::Card {
  public:
    Card(int port, kit::Bytes answer) : answer_(std::move(answer)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        require(connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
                "nobody listens for cards");
        thread_ = std::thread([this] { serve(); });
    }
    ~Card() {
        shutdown(socket_, SHUT_RDWR);
        thread_.join();
        close(socket_);
    }
    Card(const Card&) = delete;
    Card& operator=(const Card&) = delete;

  private:
    void serve() const {
        constexpr std::uint8_t answer_to_reset = 0x04;
        const kit::Bytes atr = kit::hex("3B 80 80 01 01");
        std::array<std::uint8_t, 65536> message;
        for (;;) {
            acknowledge_at_once();
            if (!read_all(socket_, std::span(message).first(2))) return;
            const auto length = static_cast<std::size_t>(message[0] << 8 | message[1]);
            if (!read_all(socket_, std::span(message).first(length))) return;
            if (length > 1) send(answer_);
            if (length == 1 && message[0] == answer_to_reset) send(atr);
        }
    }

    // vpcd sends the length alone and waits for the acknowledgement before it sends the rest; the
    // system forgets that they are wanted soon.
    void acknowledge_at_once() const {
        const int wanted = 1;
        setsockopt(socket_, IPPROTO_TCP, TCP_QUICKACK, &wanted, sizeof wanted);
    }

    void send(const kit::Bytes& bytes) const {
        const kit::Bytes message = kit::join({{static_cast<std::uint8_t>(bytes.size() >> 8),
                                               static_cast<std::uint8_t>(bytes.size())},
                                              bytes});
        if (::write(socket_, message.data(), message.size()) < 0) return;
    }

    kit::Bytes answer_;
    int socket_ = -1;
    std::thread thread_;
};

struct PcscPeer::Client {
    Client() {
        require(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) ==
                    SCARD_S_SUCCESS,
                "pcscd does not answer");
        for (int attempt = 0; attempt < 100; ++attempt) {
            char readers[1024] = "";
            DWORD size = sizeof readers;
            if (SCardListReaders(context, nullptr, readers, &size) == SCARD_S_SUCCESS &&
                connect(readers))
                return;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        throw std::runtime_error("pcscd does not see the card");
    }
    ~Client() {
        SCardDisconnect(card, SCARD_LEAVE_CARD);
        SCardReleaseContext(context);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool connect(const char* reader) {
        return SCardConnect(context, reader, SCARD_SHARE_SHARED, SCARD_PROTOCOL_T1, &card,
                            &protocol) == SCARD_S_SUCCESS;
    }

    SCARDCONTEXT context = 0;
    SCARDHANDLE card = 0;
    DWORD protocol = 0;
};

PcscPeer::PcscPeer(int port, kit::Bytes answer)
    : card_(std::make_unique<Card>(port, std::move(answer))), client_(std::make_unique<Client>()) {}

PcscPeer::~PcscPeer() = default;

void PcscPeer::transmit(const kit::Bytes& command) const {
    std::array<unsigned char, 512> response;
    DWORD length = response.size();
    require(SCardTransmit(client_->card, SCARD_PCI_T1, command.data(), command.size(), nullptr,
                          response.data(), &length) == SCARD_S_SUCCESS &&
                length > 2,
            "the card behind pcscd does not answer");
}

}  // namespace bench
