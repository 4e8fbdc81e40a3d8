// A Unix-domain socket at which programs do what a person does at the desk: several at a time, each
// with lines of its own (see desk_control.h).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/types.h>

#include "desk_control.h"
#include "socket.h"
#include "text_lines.h"

namespace virtual_reader {

class ControlSocket {
  public:
    // Only the user may open it. The socket of a program that was killed is replaced; throws
    // std::runtime_error where there is anything else, or no socket can be.
    explicit ControlSocket(std::string path);

    // The path is free again.
    ~ControlSocket();
    ControlSocket(const ControlSocket&) = delete;
    ControlSocket& operator=(const ControlSocket&) = delete;

    // What there is to wait for.
    void add_to(std::vector<pollfd>& waiting) const;

    // Lets `carry_out` answer the lines that came, without waiting for anybody. A client that sends
    // a line without end is hung up on, and one that takes no answers is not listened to. False
    // once a line ends the program.
    using CarryOut = std::function<ControlAnswer(std::string_view line)>;
    bool serve(const CarryOut& carry_out);

  private:
    struct Client {
        Socket socket;
        TextLines lines;
        std::string answers;
        bool has_ended = false;  // it says no more, but may still listen
    };

    void take_clients();
    static bool is_heard(const Client& client);
    static void receive(Client& client);
    static bool answer(Client& client, const CarryOut& carry_out);
    static void send_answers(Client& client);

    std::string path_;
    Socket listener_;
    dev_t device_ = 0;
    ino_t node_ = 0;
    std::vector<Client> clients_;
};

}  // namespace virtual_reader
