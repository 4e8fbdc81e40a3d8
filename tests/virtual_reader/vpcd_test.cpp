#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "cards/vpcd_card.h"
#include "deck.h"
#include "desk_control.h"
#include "kit/frames.h"
#include "links/vpcd_link.h"

namespace {

using kit::Bytes;
using kit::hex;
using kit::ic_frame;
using namespace std::chrono_literals;
using namespace virtual_reader;
using Clock = std::chrono::steady_clock;

constexpr Place first_slot{false, 0};

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

// Somebody on the other side of a connection.
class Peer {
  public:
    explicit Peer(int socket) : socket_(socket) {}
    ~Peer() { hang_up(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    static int connect_to(int port) {
        const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = loopback(port);
        EXPECT_EQ(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        return socket;
    }

    void say(const Bytes& bytes) const {
        EXPECT_EQ(send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    // So many bytes, or what came within the limit.
    Bytes hear(std::size_t count, std::chrono::milliseconds limit = 5s) const {
        Bytes heard;
        const auto end = Clock::now() + limit;
        while (heard.size() < count) {
            const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
            pollfd state{socket_, POLLIN, 0};
            if (rest.count() <= 0 || poll(&state, 1, static_cast<int>(rest.count())) <= 0) break;
            std::uint8_t byte = 0;
            if (recv(socket_, &byte, 1, 0) != 1) break;
            heard.push_back(byte);
        }
        return heard;
    }

    // Whether the other side ends the connection within the limit.
    bool is_left(std::chrono::milliseconds limit = 5s) const {
        const auto end = Clock::now() + limit;
        for (std::uint8_t byte = 0; Clock::now() < end;) {
            pollfd state{socket_, POLLIN, 0};
            if (poll(&state, 1, 10) > 0 && recv(socket_, &byte, 1, 0) <= 0) return true;
        }
        return false;
    }

    void hang_up() {
        if (socket_ >= 0) close(socket_);
        socket_ = -1;
    }

  private:
    int socket_;
};

// A port of the loopback that a test listens at.
class Listener {
  public:
    Listener() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = loopback(0);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(socket_, 4), 0);
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
    }
    ~Listener() { close(socket_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int port() const { return port_; }
    int take() const {
        pollfd state{socket_, POLLIN, 0};
        EXPECT_EQ(poll(&state, 1, 5000), 1);
        return accept(socket_, nullptr, nullptr);
    }
    bool has_nobody(std::chrono::milliseconds limit) const {
        pollfd state{socket_, POLLIN, 0};
        return poll(&state, 1, static_cast<int>(limit.count())) == 0;
    }

  private:
    int socket_;
    int port_ = 0;
};

int port_in(const std::string& text) {
    return std::stoi(text.substr(text.rfind(':') + 1));
}

// ---- Messages and addresses

TEST(VpcdMessages, HaveTwoBytesOfLength) {
    EXPECT_EQ(vpcd_message(hex("04")), hex("0001 04"));
    EXPECT_EQ(vpcd_message({}), hex("0000"));
    EXPECT_EQ(vpcd_message(Bytes(0x1234, 0xAA)), kit::join({hex("1234"), Bytes(0x1234, 0xAA)}));
    EXPECT_EQ(vpcd_message(Bytes(0xFFFF, 1)).size(), 0x10001u);
    EXPECT_EQ(vpcd_message(Bytes(0x10000, 1)), hex("0000")) << "more than can be said";
}

TEST(VpcdMessages, ComeInAnyPieces) {
    VpcdMessages messages;
    for (const char* piece : {"00", "02", "90"}) {
        messages.feed(hex(piece));
        EXPECT_EQ(messages.next(), std::nullopt);
        EXPECT_TRUE(messages.is_within());
    }
    messages.feed(hex("00 0000 0001"));
    EXPECT_EQ(messages.next(), hex("9000"));
    EXPECT_EQ(messages.next(), Bytes{});
    EXPECT_EQ(messages.next(), std::nullopt);
    messages.feed(hex("04"));
    EXPECT_EQ(messages.next(), hex("04"));
    EXPECT_FALSE(messages.is_within());
}

TEST(VpcdAddress, IsAHostAndAPort) {
    const std::pair<const char*, std::pair<const char*, int>> rows[] = {
        {"127.0.0.1:35963", {"127.0.0.1", 35963}},
        {"desk:0", {"desk", 0}},
        {"[::1]:65535", {"::1", 65535}},
    };
    for (const auto& [text, parts] : rows) {
        const Address address = address_from_text(text);
        EXPECT_EQ(address.host, parts.first) << text;
        EXPECT_EQ(address.port, parts.second) << text;
        EXPECT_EQ(text_of(address), text);
    }
    for (const char* text : {"", "desk", ":35963", "desk:", "desk:x", "desk:65536", "desk:-1",
                             "::1:35963", "desk:1 ", "[]:1"})
        EXPECT_THROW(address_from_text(text), std::invalid_argument) << text;
}

TEST(VpcdDoor, CannotBeWhereAnotherIs) {
    const auto door = listening_door({"127.0.0.1", 0});
    EXPECT_NE(door->address().port, 0);
    try {
        listening_door(door->address());
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), text_of(door->address()) + ": Address already in use");
    }
    EXPECT_THROW(connecting_door({"no such host", 1}), std::runtime_error);
}

TEST(VpcdDoor, TriesAgainUntilSomebodyListens) {
    Address address;
    {
        const auto door = listening_door({"127.0.0.1", 0});
        address = door->address();
    }
    const auto door = connecting_door(address);
    const auto open_within = [&](std::chrono::milliseconds limit) {
        for (const auto end = Clock::now() + limit; Clock::now() < end;) {
            if (auto socket = door->try_open()) return socket->is_open();
            std::this_thread::sleep_for(5ms);
        }
        return false;
    };
    EXPECT_FALSE(open_within(300ms));
    const auto listener = listening_door(address);
    EXPECT_TRUE(open_within(5s));
}

// ---- A card of the reader for the programs of others

// A reader whose card is served at a port of the loopback.
class CardSide : public testing::Test {
  protected:
    CardSide() {
        start(R"({"cards": [
        {"type": "iso", "name": "one", "inserted": true, "answer": "3B0431323334",
         "files": [{"id": "2F00", "sfi": 1, "records": ["A"]}]},
        {"type": "iso", "name": "two", "answer": "3B0435363738"},
        {"type": "hostile", "name": "silent", "responses": [""]},
        {"type": "iso", "name": "near", "contactless": true, "inserted": true}]})");
    }

    void start(const char* deck, Place place = first_slot) {
        server_ = {};
        reader_ = reader_from_deck(deck, "deck");
        link_ = std::make_unique<VpcdLink>(listening_door({"127.0.0.1", 0}), place);
        port_ = port_in(link_->place());
        server_ = std::jthread([this](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                {
                    const std::lock_guard lock(mutex_);
                    link_->serve(*reader_);
                }
                std::this_thread::sleep_for(1ms);
            }
        });
    }

    void desk(const char* line) {
        const std::lock_guard lock(mutex_);
        EXPECT_EQ(control(*reader_, line).text, "ok\n") << line;
    }

    std::mutex mutex_;
    std::unique_ptr<Reader> reader_;
    std::unique_ptr<VpcdLink> link_;
    int port_ = 0;
    std::jthread server_;  // last: it uses all the others
};

TEST_F(CardSide, AnswersAsVpcdAsks) {
    const Peer vpcd(Peer::connect_to(port_));
    vpcd.say(hex("0001 04"));
    EXPECT_EQ(vpcd.hear(8), hex("0006 3B0431323334")) << "also before it has power";
    vpcd.say(hex("0005 00B2010C00"));
    EXPECT_EQ(vpcd.hear(2), hex("0000")) << "no power, no answer";
    vpcd.say(hex("0001 01"));
    vpcd.say(hex("0005 00B2010C00"));
    EXPECT_EQ(vpcd.hear(5), hex("0003 419000"));
    vpcd.say(hex("0005 00B2010400"));
    EXPECT_EQ(vpcd.hear(5), hex("0003 419000")) << "the file is the current one";
    vpcd.say(hex("0001 02 0001 04"));
    EXPECT_EQ(vpcd.hear(8), hex("0006 3B0431323334"));
    vpcd.say(hex("0005 00B2010400"));
    EXPECT_EQ(vpcd.hear(4), hex("0002 6986")) << "forgotten by the reset";
    vpcd.say(hex("0001 00"));
    vpcd.say(hex("0005 00B2010C00"));
    EXPECT_EQ(vpcd.hear(2), hex("0000"));
}

TEST_F(CardSide, PassesOverWhatMeansNothing) {
    const Peer vpcd(Peer::connect_to(port_));
    vpcd.say(hex("0000 0001 03 0001 FF 0000 0001 04"));
    EXPECT_EQ(vpcd.hear(8), hex("0006 3B0431323334"));
    vpcd.say(hex("0001 01 0002 00B2"));
    EXPECT_EQ(vpcd.hear(4), hex("0002 6700"));
}

TEST_F(CardSide, TakesTheLongestMessage) {
    const Peer vpcd(Peer::connect_to(port_));
    vpcd.say(hex("0001 01"));
    vpcd.say(kit::join({hex("FFFF"), Bytes(0xFFFF, 0x00)}));
    EXPECT_EQ(vpcd.hear(4), hex("0002 6700"));
}

TEST_F(CardSide, SaysNothingForACardThatSaysNothing) {
    desk("insert silent");
    const Peer vpcd(Peer::connect_to(port_));
    vpcd.say(hex("0001 01 0005 0084000008"));
    EXPECT_EQ(vpcd.hear(2), hex("0000"));
}

TEST_F(CardSide, AContactlessCardHasTheAnswerThatReadersMakeUp) {
    start(R"({"cards": [{"type": "iso", "name": "near", "contactless": true, "inserted": true}]})",
          Place{true, 0});
    const Peer vpcd(Peer::connect_to(port_));
    vpcd.say(hex("0001 04"));
    EXPECT_EQ(vpcd.hear(7), hex("0005 3B80800101"));
}

TEST(VpcdPlace, IsThatOfACardWithApdus) {
    const auto reader = reader_from_deck(default_deck(), "built-in deck");
    EXPECT_EQ(VpcdLink::place_of("", *reader), (Place{false, 0}));
    reader->insert("bank", 3);
    EXPECT_EQ(VpcdLink::place_of("bank", *reader), (Place{false, 3}));
    EXPECT_EQ(VpcdLink::place_of("visitor", *reader), (Place{true, 0}));
    for (const char* card : {"locker", "ticket", "resident", "loyalty"}) {
        reader->insert(card);
        EXPECT_THROW(VpcdLink::place_of(card, *reader), std::invalid_argument) << card;
    }
}

TEST_F(CardSide, AConnectionIsACard) {
    const Peer first(Peer::connect_to(port_));
    first.say(hex("0001 04"));
    EXPECT_EQ(first.hear(8), hex("0006 3B0431323334"));
    desk("remove one");
    EXPECT_TRUE(first.is_left());
    const Peer second(Peer::connect_to(port_));
    second.say(hex("0001 04"));
    EXPECT_EQ(second.hear(1, 50ms), Bytes{}) << "there is no card";
    desk("insert two");
    EXPECT_EQ(second.hear(8), hex("0006 3B0435363738"));
    desk("insert one");
    EXPECT_TRUE(second.is_left()) << "swapped";
    const Peer third(Peer::connect_to(port_));
    third.say(hex("0001 04"));
    EXPECT_EQ(third.hear(8), hex("0006 3B0431323334"));
    {
        const std::lock_guard lock(mutex_);
        control(*reader_, "remove one");
        control(*reader_, "insert one");
    }
    EXPECT_TRUE(third.is_left()) << "out and in again between two looks";
}

TEST_F(CardSide, ServesOneAfterTheOther) {
    Peer first(Peer::connect_to(port_));
    const Peer second(Peer::connect_to(port_));
    first.say(hex("0001 01 0005 00B2010C00"));
    EXPECT_EQ(first.hear(5), hex("0003 419000"));
    second.say(hex("0001 04"));
    EXPECT_EQ(second.hear(1, 50ms), Bytes{});
    first.hang_up();
    EXPECT_EQ(second.hear(8), hex("0006 3B0431323334"));
    second.say(hex("0005 00B2010C00"));
    EXPECT_EQ(second.hear(2), hex("0000")) << "the card has lost its power meanwhile";
}

TEST_F(CardSide, AnUnpluggedReaderHasNoCard) {
    const Peer first(Peer::connect_to(port_));
    first.say(hex("0001 04"));
    EXPECT_EQ(first.hear(8), hex("0006 3B0431323334"));
    desk("unplug");
    EXPECT_TRUE(first.is_left());
    desk("plug");
    const Peer second(Peer::connect_to(port_));
    second.say(hex("0001 04"));
    EXPECT_EQ(second.hear(8), hex("0006 3B0431323334"));
}

TEST_F(CardSide, FaultsSpoilAnswersToCommandsOnly) {
    desk("fault corrupt at 2 count 1 bytes FF");
    const Peer vpcd(Peer::connect_to(port_));
    vpcd.say(hex("0001 01 0001 04"));
    EXPECT_EQ(vpcd.hear(8), hex("0006 3B0431323334"));
    vpcd.say(hex("0005 00B2010C00"));
    EXPECT_EQ(vpcd.hear(5), hex("0003 BE9000"));
    desk("fault delay ms 100");
    const auto begin = Clock::now();
    vpcd.say(hex("0005 00B2010C00"));
    EXPECT_EQ(vpcd.hear(5), hex("0003 419000"));
    EXPECT_GE(Clock::now() - begin, 100ms);
    desk("fault unplug at 3");
    vpcd.say(hex("0005 00B2010C00"));
    EXPECT_EQ(vpcd.hear(3), hex("0003 41"));
    EXPECT_TRUE(vpcd.is_left());
}

TEST_F(CardSide, OutlivesWhoeverLeavesInTheMiddle) {
    for (const char* part : {"", "00", "0005", "0005 00B2", "FFFF 00"}) {
        Peer rude(Peer::connect_to(port_));
        rude.say(hex(part));
        rude.hang_up();
    }
    const Peer vpcd(Peer::connect_to(port_));
    vpcd.say(hex("0001 01 0005 00B2010C00"));
    EXPECT_EQ(vpcd.hear(5), hex("0003 419000"));
}

// ---- Connections that go wrong

class Connection : public testing::Test {
  protected:
    Connection() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
        connection_.emplace(Socket(ends[0]), VpcdLimits{200ms, 200ms});
        peer_.emplace(ends[1]);
    }

    std::optional<VpcdConnection> connection_;
    std::optional<Peer> peer_;
};

TEST_F(Connection, EndsWhenNobodyTakesWhatIsSent) {
    const auto begin = Clock::now();
    connection_->send(Bytes(10'000'000));
    EXPECT_LT(Clock::now() - begin, 5s);
    EXPECT_EQ(connection_->descriptor(), -1);
    connection_->send(hex("0000"));
    EXPECT_EQ(connection_->take(), std::nullopt);
    EXPECT_FALSE(connection_->is_open());
}

TEST_F(Connection, EndsWhenAMessageDoesNot) {
    peer_->say(hex("0003 9000"));
    EXPECT_EQ(connection_->take(10ms), std::nullopt);
    EXPECT_TRUE(connection_->is_open());
    EXPECT_EQ(connection_->take(5s), std::nullopt);
    EXPECT_FALSE(connection_->is_open());
}

TEST_F(Connection, KeepsWholeMessagesOfWhoeverIsSlow) {
    for (const char* byte : {"00", "02", "90"}) {
        peer_->say(hex(byte));
        EXPECT_EQ(connection_->take(5ms), std::nullopt);
    }
    peer_->say(hex("00"));
    EXPECT_EQ(connection_->take(5s), hex("9000"));
    std::this_thread::sleep_for(250ms);
    EXPECT_EQ(connection_->take(), std::nullopt);
    EXPECT_TRUE(connection_->is_open()) << "nothing was begun";
}

TEST_F(Connection, ForgetsWhatCameUnasked) {
    peer_->say(hex("0002 6F00 0000"));
    connection_->forget();
    peer_->say(hex("0002 9000"));
    EXPECT_EQ(connection_->take(5s), hex("9000"));
    peer_->say(Bytes(2 * 100));
    connection_->forget();
    EXPECT_FALSE(connection_->is_open()) << "who does not stop talking";
}

TEST_F(Connection, SeesTheOtherSideLeave) {
    EXPECT_TRUE(connection_->is_open());
    peer_->hang_up();
    const auto begin = Clock::now();
    EXPECT_EQ(connection_->take(5s), std::nullopt);
    EXPECT_LT(Clock::now() - begin, 4s);
    EXPECT_FALSE(connection_->is_open());
}

// ---- A card of another program in the reader

// A card that says what it was told, whatever it is asked.
class Simulator {
  public:
    struct Turn {
        Bytes heard;  // what the reader says
        Bytes said;   // and what it is answered, as it stands
    };

    Simulator(int socket, std::vector<Turn> turns)
        : peer_(socket), thread_([this, turns = std::move(turns)] {
              for (const Turn& turn : turns) {
                  EXPECT_EQ(peer_.hear(turn.heard.size()), turn.heard);
                  if (!turn.said.empty()) peer_.say(turn.said);
              }
          }) {}

    // Waits for the last turn.
    void finish() { thread_.join(); }
    Peer& peer() { return peer_; }

  private:
    Peer peer_;
    std::jthread thread_;
};

const Simulator::Turn powered_on = {hex("0001 01 0001 04"), hex("0006 3B0431323334")};

class ReaderSide : public testing::Test {
  protected:
    ReaderSide() { reader_->ic().insert("applet"); }

    int port() const {
        const std::string text = reader_->describe();
        return port_in(text.substr(0, text.find('\n')));
    }

    Bytes host(const char* command) { return reader_->receive_serial(ic_frame(hex(command))); }

    std::unique_ptr<Reader> reader_ = reader_from_deck(R"({"cards": [
        {"type": "vpcd", "name": "applet", "port": 0, "limit_ms": 200},
        {"type": "iso", "name": "plain"}]})",
                                                       "deck");
};

TEST_F(ReaderSide, IsACardOnceItsProgramComes) {
    EXPECT_EQ(reader_->describe(), "applet: slot 0, not powered, waiting at 127.0.0.1:" +
                                       std::to_string(port()) + "\nplain: out\n");
    EXPECT_EQ(host("E1 01"), ic_frame(hex("FB")));
    EXPECT_EQ(reader_->receive_serial(kit::union_frame(hex("32 21 00"))),
              kit::union_frame(hex("0000 0000")));
    Simulator card(Peer::connect_to(port()), {powered_on,
                                              {hex("0005 00A4040000"), hex("0002 9000")},
                                              {hex("0001 02 0001 04"), hex("0002 3B00")},
                                              {hex("0001 00"), {}}});
    EXPECT_EQ(host("E1 01"), ic_frame(hex("00 3B 04 31 32 33 34")));
    EXPECT_EQ(reader_->describe(), "applet: slot 0, powered, connected at 127.0.0.1:" +
                                       std::to_string(port()) + "\nplain: out\n");
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("00 90 00")));
    EXPECT_EQ(host("E1 01"), ic_frame(hex("00 3B 00"))) << "powered already, so it is reset";
    EXPECT_EQ(host("E2 01"), ic_frame(hex("00")));
    card.finish();
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("A2")));
    card.peer().hang_up();
    EXPECT_EQ(host("E1 01"), ic_frame(hex("FB")));
}

TEST_F(ReaderSide, TheCardGoesWithItsProgramAndAnotherComes) {
    const int own_port = port();
    {
        Simulator card(Peer::connect_to(own_port), {powered_on});
        EXPECT_EQ(host("E1 01"), ic_frame(hex("00 3B 04 31 32 33 34")));
        card.finish();
    }
    Simulator next(Peer::connect_to(own_port), {{hex("0001 01 0001 04"), hex("0002 3B00")}});
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("FB"))) << "the reader sees it go";
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("A2"))) << "the next has no power";
    EXPECT_EQ(host("E1 01"), ic_frame(hex("00 3B 00")));
}

TEST_F(ReaderSide, ListensWhileItIsInTheReader) {
    const int old_port = port();
    Simulator card(Peer::connect_to(old_port), {powered_on, {hex("0001 00"), {}}});
    EXPECT_EQ(host("E1 01"), ic_frame(hex("00 3B 04 31 32 33 34")));
    reader_->ic().insert("plain");
    card.finish();
    EXPECT_TRUE(card.peer().is_left());
    EXPECT_EQ(reader_->describe(), "applet: out\nplain: slot 0, not powered\n");
    const auto door = listening_door({"127.0.0.1", old_port});
    EXPECT_EQ(door->address().port, old_port) << "nobody listens there now";
}

TEST_F(ReaderSide, AnAnswerThatDoesNotComeEndsIt) {
    Simulator card(Peer::connect_to(port()), {powered_on, {hex("0005 00A4040000"), {}}});
    host("E1 01");
    const auto begin = Clock::now();
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("A2")));
    EXPECT_GE(Clock::now() - begin, 200ms);
    EXPECT_LT(Clock::now() - begin, 5s);
    EXPECT_TRUE(card.peer().is_left());
    EXPECT_EQ(host("E1 01"), ic_frame(hex("FB")));
}

TEST_F(ReaderSide, AnAnswerThatEndsInTheMiddleEndsIt) {
    Simulator card(Peer::connect_to(port()),
                   {powered_on, {hex("0005 00A4040000"), hex("0100 9000")}});
    host("E1 01");
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("A2")));
    EXPECT_TRUE(card.peer().is_left());
}

TEST_F(ReaderSide, SilenceAtPowerOnIsNoCard) {
    Simulator card(Peer::connect_to(port()), {{hex("0001 01 0001 04"), {}}});
    EXPECT_EQ(host("E1 01"), ic_frame(hex("FB")));
    EXPECT_TRUE(card.peer().is_left());
}

TEST_F(ReaderSide, AnAnswerToResetHasItsLength) {
    Simulator card(Peer::connect_to(port()),
                   {{hex("0001 01 0001 04"), vpcd_message(Bytes(65, 0x3B))}});
    EXPECT_EQ(host("E1 01"), ic_frame(hex("FB")));
    EXPECT_TRUE(card.peer().is_left());
}

TEST_F(ReaderSide, LongAndEmptyAnswersAreRefused) {
    Simulator card(Peer::connect_to(port()),
                   {powered_on,
                    {hex("0005 00A4040000"), hex("0000")},
                    {hex("0005 00A4040000"), hex("0001 90")},
                    {hex("0005 00A4040000"), vpcd_message(Bytes(334, 0x11))},
                    {hex("0005 00A4040000"), vpcd_message(Bytes(0xFFFF, 0x11))}});
    host("E1 01");
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("A2")));
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("00 90"))) << "as the card has it";
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("A2"))) << "no room in the frame";
    EXPECT_EQ(reader_->receive_serial(kit::union_frame(hex("32 26 00 00 A4 04 00 00"))),
              kit::union_frame(hex("1001")))
        << "neither in the other";
}

TEST_F(ReaderSide, WhatCameUnaskedIsNoAnswer) {
    Simulator card(Peer::connect_to(port()), {powered_on,
                                              {hex("0005 00A4040000"), hex("0002 9000 0002 6F00")},
                                              {hex("0005 00A4040000"), hex("0002 9001")}});
    host("E1 01");
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("00 90 00")));
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("00 90 01")));
}

TEST_F(ReaderSide, ACommandOfOneByteIsNotSent) {
    Simulator card(Peer::connect_to(port()),
                   {powered_on, {hex("0005 00A4040000"), hex("0002 9000")}});
    host("E1 01");
    EXPECT_EQ(host("E3 01"), ic_frame(hex("A2")));
    EXPECT_EQ(host("E3 01 02"), ic_frame(hex("A2"))) << "it would be a reset";
    EXPECT_EQ(host("E3 01 00 A4 04 00 00"), ic_frame(hex("00 90 00")));
}

TEST(VpcdCardInDeck, ConnectsIfItIsToldTo) {
    const Listener program;
    const auto reader = reader_from_deck(
        R"({"cards": [{"type": "vpcd", "name": "far", "contactless": true, "inserted": true,
            "connect": true, "port": )" +
            std::to_string(program.port()) + "}]}",
        "deck");
    while (reader->ic().card_at({true, 0}) == nullptr)
        std::this_thread::sleep_for(1ms);
    Simulator card(program.take(), {powered_on});
    EXPECT_EQ(reader->receive_serial(ic_frame(hex("D1"))), ic_frame(hex("00 3B 04 31 32 33 34")));
}

TEST(VpcdCardInDeck, SaysThatItConnects) {
    const int port = Listener().port();
    const auto reader =
        reader_from_deck(R"({"cards": [{"type": "vpcd", "name": "far", "inserted": true,
            "connect": true, "port": )" +
                             std::to_string(port) + "}]}",
                         "deck");
    EXPECT_EQ(reader->describe(),
              "far: slot 0, not powered, connecting to 127.0.0.1:" + std::to_string(port) + "\n");
}

TEST(VpcdCardInDeck, SaysThatItsPortIsTaken) {
    const Listener other;
    const auto reader = reader_from_deck(R"({"cards": [{"type": "vpcd", "name": "late", "port": )" +
                                             std::to_string(other.port()) + "}]}",
                                         "deck");
    EXPECT_EQ(reader->describe(), "late: out\n") << "it may be lying there";
    EXPECT_NE(control(*reader, "insert late").text.find("Address already in use"),
              std::string::npos);
    EXPECT_EQ(reader->describe(), "late: out\n");
}

TEST(VpcdCardInDeck, HasKeysOfItsOwn) {
    const std::pair<const char*, const char*> rows[] = {
        {R"("answer": "3B00")",
         "/answer: unknown key, expected one of type, name, contactless, inserted, slot, host, "
         "port, connect, limit_ms"},
        {R"("host": "")", "/host: expected a host, found \"\""},
        {R"("port": 65536)", "/port: expected a whole number from 0 to 65535, found 65536"},
        {R"("connect": 1)", "/connect: expected true or false, found 1"},
        {R"("limit_ms": 0)", "/limit_ms: expected a whole number from 1 to 60000, found 0"},
    };
    for (const auto& [keys, error] : rows) {
        const std::string json =
            R"({"cards": [{"type": "vpcd", "name": "c", )" + std::string(keys) + "}]}";
        try {
            reader_from_deck(json, "deck");
            ADD_FAILURE() << keys;
        } catch (const DeckError& wrong) {
            EXPECT_EQ(wrong.what(), "deck: /cards/0" + std::string(error));
        }
    }
}

// ---- One against the other

TEST_F(CardSide, ServesTheReaderSide) {
    start(R"({"cards": [
        {"type": "payment", "name": "bank", "inserted": true, "answer": "3B0442414E4B",
         "application": "F012345678", "label": "X", "account_number": "8888888800000001",
         "expiry": "271130", "holder": "H", "holder_more": "HH", "identity_type": "05",
         "identity_number": "N", "track1_more": "T", "options": "objects",
         "options_list": "9F6604", "without": ["9F4D"]}]})");
    const auto far = reader_from_deck(
        R"({"cards": [{"type": "vpcd", "name": "far", "inserted": true, "connect": true,
            "port": )" +
            std::to_string(port_) + "}]}",
        "deck");
    const auto host = [&](const char* command) {
        return far->receive_serial(ic_frame(hex(command)));
    };
    while (far->ic().card_at(first_slot) == nullptr)
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(host("E1 01"), ic_frame(hex("00 3B 04 42 41 4E 4B")));
    EXPECT_EQ(host("E3 01 00 A4 04 00 05 F012345678"),
              ic_frame(hex("00 6F228405F012345678A519500158870101"
                           "9F38039F6604 5F2D02656E BF0C05DF4D020C0A 9000")));
    EXPECT_EQ(host("E3 01 80 A8 00 00 06 83 04 F4000000"),
              ic_frame(hex("00 771282021C00940C0801010010010100180101009000")));
    EXPECT_EQ(host("E3 01 00 B2 01 0C 00"),
              ic_frame(hex("00 7026570F8888888800000001D271122000000F"
                           "5F2001489F0B0248489F1F01549F61014E9F620105 9000")));
    EXPECT_EQ(host("E2 01"), ic_frame(hex("00")));
    desk("remove bank");
    while (far->ic().card_at(first_slot) != nullptr)
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(host("E1 01"), ic_frame(hex("FB")));
}

}  // namespace
