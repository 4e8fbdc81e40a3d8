#include "connection.h"

#include <deskreader.h>

#include "errors.h"

namespace desk_tool {
namespace {

constexpr int usb = 0;
constexpr int named_port = 15;  // the library's last port name is the tool's

// What to put into the virtual reader: a chosen card, or with the built-in deck what the command is
// for.
std::string card_for(const LinkOptions& options, const Link& link) {
    if (!options.card.empty()) return options.card;
    return link.place.empty() && options.default_card != nullptr ? options.default_card : "";
}

VirtualProcess::Arguments arguments_for(const Link& link) {
    VirtualProcess::Arguments arguments;
    if (link.kind == LinkKind::virtual_usb) arguments.emplace_back("--usb");
    if (!link.place.empty()) arguments.insert(arguments.end(), {"--deck", link.place});
    return arguments;
}

}  // namespace

Connection::Connection(const LinkOptions& options) : report_(options.replay_report) {
    const Link link = options.chosen();
    is_replay_ = link.kind == LinkKind::replay;
    if (link.is_virtual()) {
        virtual_.emplace(arguments_for(link));
        if (const std::string card = card_for(options, link); !card.empty()) virtual_->insert(card);
    } else if (!options.card.empty()) {
        throw MisuseError("--card is for virtual readers");
    }
    if (is_replay_) virtual_.emplace(VirtualProcess::Arguments{"--replay", link.place});
    if (link.kind != LinkKind::usb) name_ = virtual_ ? virtual_->device() : link.place;
    open(options.baud);
}

void Connection::open(int baud) const {
    const bool on_usb = name_ == "USB";
    if (!on_usb) GSetComName(named_port, name_.c_str());
    check("RD_Open", RD_Open(on_usb ? usb : named_port, baud, 0));
}

VirtualProcess& Connection::virtual_reader() {
    if (!virtual_ || is_replay_) throw ToolError("only the cards of a virtual reader can be moved");
    return *virtual_;
}

Connection::~Connection() {
    RD_Close();
    if (!is_replay_ || report_ == nullptr) return;
    report_->words = virtual_->end();
    report_->strayed = !report_->words.empty();
}

}  // namespace desk_tool
