#include "control_socket.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace virtual_reader {
namespace {

constexpr std::size_t most_clients = 32;

// While so many bytes of its answers are not taken, a client is not listened to.
constexpr std::size_t most_unsent = 1 << 16;

[[noreturn]] void refuse(const std::string& path, const std::string& what) {
    throw std::runtime_error(path + ": " + what);
}

sockaddr_un address_of(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    constexpr std::size_t longest = sizeof address.sun_path - 1;
    if (path.empty() || path.size() > longest)
        refuse(path, "a socket's path has 1 to " + std::to_string(longest) + " bytes");
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

Socket new_socket() {
    return Socket(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

// A socket at which nobody listens any more.
void remove_leftover(const std::string& path, const sockaddr_un& address) {
    struct stat there {};
    if (lstat(path.c_str(), &there) != 0) return;
    if (!S_ISSOCK(there.st_mode)) refuse(path, "is no socket");
    const Socket probe = new_socket();
    if (connect(probe.descriptor(), generic(address), sizeof address) != 0 &&
        errno == ECONNREFUSED) {
        unlink(path.c_str());
    }
}

bool is_for_later(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

ControlSocket::ControlSocket(std::string path) : path_(std::move(path)), listener_(new_socket()) {
    const sockaddr_un address = address_of(path_);
    remove_leftover(path_, address);
    const mode_t before = umask(S_IXUSR | S_IRWXG | S_IRWXO);
    const int result = bind(listener_.descriptor(), generic(address), sizeof address);
    const int error = errno;
    umask(before);
    if (result != 0) refuse(path_, std::strerror(error));
    struct stat own {};
    if (lstat(path_.c_str(), &own) != 0 || listen(listener_.descriptor(), most_clients) != 0)
        refuse(path_, std::strerror(errno));
    device_ = own.st_dev;
    node_ = own.st_ino;
}

ControlSocket::~ControlSocket() {
    struct stat there {};
    const bool is_own =
        lstat(path_.c_str(), &there) == 0 && there.st_dev == device_ && there.st_ino == node_;
    if (is_own) unlink(path_.c_str());
}

void ControlSocket::add_to(std::vector<pollfd>& waiting) const {
    if (clients_.size() < most_clients) waiting.push_back({listener_.descriptor(), POLLIN, 0});
    for (const Client& client : clients_) {
        const int events = (is_heard(client) ? POLLIN : 0) | (client.answers.empty() ? 0 : POLLOUT);
        waiting.push_back({client.socket.descriptor(), static_cast<short>(events), 0});
    }
}

void ControlSocket::take_clients() {
    while (clients_.size() < most_clients) {
        Socket socket(
            accept4(listener_.descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket.is_open()) return;
        clients_.push_back({std::move(socket), {}, {}});
    }
}

bool ControlSocket::is_heard(const Client& client) {
    return !client.has_ended && client.answers.size() < most_unsent;
}

void ControlSocket::receive(Client& client) {
    if (!is_heard(client)) return;
    std::array<char, longest_line> bytes;
    const ssize_t count = recv(client.socket.descriptor(), bytes.data(), bytes.size(), 0);
    if (count > 0) return client.lines.feed({bytes.data(), static_cast<std::size_t>(count)});
    if (count < 0 && is_for_later(errno)) return;
    client.lines.end();
    client.has_ended = true;
}

bool ControlSocket::answer(Client& client, const CarryOut& carry_out) {
    while (const auto line = client.lines.next()) {
        const ControlAnswer answer = carry_out(*line);
        client.answers += answer.text;
        if (answer.quit) return false;
    }
    if (!client.lines.is_too_long()) return true;
    client.answers += "error a line has at most " + std::to_string(longest_line) + " bytes\n";
    client.lines = {};
    client.has_ended = true;
    return true;
}

void ControlSocket::send_answers(Client& client) {
    if (client.answers.empty()) return;
    const ssize_t count = send(client.socket.descriptor(), client.answers.data(),
                               client.answers.size(), MSG_NOSIGNAL);
    if (count > 0) {
        client.answers.erase(0, static_cast<std::size_t>(count));
    } else if (!is_for_later(errno)) {
        client.answers.clear();
        client.has_ended = true;
    }
}

bool ControlSocket::serve(const CarryOut& carry_out) {
    take_clients();
    bool goes_on = true;
    for (Client& client : clients_) {
        receive(client);
        goes_on = answer(client, carry_out) && goes_on;
        send_answers(client);
    }
    std::erase_if(clients_, [](const Client& one) { return one.has_ended && one.answers.empty(); });
    return goes_on;
}

}  // namespace virtual_reader
