// atr, apdu, monitor: the card in the reader.
#include <deskreader.h>

#include <chrono>
#include <thread>

#include <fmt/core.h>

#include "calls.h"
#include "commands.h"
#include "connection.h"
#include "text.h"
#include "waiting.h"

namespace desk_tool {
namespace {

const char* kind_name(const PoweredCard& card) {
    return card.contactless ? "contactless" : "contact";
}

int slot_of(const PoweredCard& card) {
    return card.contactless ? 1 : 0;
}

// Powers the card off with its scope, whatever happens in it.
class CardInUse {
  public:
    CardInUse(int slot, int timeout_s) : card_(power_on(slot, timeout_s)) {}
    ~CardInUse() { RD_IcPowerOff(slot_of(card_)); }
    CardInUse(const CardInUse&) = delete;
    CardInUse& operator=(const CardInUse&) = delete;

    const PoweredCard& card() const { return card_; }

  private:
    PoweredCard card_;
};

void report(const PoweredCard& card, Output& output) {
    cJSON* object = cJSON_CreateObject();
    cJSON_AddStringToObject(object, "kind", kind_name(card));
    cJSON_AddStringToObject(object, "atr", card.atr.c_str());
    output.row("cards", object, fmt::format("{:<16}{}", kind_name(card), card.atr));
}

// Until the card no longer answers.
void wait_until_gone(const PoweredCard& card) {
    try {
        while (!interrupted()) {
            power_on(slot_of(card), 1);
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        }
    } catch (const ReaderError&) {
        // No answer: it is gone.
    }
}

}  // namespace

void run_atr(const Options& options, Output& output) {
    const Connection connection(options.link);
    const CardInUse use(options.slot_number(), options.timeout_s);
    output.field("kind", "kind", kind_name(use.card()));
    output.field("atr", "ATR", use.card().atr);
}

void run_apdu(const Options& options, Output& output) {
    const Connection connection(options.link);
    const CardInUse use(options.slot_number(), options.timeout_s);
    output.field("kind", "kind", kind_name(use.card()));
    output.field("atr", "ATR", use.card().atr);
    for (const std::string& given : options.apdus) {
        const std::string command = upper(given);
        const std::string response = exchange(slot_of(use.card()), command);
        const std::size_t data = response.size() < 4 ? 0 : response.size() - 4;
        cJSON* object = cJSON_CreateObject();
        cJSON_AddStringToObject(object, "command", command.c_str());
        cJSON_AddStringToObject(object, "data", response.substr(0, data).c_str());
        cJSON_AddStringToObject(object, "status_word", response.substr(data).c_str());
        output.row("exchanges", object,
                   fmt::format("> {}\n< {} {}   {}", command, response.substr(0, data),
                               response.substr(data), readable(response.substr(0, data))));
    }
}

void run_monitor(const Options& options, Output& output) {
    const Connection connection(options.link);
    output.line("waiting for cards, Ctrl-C ends");
    for (int seen = 0; !interrupted() && (options.card_count == 0 || seen < options.card_count);
         ++seen) {
        try {
            const PoweredCard card = power_on(options.slot_number(), 0);
            report(card, output);
            if (seen + 1 != options.card_count) wait_until_gone(card);
        } catch (const ReaderError&) {
            if (!interrupted()) throw;
        }
    }
    output.line("done");
}

}  // namespace desk_tool
