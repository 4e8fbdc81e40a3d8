#include "flow.h"

#include <deskreader.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "kit/scratch.h"
#include "robustness/results.h"
#include "scratch_place.h"
#include "ultralight_card.h"

namespace fuzzing {
namespace {

using robustness::Call;
using robustness::Leaves;

constexpr int baud = 9600;

// Everything that hosts can see and calls change, as it was when the program began.
class Beginning {
  public:
    void restore() const {
        std::memcpy(g_szTxData, transaction_.data(), transaction_.size());
        std::memcpy(g_szAppInitData, application_.data(), application_.size());
        std::memcpy(g_szExData, more_.data(), more_.size());
        std::memset(g_IccAppData, 0, sizeof g_IccAppData);
        DC_Init(&context);
        COMM_notcancle();
        std::srand(1);
        g_DevBaud = baud;
        g_Slot = 0;
        g_IcType = 0;
        g_IsCancelWait = 0;
        g_Bp = 0;
    }

  private:
    template <std::size_t size>
    static std::array<unsigned char, size> copy(const unsigned char (&from)[size]) {
        return std::to_array(from);
    }

    std::array<unsigned char, sizeof g_szTxData> transaction_ = copy(g_szTxData);
    std::array<unsigned char, sizeof g_szAppInitData> application_ = copy(g_szAppInitData);
    std::array<unsigned char, sizeof g_szExData> more_ = copy(g_szExData);
};

void check_references(const Call& call) {
    expect(context.nRefCnt == (call.leaves == Leaves::as_it_was ? 1u : 0u));
}

// How often the bus's device was opened, less how often it was closed. A host that closes a reader
// which it could not open makes the library close a null device, which hidapi takes for nothing.
int open_on_bus(const kit::hid_bus::Counts& before) {
    const auto& now = kit::hid_bus::counts();
    return (now.opens - before.opens) - (now.closes - before.closes);
}

// What the call left open, closed as a host would close it.
void close_reader(const Call& call, const DEVCONTEXT& opened) {
    if (call.leaves == Leaves::forgotten) opened.pOps->close(opened.pDevice);
    RD_Close();
    expect(context.nRefCnt == 0 && context.iOpen == 0);
    expect(serial_port::open_count() == 0);
}

}  // namespace

DeskSettings Header::desk() const {
    constexpr std::size_t at_once[] = {0, 1, 7, 64};
    return {(line & 1) == 0 ? Link::hid : Link::serial, (line & 8) != 0, at_once[line >> 4 & 3]};
}

std::string Header::config_text() const {
    std::string text = "[devcfg]\n";
    if ((config & 0x20) == 0) text += "Iccmd=" + std::to_string(line >> 1 & 1) + "\n";
    text += "IdChange=" + std::to_string(config & 3) + "\n";
    text += "devtype=" + std::to_string(config >> 2 & 1) + "\n";
    if ((config & 8) != 0) text += "DevBaud=115200\n";
    if ((config & 16) != 0) text += "IdBaud=115200\nIcBaud=19200\n";
    return text;
}

void run(const Header& header, std::span<const Call> calls, FarEnd& far_end, Draw& draw) {
    static const Beginning beginning;
    static robustness::GuardedBuffers buffers;
    const ScratchPlace place(header.config_text());
    beginning.restore();
    const int descriptor = next_descriptor();
    const auto bus = kit::hid_bus::counts();
    {
        Desk desk(header.desk(), far_end);
        const UltralightCard ultralight(draw);
        const Call& call = calls[header.call % calls.size()];
        if (call.leaves != Leaves::opened_and_closed) expect(RD_Open(desk.port(), baud, 0) == 0);
        const DEVCONTEXT opened = context;
        Surroundings surroundings{{buffers, desk.port(), desk.port_name()}, draw};
        const int result = call.run(surroundings);
        expect(robustness::is_defined(result, call.is_terminal));
        expect(buffers.reset());
        check_references(call);
        close_reader(call, opened);
        expect(open_on_bus(bus) <= 0);
    }
    expect(next_descriptor() == descriptor);
}

std::span<const Call> reader_calls() {
    static const std::vector<Call> calls = [] {
        std::vector<Call> all;
        // An input names its call by the number: further ones go to the end of the last family.
        for (const auto family :
             {robustness::card_calls(), robustness::payment_calls(), robustness::module_calls(),
              robustness::terminal_calls(), robustness::connection_calls(), sequences()})
            all.insert(all.end(), family.begin(), family.end());
        expect(all.size() <= 256);
        return all;
    }();
    return calls;
}

}  // namespace fuzzing
