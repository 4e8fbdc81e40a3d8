#include "control_socket.h"

#include <fstream>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace {

using namespace std::chrono_literals;
using namespace virtual_reader;

class Directory {
  public:
    Directory() {
        std::string name = std::filesystem::temp_directory_path() / "desk-XXXXXX";
        path_ = mkdtemp(name.data());
    }
    ~Directory() { std::filesystem::remove_all(path_); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    std::string path(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

class Client {
  public:
    explicit Client(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(connect(socket_.descriptor(), reinterpret_cast<const sockaddr*>(&address),
                          sizeof address),
                  0);
    }

    void say(std::string_view text) const {
        EXPECT_EQ(send(socket_.descriptor(), text.data(), text.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(text.size()));
    }
    void say_no_more() const { shutdown(socket_.descriptor(), SHUT_WR); }

    // What is there; "gone" from a reader that has hung up.
    std::string hear() const {
        std::array<char, 1 << 16> bytes;
        const ssize_t count = recv(socket_.descriptor(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count == 0) return "gone";
        return count < 0 ? "" : std::string(bytes.data(), static_cast<std::size_t>(count));
    }

  private:
    Socket socket_;
};

class Control : public testing::Test {
  protected:
    // Answers every line with itself.
    bool serve() {
        return socket_->serve([this](std::string_view line) {
            ++lines_;
            return ControlAnswer{"ok " + std::string(line) + "\n", line == "quit"};
        });
    }

    Directory scratch_;
    std::string path_ = scratch_.path("desk");
    std::optional<ControlSocket> socket_{path_};
    int lines_ = 0;
};

TEST_F(Control, IsTheUsersAloneAndGoesWithTheProgram) {
    struct stat there {};
    ASSERT_EQ(lstat(path_.c_str(), &there), 0);
    EXPECT_TRUE(S_ISSOCK(there.st_mode));
    EXPECT_EQ(there.st_mode & 07777, 0600u);
    socket_.reset();
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(Control, AnswersLinesInAnyPieces) {
    const Client client(path_);
    EXPECT_TRUE(serve());
    client.say("in");
    EXPECT_TRUE(serve());
    EXPECT_EQ(client.hear(), "");
    client.say("sert one\nlist\nre");
    EXPECT_TRUE(serve());
    EXPECT_EQ(client.hear(), "ok insert one\nok list\n");
    client.say("move");
    client.say_no_more();
    EXPECT_TRUE(serve());
    EXPECT_TRUE(serve());
    EXPECT_EQ(client.hear(), "ok remove\n") << "the last line may have no end";
    EXPECT_EQ(client.hear(), "gone");
}

TEST_F(Control, HasSeveralClients) {
    std::vector<Client> clients;
    for (int i = 0; i < 10; ++i)
        clients.emplace_back(path_);
    for (std::size_t i = 0; i < clients.size(); ++i)
        clients[i].say("client " + std::to_string(i) + "\n");
    EXPECT_TRUE(serve());
    for (std::size_t i = 0; i < clients.size(); ++i)
        EXPECT_EQ(clients[i].hear(), "ok client " + std::to_string(i) + "\n");
}

TEST_F(Control, LetsOthersWaitWhenThereAreTooMany) {
    std::vector<Client> clients;
    for (int i = 0; i < 32; ++i)
        clients.emplace_back(path_);
    EXPECT_TRUE(serve());
    const Client last(path_);
    last.say("list\n");
    EXPECT_TRUE(serve());
    EXPECT_EQ(last.hear(), "");
    clients.pop_back();
    EXPECT_TRUE(serve());
    EXPECT_TRUE(serve());
    EXPECT_EQ(last.hear(), "ok list\n");
}

TEST_F(Control, ALineMayEndTheProgram) {
    const Client client(path_);
    client.say("list\nquit\nlist\n");
    EXPECT_FALSE(serve());
    EXPECT_EQ(client.hear(), "ok list\nok quit\n");
}

TEST_F(Control, HangsUpOnALineWithoutEnd) {
    const Client endless(path_);
    const Client other(path_);
    endless.say(std::string(4096, 'x'));
    EXPECT_TRUE(serve());
    EXPECT_EQ(endless.hear(), "");
    endless.say("x");
    other.say("list\n");
    EXPECT_TRUE(serve());
    EXPECT_EQ(endless.hear(), "error a line has at most 4096 bytes\n");
    EXPECT_EQ(endless.hear(), "gone");
    EXPECT_EQ(other.hear(), "ok list\n");
}

TEST_F(Control, ListensNoMoreToWhoeverTakesNoAnswers) {
    const Client deaf(path_);
    const std::string lines = std::string(100, '\n');
    int said = 0;
    for (int unheard = 0; said < 10'000 && unheard < 50; ++said) {
        const int before = lines_;
        deaf.say(lines);
        EXPECT_TRUE(serve());
        unheard = lines_ == before ? unheard + 1 : 0;
    }
    EXPECT_LT(said, 10'000);
    const Client other(path_);
    other.say("list\n");
    EXPECT_TRUE(serve());
    EXPECT_EQ(other.hear(), "ok list\n");
    const int before = lines_;
    for (int round = 0; round < 10'000 && lines_ < said * 100; ++round) {
        deaf.hear();
        EXPECT_TRUE(serve());
    }
    EXPECT_GT(lines_, before) << "when it takes them, it is listened to again";
}

TEST_F(Control, ReplacesTheSocketOfAProgramThatWasKilled) {
    socket_.reset();
    {
        const Socket killed(::socket(AF_UNIX, SOCK_STREAM, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(
            bind(killed.descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
            0);
    }
    ASSERT_TRUE(std::filesystem::exists(path_));
    socket_.emplace(path_);
    const Client client(path_);
    client.say("list\n");
    EXPECT_TRUE(serve());
    EXPECT_EQ(client.hear(), "ok list\n");
}

std::string complaint(const std::string& path) {
    try {
        ControlSocket socket(path);
        return "none";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

TEST_F(Control, TakesNobodysPlace) {
    EXPECT_EQ(complaint(path_), path_ + ": Address already in use");
    EXPECT_TRUE(std::filesystem::exists(path_));
    const std::string file = scratch_.path("file");
    std::ofstream(file) << "mine";
    EXPECT_EQ(complaint(file), file + ": is no socket");
    EXPECT_EQ(std::filesystem::file_size(file), 4u);
    EXPECT_EQ(complaint(scratch_.path("no/such/place")),
              scratch_.path("no/such/place") + ": No such file or directory");
    const std::string long_path = scratch_.path(std::string(108, 'x'));
    EXPECT_EQ(complaint(long_path), long_path + ": a socket's path has 1 to 107 bytes");
}

TEST_F(Control, RemovesNothingThatIsNotItsOwn) {
    std::filesystem::remove(path_);
    std::ofstream(path_) << "another's";
    socket_.reset();
    EXPECT_TRUE(std::filesystem::exists(path_));
}

}  // namespace
